// What a reply means for the frame at the head of the queue, before its content is looked at: a function of values.
#ifndef AC500_PROTOCOL_REPLY_STEP_H
#define AC500_PROTOCOL_REPLY_STEP_H

namespace ac500 {

struct ReplySituation {
    int measuredLength;  // Protocol::replyLength of the head frame
    bool complete;       // by the reply's own length field
    bool empty;
    bool connected;
};

enum ReplyStep {
    kKeepReceiving,        // incomplete so far
    kStoreMeasuredLength,  // complete: the host calls again to have it processed
    kFailEmpty,            // no reply at all
    kFailMismatch,         // measured before, now incomplete
    kProcessHandshake,
    kProcessData
};

ReplyStep nextReplyStep(const ReplySituation& situation);

}  // namespace ac500

#endif
