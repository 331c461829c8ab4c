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

// Appends a copy to the pending writes. Any thread; takes the list lock.
QueuedWrite queueWrite(const RW_VAR& var);

}  // namespace ac500

#endif
