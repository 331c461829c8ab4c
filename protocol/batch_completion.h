// What happens to the lists and who is told when a request has ended, well or badly.
#ifndef AC500_PROTOCOL_BATCH_COMPLETION_H
#define AC500_PROTOCOL_BATCH_COMPLETION_H

#include <QtCore/QList>

#include "vars/rw_var.h"

namespace ac500 {

// Completes the batch in flight: removes finished writes or one-shot reads and reports each variable once, or rotates
// the cyclic list by the batch; after a failure (commFailed) also calls the failure callback and drops what else
// waits in the list that the batch came from (quirk 10).
// REQUIRES: the list lock is held; DataCom's result record names the variable that the request served.
void completeBatch();

// Ends the batch of writes in flight, for which no request could be built: takes its variables out of the pending writes
// and reports each of them once as failed, also while a newer write of it waits. Nothing else is dropped.
// REQUIRES: the list lock is held.
void refuseWrites();

// Moves the first entry to the end, `count` times. Nothing happens to an empty list or with a count of 0 or less.
// A list holds pointers to its records: these are exchanged, because copying a record costs as much as planning it.
void rotateLeft(QList<RW_VAR>& list, int count);

}  // namespace ac500

#endif
