// Frames between a client and the PLC: services, sizes and offsets, under the names of docs/wire-format.md, which shows
// every frame with a worked example. All numbers are big-endian. Constants and pure functions.
#ifndef AC500_TOOLS_WIRE_FRAME_H
#define AC500_TOOLS_WIRE_FRAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/wire/big_endian.h"

namespace ac500::wire {

// ---------------------------------------------------------------------------------------------------------------------
// Services
// ---------------------------------------------------------------------------------------------------------------------

// First payload byte of a request. Read from a frame it can have any other value, too.
enum class Service : std::uint8_t {
    Hello = 0x01,    // first frame of the handshake
    Symbols = 0x31,  // second frame of the handshake: names the symbol file, its reply carries the session bytes
    Read = 0x2E,
    Write = 0x3C,
};

// "hello", "symbols", "read", "write", as options and messages spell them; "unknown" for any other value.
const char* serviceName(Service service);

// The reverse; nothing for any other text.
std::optional<Service> serviceNamed(const std::string& name);

bool isKnown(Service service);
bool isHandshake(Service service);

// ---------------------------------------------------------------------------------------------------------------------
// Every frame: envelope, payload. Offsets (...At) count from the first byte of the frame.
// ---------------------------------------------------------------------------------------------------------------------

constexpr std::uint16_t kMagic = 0xBBBB;
constexpr int kLengthAt = 2;                 // of the payload, 4 bytes
constexpr int kEnvelopeBytes = 2 + 4;        // magic, length
constexpr int kMaxPayloadBytes = 65535;      // clients look at the low 16 bits of a reply's length only
constexpr int kLowLengthAt = kLengthAt + 2;  // these

// Can these be the first bytes of a frame, as far as they go?
bool mayBeginFrame(std::string_view bytes);

// Fills in the envelope that a frame of this size has. REQUIRES: at least kEnvelopeBytes, at most kMaxPayloadBytes more
void putEnvelope(Bytes& frame);

// ---------------------------------------------------------------------------------------------------------------------
// Requests
// ---------------------------------------------------------------------------------------------------------------------

constexpr int kServiceAt = kEnvelopeBytes;
constexpr int kSessionBytes = 4;  // at the end of a read or write, in reversed order

constexpr int kHelloRequestBytes = kEnvelopeBytes + 14;

constexpr int kNameLengthAt = kServiceAt + 2;  // symbols: 2 bytes, terminator included
constexpr int kNameAt = kNameLengthAt + 2;
constexpr const char* kSymbolFileName = "DOWNLOAD.SDB";

constexpr int kItemCountAt = kServiceAt + 2;  // read and write: 4 bytes
constexpr int kItemsAt = kItemCountAt + 4;
constexpr int kItemHeadBytes = 2 + 4 + 4;  // area, address, size; in a write `size` bytes follow

// Bytes [address, address + size) of one memory area: what an item of a read or write names. (An item that writes a BIT
// names a bit address and one byte.)
struct ByteRun {
    int area = 0;
    std::int64_t address = 0;
    std::int64_t size = 0;
};

// The head of an item. REQUIRES: kItemHeadBytes are there
ByteRun getItemHead(const char* item);

// ---------------------------------------------------------------------------------------------------------------------
// Replies
// ---------------------------------------------------------------------------------------------------------------------

constexpr int kStatusAt = kEnvelopeBytes;
constexpr int kStatusBytes = 2;
constexpr int kShortReplyBytes = kEnvelopeBytes + kStatusBytes;  // to a write, and every refusal

constexpr int kHelloReplyBytes = kEnvelopeBytes + 200;
constexpr int kSymbolsReplyBytes = kEnvelopeBytes + 30;
constexpr int kSessionAt = 24;  // symbols: the session bytes

constexpr int kReadReplyHeadBytes = kShortReplyBytes + 4;  // up to the first item
constexpr int kLeadBytes = 1;                              // stand before the bytes of each item

}  // namespace ac500::wire

#endif
