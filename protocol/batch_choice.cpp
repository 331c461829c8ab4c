#include "protocol/batch_choice.h"

namespace ac500 {

namespace {

enum { kMaxTurnCounter = 4, kBatchByteBudget = 800, kMaxBatchEntries = 79 };

static_assert(static_cast<int>(kMaxBatchEntries) <= static_cast<int>(kBatchCapacity), "a batch fits its array");

// 64 bits: sizes come from the host as they are, and a sum that wrapped would let the batch grow without end.
qint64 itemCost(const RW_VAR& var, ItemOverhead overhead) {
    return static_cast<qint64>(qMax(var.size, 0)) + overhead;
}

}  // namespace

BatchKind nextBatchKind(const PendingWork& work) {
    if (work.writes && work.writeTurns <= kMaxTurnCounter) {
        return kWriteBatch;
    }
    if (work.onceReads && work.onceReadTurns <= kMaxTurnCounter) {
        return kOnceReadBatch;
    }
    return work.cyclicReads ? kCyclicBatch : kNoBatchYet;
}

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

}  // namespace ac500
