// Statistics counts what the poll loop did since it was started. A plain value; the loop hands out copies.
#ifndef AC500_TOOLS_HOST_STATISTICS_H
#define AC500_TOOLS_HOST_STATISTICS_H

#include <array>
#include <cstdint>

#include "tools/host/clock.h"

namespace ac500::host {

struct CycleTimes {
    Time minimum{0};
    Time median{0};
    Time maximum{0};
    Time last{0};
    std::int64_t cycles = 0;  // how many were measured; 0: the times mean nothing
};

struct Statistics {
    std::int64_t framesSent = 0;
    std::int64_t framesAccepted = 0;  // replies that the driver took as good, handshake included
    std::int64_t bytesSent = 0;
    std::int64_t bytesReceived = 0;
    std::int64_t retries = 0;     // frames sent again
    std::int64_t timeouts = 0;    // replies that did not come, or not whole, in time
    std::int64_t refusals = 0;    // replies with a status word other than 0
    std::int64_t badReplies = 0;  // replies of a wrong length or form, and bytes that nobody asked for
    std::int64_t abandoned = 0;   // requests that the driver gave up
    std::int64_t connections = 0;
    std::int64_t handshakes = 0;

    std::int64_t reconnects() const { return connections > 0 ? connections - 1 : 0; }

    // A full pass over the cyclic list took `duration`, from its first request to the end of its quiet look.
    void addCycle(Time duration);
    CycleTimes cycleTimes() const;

private:
    static constexpr std::size_t kKeptCycles = 1000;  // the median is that of the last thousand
    std::array<Time, kKeptCycles> cycles_{};          // in place: a loop that runs takes no memory for it
    std::int64_t cycleCount_ = 0;
    Time minimum_{0};
    Time maximum_{0};
};

}  // namespace ac500::host

#endif
