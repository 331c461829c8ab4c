// Clock is handed to everything that measures time, so that tests need not wait.
#ifndef AC500_TOOLS_HOST_CLOCK_H
#define AC500_TOOLS_HOST_CLOCK_H

#include <chrono>

namespace ac500::host {

// Time since an arbitrary start that is fixed while the program runs; never goes back.
using Time = std::chrono::microseconds;
using Milliseconds = std::chrono::milliseconds;

class Clock {
public:
    virtual ~Clock() = default;
    // Any thread.
    virtual Time now() const = 0;
};

class SteadyClock : public Clock {
public:
    Time now() const override {
        return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
    }
};

}  // namespace ac500::host

#endif
