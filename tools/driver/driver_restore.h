// Brings a driver that was just loaded to the state of a checkpoint, with calls of its interface alone, so that it answers
// from there on as the recorded one did.
//
// Not brought back, because nothing shows it before it is set anew: the record that DataCom returns as long as no request
// was offered, and the kind of the last batch.
#ifndef AC500_TOOLS_DRIVER_DRIVER_RESTORE_H
#define AC500_TOOLS_DRIVER_DRIVER_RESTORE_H

#include <string>

#include "tools/driver/driver_functions.h"
#include "tools/record/event.h"

namespace ac500::host {

// Registers callbacks that do nothing: register others afterwards. *info becomes the driver's settings record; it must live
// as long as the driver is used. False, and *error says why, when the driver answers otherwise than it must on the way.
// REQUIRES: no call was made into the driver since it was loaded.
bool restoreDriver(const record::Checkpoint& checkpoint, const DriverFunctions& driver, ComInfo* info,
                   std::string* error);

}  // namespace ac500::host

#endif
