#include "protocol/batch_completion.h"

#include <QtCore/QVector>

#include "core/codes.h"
#include "core/communication_protocol.h"

namespace ac500 {

namespace {

// What tells variables apart.
struct Identity {
    qint32 hostId;
    qint32 hostSubId;
};

Identity identityOf(const RW_VAR& variable) {
    const Identity identity = {variable.hostId, variable.hostSubId};
    return identity;
}

// The variables of a completed batch, each once, by last occurrence from the end (quirk 10).
class FinishedVariables {
public:
    explicit FinishedVariables(const QVector<Identity>& batch) : slots_(slotsFor(batch.size()), kEmpty) {
        variables_.reserve(batch.size());
        for (int i = batch.size() - 1; i >= 0; --i) {
            qint32& slot = slots_[slotOf(batch.at(i))];
            if (slot == kEmpty) {
                slot = variables_.size();
                const Variable variable = {batch.at(i), false};
                variables_.append(variable);
            }
        }
    }

    int size() const { return variables_.size(); }
    const Identity& at(int i) const { return variables_.at(i).identity; }

    // One pass: a request for each of ten thousand pending ones would take longer than all the rest.
    void markPending(const QList<RW_VAR>& requests) {
        for (int i = 0, unmarked = size(); i < requests.size() && unmarked > 0; ++i) {
            const qint32 found = slots_.at(slotOf(identityOf(requests.at(i))));
            if (found != kEmpty && !variables_.at(found).isPending) {
                variables_[found].isPending = true;
                --unmarked;
            }
        }
    }

    bool isPending(int i) const { return variables_.at(i).isPending; }

private:
    struct Variable {
        Identity identity;
        bool isPending;
    };

    enum { kEmpty = -1, kSlotsPerVariable = 8 };

    // A power of two.
    static int slotsFor(int variables) {
        int slots = kSlotsPerVariable;
        while (slots < variables * kSlotsPerVariable) {
            slots *= 2;
        }
        return slots;
    }

    // Where the variable is, or would be.
    int slotOf(const Identity& wanted) const {
        const quint32 mixed =
            static_cast<quint32>(wanted.hostId) * 0x9E3779B1U + static_cast<quint32>(wanted.hostSubId);
        const quint32 lastSlot = static_cast<quint32>(slots_.size() - 1);
        quint32 slot = (mixed * 0x85EBCA6BU >> 16) & lastSlot;
        while (slots_.at(static_cast<int>(slot)) != kEmpty && !isAt(static_cast<int>(slot), wanted)) {
            slot = (slot + 1) & lastSlot;
        }
        return static_cast<int>(slot);
    }

    bool isAt(int slot, const Identity& wanted) const {
        const Identity& identity = at(slots_.at(slot));
        return identity.hostId == wanted.hostId && identity.hostSubId == wanted.hostSubId;
    }

    QVector<qint32> slots_;  // positions in variables_
    QVector<Variable> variables_;
};

FinishedVariables takeFinished(QList<RW_VAR>& list) {
    const int count = qBound(0, PLC_driver.batchCount, list.size());
    QVector<Identity> batch;
    batch.reserve(count);
    for (int i = 0; i < count; ++i) {
        batch.append(identityOf(list.at(i)));
    }
    list.erase(list.begin(), list.begin() + count);
    return FinishedVariables(batch);
}

void report(const Identity& variable, VariableOutcome outcome) {
    PLC_driver.varDoneCallback(static_cast<quint32>(PLC_driver.comInfo->stationId),
                               static_cast<quint32>(variable.hostId), static_cast<quint32>(variable.hostSubId),
                               outcome);
}

// Success is not reported while a newer request of the same variable is pending (quirk 10).
void reportFinished(FinishedVariables& finished, const QList<RW_VAR>& pending) {
    if (PLC_driver.commFailed == 0) {
        finished.markPending(pending);
    }
    for (int i = 0; i < finished.size(); ++i) {
        if (PLC_driver.commFailed != 0) {
            report(finished.at(i), kVariableFailed);
        } else if (!finished.isPending(i)) {
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
    const FinishedVariables refused = takeFinished(PLC_driver.writeList);
    for (int i = 0; i < refused.size(); ++i) {
        report(refused.at(i), kVariableFailed);
    }
}

void completeBatch() {
    QList<RW_VAR>* consumed = consumedList();
    if (consumed != nullptr) {
        FinishedVariables finished = takeFinished(*consumed);
        reportFinished(finished, *consumed);
    } else if (PLC_driver.batchKind == kCyclicBatch) {
        rotateLeft(PLC_driver.readList, PLC_driver.batchCount);
    }

    if (PLC_driver.commFailed == 0) {
        return;
    }
    reportFailure();
    if (consumed != nullptr) {
        consumed->clear();
    }
}

}  // namespace ac500
