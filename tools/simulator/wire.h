// The wire as the simulated PLC sees it: services, status words, sizes, and cutting a byte stream into requests.
// docs/wire-format.md describes every frame with a worked example. All numbers are big-endian.
#ifndef AC500_TOOLS_SIMULATOR_WIRE_H
#define AC500_TOOLS_SIMULATOR_WIRE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace ac500::sim {

// Raw bytes, not text: may hold zeros.
using Bytes = std::string;

// First payload byte of a request.
enum class Service : std::uint8_t {
    Hello = 0x01,       // first frame of the handshake
    SymbolFile = 0x31,  // second frame of the handshake, answered with the session bytes
    Read = 0x2E,
    Write = 0x3C,
};

// "hello", "symbols", "read", "write", as fault rules and log lines spell them; "?" for any other code.
const char* serviceName(std::uint8_t serviceCode);

// Status word of a reply. Everything but Good comes in a reply of 8 bytes that carries nothing else.
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

constexpr std::size_t kEnvelopeBytes = 2 + 4;  // magic, payload length
constexpr std::size_t kStatusBytes = 2;
constexpr std::size_t kShortReplyBytes = kEnvelopeBytes + kStatusBytes;
constexpr std::size_t kSessionBytes = 4;
constexpr std::size_t kMaxPayloadBytes = 65535;  // requests and replies: clients look at 16 bits of the length only
constexpr std::size_t kMaxRequestBytes = kEnvelopeBytes + kMaxPayloadBytes;

// A reply of `payloadBytes` payload (at least 2, at most kMaxPayloadBytes): envelope and status word are filled in, the
// rest is zero.
Bytes makeReply(std::size_t payloadBytes, Status status);

// The 8 bytes that refuse a request.
Bytes makeRefusal(Status status);

// Cuts the stream of one connection into requests. Holds at most kMaxRequestBytes; trusts nothing. After BadMagic or
// TooLong the stream has no frame borders any more: the connection must be given up. Not thread-safe.
class FrameSplitter {
public:
    enum class Result { NeedMore, Frame, BadMagic, TooLong };

    // No byte of an unfinished request is there.
    bool isEmpty() const { return buffer_.empty(); }
    // How many bytes append() takes now.
    std::size_t room() const { return kMaxRequestBytes - buffer_.size(); }
    // REQUIRES: size <= room()
    void append(const char* bytes, std::size_t size) { buffer_.append(bytes, size); }

    // Frame: *frame is the next complete request, removed from the buffer. Else *frame is untouched.
    Result next(Bytes* frame);

private:
    Bytes buffer_;
};

}  // namespace ac500::sim

#endif
