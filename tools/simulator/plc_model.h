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
#include "tools/simulator/request_server.h"
#include "tools/simulator/signal_generator.h"

namespace ac500::sim {

using symbol_file::Element;
using symbol_file::Leaf;
using symbol_file::Problem;
using symbol_file::SymbolFile;

struct PlcSettings {
    std::uint64_t seed = 1;  // of session bytes, random walks and fault rules
    std::vector<FaultRule> faults;
    bool tellsValues = false;  // fills Exchange::values
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
    Delivery delivery;
};

class PlcModel {
public:
    // Takes the areas, variables, signals and initial values of a file that loaded without problems; the reserved
    // variables are appended when they are missing. The model is usable exactly when problems() is empty.
    PlcModel(const SymbolFile& file, PlcSettings settings);

    PlcModel(const PlcModel&) = delete;
    PlcModel& operator=(const PlcModel&) = delete;

    // What the file asks for that the simulator cannot do.
    const std::vector<Problem>& problems() const { return problems_; }

    // What the simulator does otherwise than the author may think; it runs all the same.
    const std::vector<Problem>& warnings() const { return warnings_; }

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
    void applyInitialValues(const SymbolFile& file);
    std::vector<SignalGenerator::ResolvedSignal> resolveSignals(const SymbolFile& file);
    std::optional<Element> locate(const SymbolFile& file, const std::string& tag, int line, const char* where);
    void addWarnings(const std::vector<Leaf>& leaves, const BitLayout& bits);
    void updateReservedVariables();

    std::vector<Problem> problems_;
    std::vector<Problem> warnings_;
    PlcMemory memory_;
    Random sessionRandom_;
    Identity identity_;
    Counters counters_;
    std::int64_t nowMs_ = 0;
    FaultSchedule faults_;
    std::unique_ptr<const MemoryText> text_;  // null: not wanted
    // Empty until the constructor has read the file.
    SignalGenerator signals_;
    RequestServer server_;
};

}  // namespace ac500::sim

#endif
