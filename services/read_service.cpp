// The read service (0x2E): the batch as one request for runs of bytes.
#include "core/host_interface.h"
#include "services/request_queue.h"

using namespace ac500;

void ReadRegister(RW_VAR* var) noexcept {
    ReadAnalog(var);
}

void ReadAnalog(RW_VAR* var) noexcept {
    queueRequest(encodeReadRequest(batchContent()), kReadReplyDataAt, *var);
}
