// Faults by name: which there are, what argument each takes, and the text form of a rule that says when one happens.
// Plain values and pure functions.
#ifndef AC500_TOOLS_SIMULATOR_FAULT_RULE_H
#define AC500_TOOLS_SIMULATOR_FAULT_RULE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/wire/frame.h"

namespace ac500::sim {

using wire::Service;

// The numbers are those of Sim.fault_kind.
enum class FaultKind : std::uint16_t {
    None = 0,
    Delay = 1,      // the reply comes later; replies to later requests of the connection wait behind it
    Silence = 2,    // no reply
    Late = 3,       // the reply comes after the client has given up; replies to later requests overtake it
    Truncate = 4,   // the reply ends early
    Length = 5,     // the length field is wrong, the bytes are all there
    Status = 6,     // the status word is not 0, the bytes behind it are all there
    Fragments = 7,  // the reply comes byte by byte
    Glue = 8,       // the reply comes several times in one piece
    Reset = 9,      // the connection is reset instead of a reply
    Restart = 10,   // the PLC restarts instead of a reply: new session bytes, all connections closed, memory kept
    Repeat = 11,    // the reply comes a second time later; replies to later requests overtake the second
};

constexpr std::size_t kFaultKinds = 12;  // None included

struct FaultTraits {
    FaultKind kind;
    const char* name;         // as rules spell it
    const char* argumentKey;  // key of its argument in a rule; null: it takes none
    std::int32_t defaultArgument;
    std::int32_t smallest;  // an argument lies within [smallest, largest] and is not 0: 0 stands for the default
    std::int32_t largest;
    const char* summary;  // one line for the help text
};

// The row of a kind or of its name; null for None and for what does not exist.
const FaultTraits* faultTraits(FaultKind kind);
const FaultTraits* faultTraits(const std::string& name);
// The row of a number, e.g. of Sim.fault_kind.
const FaultTraits* faultTraits(std::uint16_t number);

// May `argument` go with the kind? 0 always may: it stands for the default.
bool acceptsArgument(const FaultTraits& traits, std::int64_t argument);

// What happens to one reply.
struct Fault {
    FaultKind kind = FaultKind::None;
    std::int32_t argument = 0;  // meaning and limits by kind; 0: the default
};

// A fault and when it happens. Only good replies count: a request that is refused never meets a fault.
struct FaultRule {
    enum class Trigger {
        Always,
        At,     // replies number `number`, `number` + 1, ... of those that match, from 1
        Every,  // every `number`-th reply of those that match
        Rate,   // each matching reply with probability `rate`
    };

    Fault fault;
    std::optional<Service> service;  // the replies that match; none: all
    Trigger trigger = Trigger::Always;
    std::uint32_t number = 0;
    double rate = 0;
    std::uint32_t count = 0;  // the rule is used up after so many faults; 0: never
};

// Reads "KIND" or "KIND:key=value,key=value...". Keys: at, every or rate (at most one of them), count, service, and the
// argument key of the kind. `at` without `count` means one reply. Examples: "reset:every=50",
// "delay:ms=200,rate=0.05,service=read", "silence:at=10,count=2". Nothing on failure; *error then says what is wrong with
// the text and what would be right.
std::optional<FaultRule> parseFaultRule(const std::string& text, std::string* error);

// The lines of the help text that describe kinds, keys and examples.
std::string faultRuleHelp();

}  // namespace ac500::sim

#endif
