// What a session is given and what it tells about itself. Plain values.
#ifndef AC500_TOOLS_HOST_SESSION_TYPES_H
#define AC500_TOOLS_HOST_SESSION_TYPES_H

#include <cstddef>
#include <optional>

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

    int maxRequestBytes() const { return 2 * maxRequestWords; }
};

struct SessionEvent {
    Time time{0};
    Failure failure;
};

struct SessionStatus {
    LoopState state = LoopState::Disconnected;
    bool isOnline = false;
    Statistics statistics;
    std::optional<SessionEvent> lastFailure;
    std::size_t events = 0;  // so far; see HostSession::eventsSince
};

}  // namespace ac500::host

#endif
