// PlcModel is the whole simulated PLC without a transport: memory, signals, session, answers and faults. It knows no
// sockets and no clock. Whoever owns the transport calls advance() with the time, hands each request to serve() and
// carries out the delivery that comes back. Not thread-safe: one lock around every call.
#ifndef AC500_TOOLS_SIMULATOR_PLC_MODEL_H
#define AC500_TOOLS_SIMULATOR_PLC_MODEL_H

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/simulator/delivery.h"
#include "tools/simulator/memory_text.h"
#include "tools/simulator/plc_program.h"
#include "tools/simulator/request_server.h"
#include "tools/simulator/signal_generator.h"

namespace ac500::sim {

struct PlcSettings {
    std::uint64_t seed = 1;  // of session bytes, random walks and fault rules
    std::vector<FaultRule> faults;
    bool tellsValues = false;                     // fills Exchange::values
    int mostReplyBytes = wire::kMaxPayloadBytes;  // of payload; a read with a longer reply is refused
};

// What happened since the start. All only grow.
struct Counters {
    std::uint64_t connections = 0;  // accepted, those over the client limit not included
    std::uint64_t hello = 0;        // requests by service, refused ones included
    std::uint64_t symbols = 0;
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;
    std::uint64_t others = 0;   // unknown services and what is no request
    std::uint64_t refused = 0;  // requests answered with a status word of their own (not by a status fault)
    std::uint64_t faults = 0;   // replies that met a fault
    std::array<std::uint64_t, kFaultKinds> faultsByKind{};  // the same by the number of the kind

    std::uint64_t requests() const { return hello + symbols + reads + writes + others; }
};

// One request and what came of it, also for log lines.
struct Exchange {
    std::uint8_t serviceCode = 0;  // 0 for what is no request
    Status status = Status::Good;  // before a status fault
    std::uint32_t items = 0;
    std::string values;          // the variables that were read or written, with their values (memory_text.h)
    std::size_t replyBytes = 0;  // of the good reply, before a fault
    Fault fault;
    int program = 0;  // the program that was loaded after it; 0: none
    Delivery delivery;
};

class PlcModel {
public:
    // Runs the program of a file that loaded without problems. The model is usable exactly when problems() is empty.
    PlcModel(const SymbolFile& file, PlcSettings settings);

    PlcModel(const PlcModel&) = delete;
    PlcModel& operator=(const PlcModel&) = delete;

    // Of the program that is loaded; see PlcProgram.
    const std::vector<Problem>& problems() const { return program().problems(); }
    const std::vector<Problem>& warnings() const { return program().warnings(); }

    // Another program that can be loaded. Returns its number; the one of the constructor is 1. Not usable, and not kept (0),
    // when *problems is not empty then.
    int addProgram(const SymbolFile& file, std::vector<Problem>* problems);

    // A download: the numbered program runs instead of the one that did, with its memory as it is at the start. Session
    // bytes, boot count, counters, time and armed faults stay, and so do connections: clients hear nothing of it.
    // REQUIRES: there is such a program
    void load(int number);
    int loadedProgram() const { return loaded_; }

    // Brings signals and the simulator's own variables up to the time, in milliseconds since the start.
    void advance(std::int64_t nowMs);

    // The reply to a request, without faults. `request` is one frame with its envelope, or anything else.
    Bytes answer(const Bytes& request);

    // The same, and what becomes of the reply by the fault rules. A restart has happened when this returns.
    Exchange serve(const Bytes& request);

    // Answers what cannot be a request, before its end was seen: a refusal, then the end of the connection.
    Exchange refuse(Status status);

    // Arms a fault as writing Sim.fault_kind does. REQUIRES: acceptsArgument holds.
    void arm(const FaultSchedule::Armed& armed);

    // New session bytes, one more boot; memory and counters are kept. The owner of the transport closes connections.
    void restart();

    // The owner of the transport accepted a connection.
    void connectionOpened();

    PlcMemory& memory() { return memory_; }
    const PlcMemory& memory() const { return memory_; }
    const Counters& counters() const { return counters_; }
    const Identity& identity() const { return identity_; }

private:
    Reply answerAndCount(const Bytes& request);
    const PlcProgram& program() const { return programs_[static_cast<std::size_t>(loaded_) - 1]; }
    void updateReservedVariables();

    std::vector<PlcProgram> programs_;
    int loaded_ = 1;
    const std::uint64_t signalSeed_;
    const bool tellsValues_;
    PlcMemory memory_;
    Random sessionRandom_;
    Identity identity_;
    Counters counters_;
    std::int64_t nowMs_ = 0;
    FaultSchedule faults_;
    std::unique_ptr<const MemoryText> text_;  // null: not wanted
    SignalGenerator signals_;
    RequestServer server_;
};

}  // namespace ac500::sim

#endif
