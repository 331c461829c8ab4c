// What a session is given and what it tells about itself. Plain values.
#ifndef AC500_TOOLS_HOST_SESSION_TYPES_H
#define AC500_TOOLS_HOST_SESSION_TYPES_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "tools/events/event_table.h"
#include "tools/guard/handshake_pattern.h"
#include "tools/guard/program_watch.h"
#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/poll_loop.h"
#include "tools/host/statistics.h"

namespace ac500::host {

struct SessionSettings {
    LoopSettings loop;
    int maxRequestWords = 100;  // largest request that the PLC accepts, in 16-bit words
    int retryLimit = 2;         // failed replies that the driver tolerates before it gives a request up
    // A write that could not be handed to the driver for so long fails: an operator who has turned away does not expect
    // a machine to start moving when the cable is back.
    Milliseconds writeDeadline{5000};
    // The deadline counts only while the link is down; with the link up a write waits for those before it as long as they take.
    // For who waits that long, too: else something is sent that nobody expects any more.
    bool isDeadlineForLinkAlone = false;

    // What was learned of the PLC's replies to the handshake: a difference is told, and holds nothing.
    std::optional<guard::HandshakePattern> handshake = std::nullopt;

    int maxRequestBytes() const { return 2 * maxRequestWords; }
};

// Something that happened to a session; tools/events/event_table.h has the ids and their levels.
struct SessionEvent {
    std::size_t number = 0;  // of the events of the session, from 0, without gaps
    Time time{0};            // by the session's clock
    std::chrono::system_clock::time_point wallTime;
    events::EventId event = events::EventId::SessionEnded;
    Failure failure;   // what went wrong
    std::string text;  // what happened, when nothing went wrong

    const std::string& message() const { return failure.occurred() ? failure.text : text; }
};

// Which program the PLC runs, as far as the guard of the symbol file tells.
struct ProgramStatus {
    guard::ProgramState state = guard::ProgramState::Unguarded;
    // Why values are in doubt and nothing is written, also while the link is down and until the guard was read again; nothing
    // wrong when that is not so.
    Failure doubt;
};

struct SessionStatus {
    LoopState state = LoopState::Disconnected;
    bool isOnline = false;
    Time since{0};  // when `isOnline` became what it is; at first, when the session began
    std::chrono::system_clock::time_point sinceWallTime;
    Statistics statistics;
    std::optional<SessionEvent> lastFailure;  // of the exchange with the PLC; orders have failures of their own
    std::size_t events = 0;                   // so far, failures or not; see HostSession::eventsSince
    ProgramStatus program;
};

}  // namespace ac500::host

#endif
