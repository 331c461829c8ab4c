// Statistics counts what the poll loop did since it was started. A plain value; the loop hands out copies.
#ifndef AC500_TOOLS_HOST_STATISTICS_H
#define AC500_TOOLS_HOST_STATISTICS_H

#include <array>
#include <cstdint>
#include <optional>

#include "tools/host/clock.h"

namespace ac500::host {

struct CycleTimes {
    Time minimum{0};
    Time median{0};
    Time maximum{0};
    Time last{0};
    std::int64_t cycles = 0;  // how many were measured; 0: the times mean nothing
};

// No value is stale before this age.
constexpr Time kShortestStaleAge = std::chrono::seconds(2);

// The age from which on a value of a loop whose passes take so long, and begin every `cycle`, is stale.
Time staleAge(const CycleTimes& times, Time cycle);

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
    std::int64_t cycles() const { return measuredElsewhere_ ? measuredElsewhere_->cycles : cycleCount_; }  // of these
    // Of a loop in another process, whose passes were measured there: cycleTimes() gives these.
    void setCycleTimes(const CycleTimes& times) { measuredElsewhere_ = times; }

private:
    static constexpr std::size_t kKeptCycles = 1000;  // the median is that of the last thousand
    std::array<Time, kKeptCycles> cycles_{};          // in place: a loop that runs takes no memory for it
    std::int64_t cycleCount_ = 0;
    Time minimum_{0};
    Time maximum_{0};
    std::optional<CycleTimes> measuredElsewhere_;
};

}  // namespace ac500::host

#endif
