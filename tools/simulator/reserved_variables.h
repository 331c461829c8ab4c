// The simulator's own variables: scope "Sim" in memory area 9, served like any PLC variable. A client writes some to
// provoke the next fault and reads the others to see what happened. This header is the one place that names them.
//
//   offset  type   name           written by  meaning
//        0  UINT   fault_kind     client      writing it arms a fault: 1 delay, 2 silence, 3 late, 4 truncate,
//                                             5 length, 6 status, 7 fragments, 8 glue, 9 reset, 10 restart,
//                                             11 repeat; 0 disarms
//        2  UINT   fault_count    client      how many replies get it; 0 counts as 1
//        4  DINT   fault_arg      client      its argument (fault_rule.h: milliseconds, bytes, ...); 0: the default
//        8  UINT   fault_service  client      0: any request; else only replies to this service code (46 read, 60 write,
//                                             1 and 49 the handshake)
//       10  UINT   program        client      the program that is loaded, from 1; writing a number loads that program
//       12  UINT   faults_left    simulator   replies of the armed fault that are still to come
//       16  UDINT  faults_done    simulator   faults delivered since the start, by rule or armed
//       20  UDINT  boot_count     simulator   1 at the start, one more with each restart
//       24  UDINT  requests       simulator   requests received since the start, this one included
//       28  UDINT  refused        simulator   requests answered with a non-zero status word of the simulator's own
//       32  UDINT  connections    simulator   connections accepted since the start
//       36  UDINT  uptime_ms      simulator   milliseconds since the start
//
// The fault begins with the reply after the one to the arming write, whichever connection that goes to. All items of a
// write request count before the fault is armed, so their order within the request does not matter; arming again
// replaces what was armed. Writing a variable of the simulator is refused with Status::ReadOnly, a kind, argument or
// service that does not exist, and a program that does not, with Status::BadValue; nothing of such a request is written.
// A program is loaded when the write has been answered; writing the number of the one that is loaded loads it anew.
//
// No sockets; usable by every program that loads a symbol file.
#ifndef AC500_TOOLS_SIMULATOR_RESERVED_VARIABLES_H
#define AC500_TOOLS_SIMULATOR_RESERVED_VARIABLES_H

#include <cstdint>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::sim {

using symbol_file::Problem;
using symbol_file::SymbolFile;

constexpr int kReservedArea = 9;
constexpr const char* kReservedScope = "Sim";

// Byte offsets within the reserved area.
namespace reserved {
constexpr std::uint32_t kFaultKind = 0;
constexpr std::uint32_t kFaultCount = 2;
constexpr std::uint32_t kFaultArgument = 4;
constexpr std::uint32_t kFaultService = 8;
constexpr std::uint32_t kProgram = 10;
constexpr std::uint32_t kFirstReadOnly = 12;  // everything from here on is the simulator's
constexpr std::uint32_t kFaultsLeft = 12;
constexpr std::uint32_t kFaultsDone = 16;
constexpr std::uint32_t kBootCount = 20;
constexpr std::uint32_t kRequests = 24;
constexpr std::uint32_t kRefused = 28;
constexpr std::uint32_t kConnections = 32;
constexpr std::uint32_t kUptimeMs = 36;
constexpr std::uint32_t kAreaBytes = 40;
}  // namespace reserved

// The same program with area 9 and scope "Sim" appended. Unchanged when it has them already from an earlier call.
// REQUIRES: reservedConflicts(file) is empty.
SymbolFile withReservedVariables(SymbolFile file);

// What keeps a file from being extended: a scope or an area of its own under the reserved name or number. Empty for a
// file that was extended already.
std::vector<Problem> reservedConflicts(const SymbolFile& file);

}  // namespace ac500::sim

#endif
