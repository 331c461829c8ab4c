// RequestServer answers requests out of a memory: it checks a request, reads or writes, and builds the reply. It is the
// well-behaved half of the simulated PLC; faults come later (fault_schedule.h). Knows no sockets, no clock.
//
// A request is checked as a whole before anything is written: it is carried out completely or refused. Nothing in it is
// trusted; the longest reply has wire::kMaxPayloadBytes of payload. Not thread-safe.
#ifndef AC500_TOOLS_SIMULATOR_REQUEST_SERVER_H
#define AC500_TOOLS_SIMULATOR_REQUEST_SERVER_H

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "tools/simulator/bit_layout.h"
#include "tools/simulator/fault_schedule.h"
#include "tools/simulator/memory_text.h"
#include "tools/simulator/plc_memory.h"
#include "tools/simulator/reply_frame.h"

namespace ac500::sim {

// The four bytes that the second handshake reply carries at offsets 24..27, in that order. A client sends them reversed
// at the end of every read and write request.
using SessionBytes = std::array<std::uint8_t, wire::kSessionBytes>;

// What the simulated PLC says about itself in the handshake.
struct Identity {
    SessionBytes session{};
    std::uint32_t bootCount = 1;
    std::uint64_t program = 0;  // the fingerprint of the one that is loaded
};

struct Reply {
    Status status = Status::Good;
    Bytes bytes;
    std::vector<TouchedRun> touched;            // of a good read or write, item by item
    std::optional<FaultSchedule::Armed> armed;  // a good write to Sim.fault_kind
    std::optional<int> program;                 // a good write to Sim.program
};

class RequestServer {
public:
    // `memory` must outlive the server. Until setBits every write is one of bytes.
    explicit RequestServer(PlcMemory& memory) : memory_(memory) {}

    void setBits(BitLayout bits) { bits_ = std::move(bits); }
    // A read whose reply would have more bytes of payload is refused.
    void setMostReplyBytes(int bytes) { mostReplyBytes_ = bytes; }
    void setPrograms(int count) { programs_ = count; }

    // `request` is one frame with its envelope, or anything else: what is no request is refused.
    Reply answer(const Bytes& request, const Identity& identity);

private:
    struct Item {
        ByteRun run;
        Bytes data;  // of a write
        bool bit;    // run.address is a bit address, data one byte
    };

    Reply answerService(const Bytes& request, const Identity& identity);
    Reply read(const Bytes& request);
    Reply write(const Bytes& request);

    Status checkRead(const std::vector<Item>& items) const;
    Status checkWrite(const std::vector<Item>& items) const;
    Status checkRange(const ByteRun& run) const;
    bool isProgram(int number) const { return number >= 1 && number <= programs_; }
    void apply(const Item& item);

    bool parseWriteItems(const Bytes& request, std::vector<Item>* items) const;
    static bool parseReadItems(const Bytes& request, std::vector<Item>* items);

    PlcMemory& memory_;
    BitLayout bits_;
    int mostReplyBytes_ = wire::kMaxPayloadBytes;
    int programs_ = 1;  // Sim.program takes the numbers from 1 to this
};

}  // namespace ac500::sim

#endif
