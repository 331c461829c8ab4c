// The clock that never goes back.
#ifndef AC500_TOOLS_RECORD_STEADY_TIME_H
#define AC500_TOOLS_RECORD_STEADY_TIME_H

#include <cstdint>
#include <ctime>

namespace ac500::record {

// In microseconds. The clock of std::chrono counts nanoseconds in 64 bits, which a 32-bit ARM divides by a function; here
// nothing is divided but the 32 bits of a part of a second.
inline std::int64_t steadyUs() {
    constexpr std::int64_t kUsPerSecond = 1000000;
    constexpr std::uint32_t kNsPerUs = 1000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * kUsPerSecond + static_cast<std::uint32_t>(time.tv_nsec) / kNsPerUs;
}

}  // namespace ac500::record

#endif
