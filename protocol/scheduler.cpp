// The poll scheduler: which frame goes out next. It leaves variables in their lists; DataCom removes them, when the
// batch is complete, so the same head is chosen again until then. A write that fits into no frame is given up here.
#include "core/host_interface.h"
#include "core/list_lock.h"
#include "protocol/batch_completion.h"
#include "protocol/frames.h"
#include "protocol/handshake.h"
#include "services/read_write.h"
#include "values/local_area.h"

using namespace ac500;

namespace {

enum { kMaxTurnCounter = 4, kBatchByteBudget = 800, kMaxBatchEntries = 79 };

static_assert(static_cast<int>(kMaxBatchEntries) <= static_cast<int>(kBatchCapacity), "a batch fits its array");

// What waits, and how many batches of each kind went out in a row.
struct PendingWork {
    bool writes;
    bool onceReads;
    bool cyclicReads;
    int writeTurns;
    int onceReadTurns;
};

// Writes first, then one-shot reads, each at most five times in a row, then cyclic reads. kNoBatchYet when none of
// them may go: nothing waits, or what waits has used up its turns (quirk 6).
BatchKind nextBatchKind(const PendingWork& work) {
    if (work.writes && work.writeTurns <= kMaxTurnCounter) {
        return kWriteBatch;
    }
    if (work.onceReads && work.onceReadTurns <= kMaxTurnCounter) {
        return kOnceReadBatch;
    }
    return work.cyclicReads ? kCyclicBatch : kNoBatchYet;
}

// What a variable costs in a request beside its data.
enum ItemOverhead { kReadItemOverhead = kLeadByteBytes, kWriteItemOverhead = kItemHeadBytes };

// A negative size counts as 0 (quirk 37). 64 bits: sizes come from the host as they are, and a sum that wrapped would
// let the batch grow without end.
qint64 itemCost(const RW_VAR& var, ItemOverhead overhead) {
    return static_cast<qint64>(qMax(var.size, 0)) + overhead;
}

// Number of leading entries of `list` that one request takes: the first always, then as many as keep the sum of
// (size + overhead) below the budget, kMaxBatchEntries at most. REQUIRES: the list is not empty.
int batchLength(const QList<RW_VAR>& list, ItemOverhead overhead) {
    const int limit = qMin<int>(list.size(), kMaxBatchEntries);
    qint64 cost = itemCost(list.first(), overhead);
    int length = 1;
    while (length < limit) {
        cost += itemCost(list.at(length), overhead);
        if (cost >= kBatchByteBudget) {
            break;
        }
        ++length;
    }
    return length;
}

PendingWork pendingWork() {
    PendingWork work;
    work.writes = !PLC_driver.writeList.isEmpty();
    work.onceReads = !PLC_driver.onceReadList.isEmpty();
    work.cyclicReads = !PLC_driver.readList.isEmpty();
    work.writeTurns = PLC_driver.writeTurns;
    work.onceReadTurns = PLC_driver.onceReadTurns;
    return work;
}

void fillBatch(const QList<RW_VAR>& list, ItemOverhead overhead) {
    const int length = batchLength(list, overhead);
    for (int i = 0; i < length; ++i) {
        PLC_driver.batch[i] = list.at(i);
    }
    PLC_driver.batchCount = length;
}

void clearTurns() {
    PLC_driver.writeTurns = 0;
    PLC_driver.onceReadTurns = 0;
}

RW_VAR startWriteBatch() {
    fillBatch(PLC_driver.writeList, kWriteItemOverhead);
    RW_VAR head = PLC_driver.batch[0];
    WriteRegister(&head);
    PLC_driver.batchKind = kWriteBatch;
    PLC_driver.writeTurns += 1;
    if (PLC_driver.frameList.isEmpty()) {
        refuseWrites();  // for good: it would be refused again and again, and keep everything else from going out
    }
    return head;
}

RW_VAR startReadBatch(const QList<RW_VAR>& list, BatchKind kind) {
    fillBatch(list, kReadItemOverhead);
    RW_VAR head = PLC_driver.batch[0];
    ReadRegister(&head);
    PLC_driver.batchKind = kind;
    return head;
}

// Queues the request for the next batch, if there is one, and returns the variable that it serves first.
RW_VAR startNextBatch() {
    RW_VAR head = RW_VAR();
    switch (nextBatchKind(pendingWork())) {
        case kWriteBatch:
            return startWriteBatch();
        case kOnceReadBatch:
            head = startReadBatch(PLC_driver.onceReadList, kOnceReadBatch);
            PLC_driver.onceReadTurns += 1;
            return head;
        case kCyclicBatch:
            if (PLC_driver.comInfo->firstPassDone == 0 &&
                PLC_driver.cyclicBatches == 0) {  // once, not in each turn of it
                reserveLocalArea(PLC_driver.readList);
            }
            head = startReadBatch(PLC_driver.readList, kCyclicBatch);
            clearTurns();
            return head;
        case kNoBatchYet:
            break;
    }
    return head;
}

}  // namespace

Protocol* ComCommunication() noexcept {
    if (!PLC_driver.frameList.isEmpty()) {
        return &PLC_driver.frameList.first();
    }

    const ListLock lock;
    PLC_driver.batchCount = 0;
    RW_VAR head = startNextBatch();
    if (PLC_driver.frameList.isEmpty()) {
        clearTurns();  // quirk 6
        PLC_driver.comInfo->firstPassDone = 1;
        return nullptr;
    }
    if (PLC_driver.connected == 0) {
        PLC_driver.frameList.clear();  // quirk 7
        handshake_data(&head);
    }
    return &PLC_driver.frameList.first();
}
