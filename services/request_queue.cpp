#include "services/request_queue.h"

#include "core/communication_protocol.h"
#include "protocol/request_record.h"

namespace ac500 {

RequestContent batchContent() {
    const RequestContent content = {PLC_driver.batch, PLC_driver.batchCount, PLC_driver.handshakeBytes};
    return content;
}

void queueRequest(const QByteArray& frame, ReplyDataOffset replyDataOffset, const RW_VAR& var) {
    if (frame.isEmpty()) {
        return;
    }
    Protocol request = requestRecord(frame, var);
    request.replyDataOffset = replyDataOffset;
    PLC_driver.frameList.append(request);
    PLC_driver.comInfo->frameDone = 0;
    PLC_driver.comInfo->frameTotal = 1;
}

}  // namespace ac500
