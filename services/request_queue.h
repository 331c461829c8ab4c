// What reading and writing share: the batch as request content, and the queue record of the encoded frame.
#ifndef AC500_SERVICES_REQUEST_QUEUE_H
#define AC500_SERVICES_REQUEST_QUEUE_H

#include "services/request_frame.h"

namespace ac500 {

// The batch in flight. REQUIRES: the list lock is held, also while the content is used.
RequestContent batchContent();

// Where the data of a reply to the request starts: the position of the first item's lead byte.
enum ReplyDataOffset { kNoReplyData = 0, kReadReplyDataAt = 12 };

// Queues `frame` on behalf of `var` as the one frame of a new request. An empty frame is not queued.
// REQUIRES: the list lock is held.
void queueRequest(const QByteArray& frame, ReplyDataOffset replyDataOffset, const RW_VAR& var);

}  // namespace ac500

#endif
