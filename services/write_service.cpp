// The write service (0x3C): the batch as one request that carries runs of bytes.
#include "core/host_interface.h"
#include "services/request_queue.h"

using namespace ac500;

void WriteRegister(RW_VAR* var) noexcept {
    WriteAnalog(var);
    if (PLC_driver.commFailed == 0) {  // quirk 25
        WriteDataToLocal(var);         // the first of the batch alone (quirk 29)
    }
}

void WriteAnalog(RW_VAR* var) noexcept {
    queueRequest(encodeWriteRequest(batchContent()), kNoReplyData, *var);
}
