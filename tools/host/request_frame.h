// RequestFrame is what a host can read out of a request that the driver wants sent. The wire has no transaction number,
// so knowing what was asked is the only way to tell whether a reply can be its answer.
#ifndef AC500_TOOLS_HOST_REQUEST_FRAME_H
#define AC500_TOOLS_HOST_REQUEST_FRAME_H

#include <QtCore/QByteArray>
#include <cstdint>
#include <vector>

namespace ac500::host {

// First payload byte of a request.
enum class Service : std::uint8_t {
    OpenSession = 0x01,  // first frame of the handshake
    SymbolFile = 0x31,   // second frame of the handshake: its reply carries the session bytes
    Read = 0x2E,
    Write = 0x3C,
};

// "open session", "symbol file", "read", "write"; "unknown" for any other code.
const char* serviceName(Service service);

bool isHandshake(Service service);

// A run of bytes of one PLC memory area, [address, address + size).
struct ByteRun {
    int area = 0;
    std::int64_t address = 0;
    std::int64_t size = 0;
};

struct RequestFrame {
    Service service = Service::OpenSession;
    std::vector<ByteRun> items;   // of a read or a write, in frame order; of a handshake frame none
    int expectedReplyBytes = -1;  // of the whole reply, envelope included; -1: unknown until the reply says it
};

// REQUIRES: `frame` comes from the driver. A frame that is cut short yields the items that are whole.
RequestFrame parseRequest(const QByteArray& frame);

}  // namespace ac500::host

#endif
