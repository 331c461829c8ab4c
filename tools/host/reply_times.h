// ReplyTimes knows how long the slowest reply of late took: that is how long a host has to listen to be sure that nothing
// more is coming. Of late means the last two to four seconds, the present period of two seconds and the full one before.
//
// A plain value; the time is handed in and never goes back. Used by the loop thread.
#ifndef AC500_TOOLS_HOST_REPLY_TIMES_H
#define AC500_TOOLS_HOST_REPLY_TIMES_H

#include <cstdint>

#include "tools/host/clock.h"

namespace ac500::host {

class ReplyTimes {
public:
    // A reply was complete at `now`, `took` after its request was sent.
    void add(Time now, Time took);
    // 0 when there was none.
    Time slowest(Time now) const;

private:
    static constexpr Time kPeriod = std::chrono::seconds(2);

    std::int64_t periodOf(Time now) const { return now / kPeriod; }

    std::int64_t period_ = 0;  // of the latest reply
    Time slowest_{0};          // of that period
    Time slowestBefore_{0};    // of the one before it
};

}  // namespace ac500::host

#endif
