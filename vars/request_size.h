// The largest request that the host's settings allow.
#ifndef AC500_VARS_REQUEST_SIZE_H
#define AC500_VARS_REQUEST_SIZE_H

#include "core/communication_protocol.h"
#include "protocol/bytes.h"

namespace ac500 {

// In bytes; 0 or less when the settings make no sense: nothing may be queued then.
inline int maxRequestBytes() {
    return wrapMul(2, PLC_driver.comInfo->maxRequestWords);
}

}  // namespace ac500

#endif
