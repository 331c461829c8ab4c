#include "tools/simulator/reply_frame.h"

namespace ac500::sim {

const char* statusText(Status status) {
    switch (status) {
        case Status::Good:
            return "good";
        case Status::BadMagic:
            return "wrong magic";
        case Status::RequestTooLong:
            return "request too long";
        case Status::BadLength:
            return "bad length";
        case Status::UnknownService:
            return "unknown service";
        case Status::WrongSession:
            return "wrong session bytes";
        case Status::UnknownFile:
            return "unknown file";
        case Status::UnknownArea:
            return "unknown area";
        case Status::OutOfRange:
            return "item out of range";
        case Status::ReplyTooLong:
            return "reply too long";
        case Status::ReadOnly:
            return "read-only variable";
        case Status::BadValue:
            return "bad value";
        case Status::Injected:
            return "injected fault";
    }
    return "unnamed status";
}

Bytes makeReply(std::size_t replyBytes, Status status) {
    Bytes reply(replyBytes, '\0');
    wire::putEnvelope(reply);
    wire::putU16(&reply[wire::kStatusAt], static_cast<std::uint16_t>(status));
    return reply;
}

Bytes makeRefusal(Status status) {
    return makeReply(wire::kShortReplyBytes, status);
}

}  // namespace ac500::sim
