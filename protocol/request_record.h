// The queue record of a new request: what every kind of request starts from.
#ifndef AC500_PROTOCOL_REQUEST_RECORD_H
#define AC500_PROTOCOL_REQUEST_RECORD_H

#include "core/codes.h"
#include "protocol/protocol.h"

namespace ac500 {

// `frame` on behalf of `var`, its reply not measured yet, everything else 0.
inline Protocol requestRecord(const QByteArray& frame, const RW_VAR& var) {
    Protocol request = Protocol();
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = kNotMeasured;
    request.var = var;
    return request;
}

}  // namespace ac500

#endif
