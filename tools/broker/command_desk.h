// CommandDesk judges the bytes of a command that came by a broker: what is right becomes an order for the write path, all else
// a refusal with its reason. It writes nothing itself. Used by one thread.
#ifndef AC500_TOOLS_BROKER_COMMAND_DESK_H
#define AC500_TOOLS_BROKER_COMMAND_DESK_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/tag.h"
#include "tools/host/write_terms.h"

namespace ac500::broker {

constexpr std::size_t kLargestCommand = 16384;  // bytes; a larger one is refused unread
constexpr std::size_t kLongestCommandId = 64;   // bytes, printable ASCII
constexpr std::size_t kMostCommandIds = 10000;  // orders within the longest expiry; more are refused
constexpr host::Milliseconds kDefaultCommandExpiry{5000};
constexpr host::Milliseconds kLeastCommandExpiry{100};
constexpr host::Milliseconds kLargestCommandExpiry{60000};
constexpr host::Milliseconds kFutureTolerance{5000};  // clocks of two machines differ

// What a command orders: the fields of a write.
struct CommandOrder {
    std::string id;       // the one-use number of the write
    std::size_t tag = 0;  // DeskTag::number
    host::HostValues values;
    std::optional<host::HostValues> replaces;  // what the PLC must hold immediately before
    host::Milliseconds expires{0};             // from now on, more than 0
};

struct CommandRefusal {
    std::string id;  // empty: it has none, or none that can be told
    std::string reason;
};

class CommandDesk {
public:
    struct DeskTag {
        host::Tag tag;
        std::string name;
        std::size_t number = 0;  // by which the door knows it
        bool isAllowed = false;  // commands may write it
    };
    // A command as it arrived.
    struct Arrival {
        std::string payload;
        bool isRetained = false;
        std::int64_t utcMs = 0;       // now
        bool isClockSet = true;       // else no command is taken: nobody knows how old it is
        bool isOtherProgram = false;  // the PLC has another program than the symbols describe, or may have
    };

    // `startedUtcMs`: when the gateway started; older commands are not for it. With no tag allowed commands are off, and
    // each is refused for that.
    CommandDesk(std::vector<DeskTag> tags, std::int64_t startedUtcMs);

    // An id that became an order is refused from then on, for as long as a command with it could be taken. Later the path of
    // writes still knows it as a number that was used.
    std::variant<CommandOrder, CommandRefusal> judge(const Arrival& arrival);

private:
    std::string problemOfTimes(const Arrival& arrival, std::int64_t issuedUtcMs, std::int64_t expiresMs) const;
    bool isRepeated(const std::string& id, std::int64_t utcMs);

    std::map<std::string, DeskTag> tags_;  // by name
    const std::int64_t startedUtcMs_;
    bool isOff_ = true;
    std::set<std::string> ids_;                              // of orders that are not long ago
    std::deque<std::pair<std::int64_t, std::string>> kept_;  // the same, and until when, UTC in ms; the oldest first
};

// What became of it, for PREFIX/outcome. Not for WriteOutcome::Pending.
std::string outcomeJson(const std::string& id, host::WriteOutcome outcome, const std::string& text);
// A refusal by the desk: nothing was sent, and the outcome says "refused".
std::string outcomeJson(const CommandRefusal& refusal);

}  // namespace ac500::broker

#endif
