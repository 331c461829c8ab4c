// ReconnectPause says how long to wait before a broker is tried again: any time from nothing to a limit that doubles with each
// failure, up to a largest one ("full jitter"). So thousands of gateways that lost one broker at the same moment come back
// spread over the whole pause, and not in waves. Used by one thread.
#ifndef AC500_TOOLS_BROKER_RECONNECT_PAUSE_H
#define AC500_TOOLS_BROKER_RECONNECT_PAUSE_H

#include <cstdint>
#include <functional>

#include "tools/host/clock.h"

namespace ac500::broker {

class ReconnectPause {
public:
    struct Limits {
        host::Milliseconds first{1000};     // the longest pause after the first failure
        host::Milliseconds largest{60000};  // and after many
        // A connection that lasted so long was a good one: the next failure is a first again. One that the broker ends at
        // once is none, or a gateway that is turned away would try without a rest.
        host::Milliseconds good{10000};
    };
    // Equally likely from 0 to `most`, both included.
    using Random = std::function<std::uint64_t(std::uint64_t most)>;

    ReconnectPause(const Limits& limits, Random random);
    // With the random numbers of this machine.
    explicit ReconnectPause(const Limits& limits);

    // The pause after one more failure.
    host::Milliseconds next();
    void connectionLasted(host::Milliseconds time);

private:
    const Limits limits_;
    const Random random_;
    host::Milliseconds most_;  // of the next pause
};

}  // namespace ac500::broker

#endif
