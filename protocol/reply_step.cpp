#include "protocol/reply_step.h"

#include "core/codes.h"

namespace ac500 {

namespace {

ReplyStep measuringStep(const ReplySituation& situation) {
    if (situation.complete) {
        return kStoreMeasuredLength;
    }
    return situation.empty ? kFailEmpty : kKeepReceiving;
}

}  // namespace

ReplyStep nextReplyStep(const ReplySituation& situation) {
    if (situation.measuredLength == kNotMeasured) {
        return measuringStep(situation);
    }
    if (situation.measuredLength > 0 && !situation.complete) {
        return kFailMismatch;
    }
    return situation.connected ? kProcessData : kProcessHandshake;
}

}  // namespace ac500
