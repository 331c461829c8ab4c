#include "protocol/batch_completion.h"

#include <algorithm>

#include "core/codes.h"
#include "core/communication_protocol.h"
#include "vars/pending_writes.h"

namespace ac500 {

namespace {

// The variables of a completed batch, each once, by last occurrence from the end (quirk 10). Takes no memory but its own:
// this runs after every request.
class FinishedVariables {
public:
    // Those of the first `count` requests.
    FinishedVariables(const QList<RW_VAR>& requests, int count) : size_(0) {
        std::fill(slots_, slots_ + kSlots, kEmpty);
        for (int i = count - 1; i >= 0; --i) {
            const Identity identity = identityOf(requests.at(i));
            qint8& slot = slots_[slotOf(identity)];
            if (slot == kEmpty) {
                slot = static_cast<qint8>(size_);
                isPending_[size_] = false;
                variables_[size_++] = identity;
            }
        }
    }

    int size() const { return size_; }
    const Identity& at(int i) const { return variables_[i]; }

    void markPendingWrites() {
        for (int i = 0; i < size_; ++i) {
            isPending_[i] = pendingWriteList.holds(variables_[i]);
        }
    }

    // In one pass.
    void markPending(const QList<RW_VAR>& requests) {
        int unmarked = size_;
        for (QList<RW_VAR>::const_iterator i = requests.constBegin(); i != requests.constEnd() && unmarked > 0; ++i) {
            const int found = slots_[slotOf(identityOf(*i))];
            if (found != kEmpty && !isPending_[found]) {
                isPending_[found] = true;
                --unmarked;
            }
        }
    }

    bool isPending(int i) const { return isPending_[i]; }

private:
    enum : qint8 { kEmpty = -1 };
    enum { kSlotBits = 9, kSlots = 1 << kSlotBits };  // few of them are taken: most searches end at the first

    static_assert(static_cast<int>(kBatchCapacity) <= 127, "positions fit into qint8");

    // Where the variable is, or would be.
    int slotOf(const Identity& wanted) const {
        quint32 slot = hashOf(wanted) >> (32 - kSlotBits);
        while (slots_[slot] != kEmpty && !(variables_[slots_[slot]] == wanted)) {
            slot = (slot + 1) % kSlots;
        }
        return static_cast<int>(slot);
    }

    qint8 slots_[kSlots];  // positions in variables_
    Identity variables_[kBatchCapacity];
    bool isPending_[kBatchCapacity];
    int size_;
};

// Takes the batch out of its list: the first entries. REQUIRES: it is one of writes or of one-shot reads.
FinishedVariables takeFinished(QList<RW_VAR>& list) {
    const int count = qBound<int>(0, PLC_driver.batchCount, qMin<int>(list.size(), kBatchCapacity));
    const FinishedVariables finished(list, count);
    if (&list == &PLC_driver.writeList) {
        pendingWriteList.removeFirst(count);
    } else {
        list.erase(list.begin(), list.begin() + count);
    }
    return finished;
}

void report(const Identity& variable, VariableOutcome outcome) {
    PLC_driver.varDoneCallback(static_cast<quint32>(PLC_driver.comInfo->stationId),
                               static_cast<quint32>(variable.hostId), static_cast<quint32>(variable.hostSubId),
                               outcome);
}

void reportAll(const FinishedVariables& finished, VariableOutcome outcome) {
    for (int i = 0; i < finished.size(); ++i) {
        report(finished.at(i), outcome);
    }
}

// Success is not reported while a newer request of the same variable is pending (quirk 10).
void reportDone(FinishedVariables& finished, const QList<RW_VAR>& pending) {
    if (&pending == &PLC_driver.writeList && pendingWriteList.areMany()) {
        finished.markPendingWrites();
    } else {
        finished.markPending(pending);
    }
    for (int i = 0; i < finished.size(); ++i) {
        if (!finished.isPending(i)) {
            report(finished.at(i), kVariableDone);
        }
    }
}

// The list that finished variables are taken out of; null for cyclic reads, which stay.
QList<RW_VAR>* consumedList() {
    if (PLC_driver.batchKind == kWriteBatch) {
        return &PLC_driver.writeList;
    }
    return PLC_driver.batchKind == kOnceReadBatch ? &PLC_driver.onceReadList : nullptr;
}

void exchange(QList<RW_VAR>& list, int i, int j) {
#if QT_VERSION >= QT_VERSION_CHECK(5, 13, 0)
    list.swapItemsAt(i, j);
#else
    list.swap(i, j);
#endif
}

// Reverses the entries from `first` up to, not including, `end`.
void reverse(QList<RW_VAR>& list, int first, int end) {
    for (int last = end - 1; first < last; ++first, --last) {
        exchange(list, first, last);
    }
}

void reportFailure() {
    QList<RW_VAR> nothing;
    PLC_driver.commFailCallback(&nothing, static_cast<quint32>(PLC_driver.resultVar.hostId), kCommunicationFailed);
}

}  // namespace

void rotateLeft(QList<RW_VAR>& list, int count) {
    enum { kFewMoves = 12 };  // each shifts all pointers at once, which beats exchanging all of them
    if (list.isEmpty() || count <= 0) {
        return;
    }
    const int first = count % list.size();
    if (first <= kFewMoves) {
        for (int i = 0; i < first; ++i) {
            list.move(0, list.size() - 1);
        }
        return;
    }
    reverse(list, 0, first);
    reverse(list, first, list.size());
    reverse(list, 0, list.size());
}

void refuseWrites() {
    reportAll(takeFinished(PLC_driver.writeList), kVariableFailed);
}

void completeBatch() {
    QList<RW_VAR>* consumed = consumedList();
    if (consumed != nullptr) {
        FinishedVariables finished = takeFinished(*consumed);
        if (PLC_driver.commFailed == 0) {
            reportDone(finished, *consumed);
        } else {
            reportAll(finished, kVariableFailed);
        }
    } else if (PLC_driver.batchKind == kCyclicBatch) {
        rotateLeft(PLC_driver.readList, PLC_driver.batchCount);
    }

    if (PLC_driver.commFailed == 0) {
        return;
    }
    reportFailure();
    if (consumed == &PLC_driver.writeList) {
        pendingWriteList.clear();
    } else if (consumed != nullptr) {
        consumed->clear();
    }
}

}  // namespace ac500
