// Registering variables: cyclic reads and writes as they are, one-shot reads resolved, cut and de-duplicated. The exported
// functions are declared in core/host_interface.h.
#ifndef AC500_VARS_VARIABLE_LISTS_H
#define AC500_VARS_VARIABLE_LISTS_H

#include "vars/rw_var.h"

namespace ac500 {

// Appends a copy to the pending writes and returns their number. Any thread; takes the list lock.
int queueWrite(const RW_VAR& var);

}  // namespace ac500

#endif
