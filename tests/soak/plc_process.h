// PlcProcess owns the PLC of a long run, a child process (plc_program.h), and the port it listens on: the port stays
// taken while the PLC is down, so that connecting to it is refused and nobody else gets it.
//
// Every function may be called from any thread. They throw std::runtime_error when the PLC does not answer.
#ifndef AC500_TESTS_SOAK_PLC_PROCESS_H
#define AC500_TESTS_SOAK_PLC_PROCESS_H

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "tools/simulator/fault_rule.h"
#include "tools/wire/big_endian.h"

namespace ac500::soak {

// The storms draw the kinds of fault up to this one: all.
constexpr sim::FaultKind kLastDrawnFault = sim::FaultKind::Repeat;

using AreaBytes = std::map<int, wire::Bytes>;

struct PlcCounts {
    std::array<std::uint64_t, sim::kFaultKinds> faults{};  // by kind
    std::uint64_t requests = 0;
    std::uint64_t refused = 0;
    std::uint64_t connections = 0;
};

class PlcProcess {
public:
    PlcProcess(std::uint64_t seed, std::int64_t epochNs);
    ~PlcProcess();
    PlcProcess(const PlcProcess&) = delete;
    PlcProcess& operator=(const PlcProcess&) = delete;

    std::uint16_t port() const { return port_; }

    // Starts the process with the memory that the last one had.
    void start();
    // Kills it; what the host wrote is kept for the next start.
    void kill();

    void storm(std::uint64_t seed, int meanMs, int kind);
    void calm();
    void drop();
    AreaBytes dump();
    // Over all starts.
    PlcCounts counts();
    std::uint64_t starts() const;

private:
    void spawn();
    void reap();
    std::string ask(const std::string& command);  // REQUIRES: mutex_ is held
    void command(const std::string& text);
    AreaBytes dumpNow();
    PlcCounts countsNow();

    const std::uint64_t seed_;
    const std::int64_t epochNs_;
    std::uint16_t port_ = 0;  // set while the next one is made
    int reservation_ = -1;

    mutable std::mutex mutex_;
    pid_t id_ = 0;
    int toPlc_ = -1;
    int fromPlc_ = -1;
    std::string pending_;
    std::uint64_t starts_ = 0;
    AreaBytes memory_;   // of the last one
    PlcCounts earlier_;  // of all before
};

}  // namespace ac500::soak

#endif
