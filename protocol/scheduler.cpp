// The poll scheduler: which frame goes out next. It never removes variables from their lists; DataCom does, when the
// batch is complete, so the same head is chosen again until then.
#include <QtCore/QMutexLocker>

#include "core/host_interface.h"
#include "protocol/batch_choice.h"

using namespace ac500;

namespace {

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

    QMutexLocker lock(&PLC_driver.listMutex);
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
