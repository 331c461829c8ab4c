#include "tools/simulator/reply_frame.h"

#include "tools/explain/code_table.h"

namespace ac500::sim {

const char* statusText(Status status) {
    const explain::Code* code = explain::findCode(explain::Group::PlcStatus, static_cast<int>(status));
    return code == nullptr ? "unnamed status" : code->brief;
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
