// Registering variables: cyclic reads and writes as they are, one-shot reads resolved, cut and de-duplicated. The exported
// functions are declared in core/host_interface.h.
#ifndef AC500_VARS_VARIABLE_LISTS_H
#define AC500_VARS_VARIABLE_LISTS_H

#include "vars/rw_var.h"

namespace ac500 {

// What the list lock covered when a write was queued.
struct QueuedWrite {
    int pendingWrites;         // this one included
    bool communicationFailed;  // the last request was abandoned
};

// Appends the record to the pending writes. Leaves the texts and bytes of `var` empty, unless communication has failed: then
// they are still to be stored in the image. Any thread; takes the list lock.
QueuedWrite queueWrite(RW_VAR& var);

}  // namespace ac500

#endif
