// The command line of ac500-sim.
#ifndef AC500_TOOLS_SIMULATOR_OPTIONS_H
#define AC500_TOOLS_SIMULATOR_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/events/log_line.h"
#include "tools/simulator/fault_rule.h"
#include "tools/simulator/tcp_limits.h"

namespace ac500::sim {

constexpr int kExitGood = 0;
constexpr int kExitUsage = 1;
constexpr int kExitSymbolFile = 2;
constexpr int kExitCannotListen = 3;
constexpr int kExitNoOutput = 4;  // the standard output cannot be written

struct Options {
    std::string symbols;
    std::string address = "127.0.0.1";
    std::uint16_t port = 1201;  // 0: any free one
    std::uint64_t seed = 1;
    std::vector<FaultRule> faults;
    TcpLimits limits;
    int mostReplyBytes = wire::kMaxPayloadBytes;
    bool quiet = false;
    bool verbose = false;  // events tell values
    events::Level logLevel = events::Level::Info;
    events::LogFormat logFormat = events::LogFormat::Text;
    double runSeconds = 0;  // 0: until a signal comes
    std::string load;       // symbol file of a second program; empty: there is none
    double loadAt = -1;     // seconds until it is loaded; below 0: not by itself
};

struct ParsedOptions {
    Options options;
    bool run = false;  // false: `text` is all there is to say, then exit with `exitCode`
    std::string text;  // help (exit code good) or error
    int exitCode = kExitGood;
};

// `arguments` without the program's name.
ParsedOptions parseOptions(const std::vector<std::string>& arguments);

}  // namespace ac500::sim

#endif
