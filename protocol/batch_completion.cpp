#include "protocol/batch_completion.h"

#include "core/codes.h"
#include "core/communication_protocol.h"

namespace ac500 {

namespace {

bool isSameVariable(const RW_VAR& a, const RW_VAR& b) {
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId;
}

bool holds(const QList<RW_VAR>& list, const RW_VAR& variable) {
    for (int i = 0; i < list.size(); ++i) {
        if (isSameVariable(list.at(i), variable)) {
            return true;
        }
    }
    return false;
}

void removeVariable(QList<RW_VAR>& list, const RW_VAR& variable) {
    for (int i = list.size() - 1; i >= 0; --i) {
        if (isSameVariable(list.at(i), variable)) {
            list.removeAt(i);
        }
    }
}

QList<RW_VAR> takeFinished(QList<RW_VAR>& list) {
    const QList<RW_VAR> finished = list.mid(0, PLC_driver.batchCount);
    list.erase(list.begin(), list.begin() + finished.size());
    return finished;
}

void report(const RW_VAR& variable, VariableOutcome outcome) {
    PLC_driver.varDoneCallback(static_cast<quint32>(PLC_driver.comInfo->stationId),
                               static_cast<quint32>(variable.hostId), static_cast<quint32>(variable.hostSubId),
                               outcome);
}

// Each distinct variable once, by last occurrence from the end (quirk 10).
RW_VAR takeLastVariable(QList<RW_VAR>& finished) {
    RW_VAR variable = finished.last();
    removeVariable(finished, variable);
    return variable;
}

// Success is not reported while a newer request of the same variable is pending (quirk 10).
void reportFinished(QList<RW_VAR> finished, const QList<RW_VAR>& pending) {
    while (!finished.isEmpty()) {
        const RW_VAR variable = takeLastVariable(finished);
        if (PLC_driver.commFailed != 0) {
            report(variable, kVariableFailed);
        } else if (!holds(pending, variable)) {
            report(variable, kVariableDone);
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
    QList<RW_VAR> refused = takeFinished(PLC_driver.writeList);
    while (!refused.isEmpty()) {
        report(takeLastVariable(refused), kVariableFailed);
    }
}

void completeBatch() {
    QList<RW_VAR>* consumed = consumedList();
    if (consumed != nullptr) {
        reportFinished(takeFinished(*consumed), *consumed);
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
