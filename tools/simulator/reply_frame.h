// Replies as the simulated PLC makes them: status words, and the frames that begin with one.
#ifndef AC500_TOOLS_SIMULATOR_REPLY_FRAME_H
#define AC500_TOOLS_SIMULATOR_REPLY_FRAME_H

#include <cstddef>
#include <cstdint>

#include "tools/wire/frame.h"

namespace ac500::sim {

using wire::Bytes;

// Status word of a reply. All but Good are the simulator's own choice, and come in a reply of 8 bytes that carries
// nothing else.
enum class Status : std::uint16_t {
    Good = 0x0000,
    BadMagic = 0x0101,        // the connection is closed after this reply
    RequestTooLong = 0x0102,  // likewise
    BadLength = 0x0103,
    UnknownService = 0x0104,
    WrongSession = 0x0201,
    UnknownFile = 0x0202,
    UnknownArea = 0x0301,
    OutOfRange = 0x0302,
    ReplyTooLong = 0x0303,
    ReadOnly = 0x0304,
    BadValue = 0x0305,
    Injected = 0x0F01,  // what a status fault sends when its rule names no other value
};

// A few words for log lines, e.g. "wrong session bytes".
const char* statusText(Status status);

// A reply of so many bytes (at least kShortReplyBytes): envelope and status word are filled in, the rest is zero.
Bytes makeReply(std::size_t replyBytes, Status status);

// The 8 bytes that refuse a request.
Bytes makeRefusal(Status status);

}  // namespace ac500::sim

#endif
