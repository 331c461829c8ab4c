// What goes into the next request: pure functions of values, asked by the poll scheduler.
#ifndef AC500_PROTOCOL_BATCH_CHOICE_H
#define AC500_PROTOCOL_BATCH_CHOICE_H

#include <QtCore/QList>

#include "core/communication_protocol.h"

namespace ac500 {

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
BatchKind nextBatchKind(const PendingWork& work);

// Bytes that one variable costs in a request beside its data: the item head of a write, the lead byte of a read reply.
enum ItemOverhead { kReadItemOverhead = 1, kWriteItemOverhead = 10 };

// Number of leading entries of `list` that one request takes: the first always, then as many as keep the sum of
// (size + overhead) below 800, 79 at most. REQUIRES: the list is not empty.
int batchLength(const QList<RW_VAR>& list, ItemOverhead overhead);

}  // namespace ac500

#endif
