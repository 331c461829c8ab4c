// ReportBook holds the driver to its word about writes: every write that was handed over comes to exactly one end. It
// is reported done, or reported failed, or dropped with all others that wait when the driver gives up a write request
// (quirk 10, which is how a host learns of it). Anything else is a complaint.
//
// It listens between host and driver: watch() returns the driver's functions with a few replaced by ones that tell the
// book and pass the call on. The driver is one object per process, so at most one book watches at a time.
// Every function may be called from any thread.
#ifndef AC500_TESTS_SOAK_REPORT_BOOK_H
#define AC500_TESTS_SOAK_REPORT_BOOK_H

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/host/driver_library.h"

namespace ac500::soak {

enum class Fate {
    Unknown,  // never handed over, or ended too long ago
    Open,
    Done,
    Failed,
    Dropped,
};
const char* fateName(Fate fate);

class ReportBook {
public:
    struct Counts {
        std::int64_t handedOver = 0;
        std::int64_t done = 0;
        std::int64_t failed = 0;
        std::int64_t dropped = 0;
        std::int64_t open() const { return handedOver - done - failed - dropped; }
    };

    ReportBook() = default;
    ~ReportBook();
    ReportBook(const ReportBook&) = delete;
    ReportBook& operator=(const ReportBook&) = delete;

    // REQUIRES: no other book watches; the book outlives every use of the result.
    host::DriverFunctions watch(const host::DriverFunctions& driver);

    // A piece of the write goes to the driver.
    void handedOver(std::int32_t serial);
    void reported(std::int32_t serial, bool success);
    // The driver gave up a write request. It has reported the writes of that request before.
    void allDropped();

    Fate fateOf(std::int32_t serial) const;
    Counts counts() const;
    // What was wrong since the last call.
    std::vector<std::string> takeComplaints();

    static constexpr std::size_t kKeptEnded = 1000;

private:
    void end(std::int32_t serial, Fate fate);

    mutable std::mutex mutex_;
    std::map<std::int32_t, Fate> fates_;
    std::deque<std::int32_t> ended_;
    Counts counts_;
    std::vector<std::string> complaints_;
};

}  // namespace ac500::soak

#endif
