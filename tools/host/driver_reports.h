// DriverReports receives the callbacks of one loaded driver. They carry no user pointer, so each collector has functions of
// its own, from a table of them: at most kMost are active at a time. The driver is one global object per loaded library
// and knows one receiver, so there is at most one for each loaded copy.
//
// The callbacks run on the loop thread, inside DataCom, and inside ComCommunication for a write that fits into no frame,
// while the driver holds its list lock: they may call nothing of
// the driver and only store what they are told. The loop collects it after DataCom has returned, on the same thread, so
// the stored reports need no lock.
#ifndef AC500_TOOLS_HOST_DRIVER_REPORTS_H
#define AC500_TOOLS_HOST_DRIVER_REPORTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/host/driver_library.h"

namespace ac500::host {

// The two identity words of a variable, which the driver hands back in its reports.
struct VariableId {
    std::int32_t hostId = 0;
    std::int32_t hostSubId = 0;
};

inline bool operator==(const VariableId& a, const VariableId& b) {
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId;
}

// Cyclic reads carry the identity that the driver gives them; the others get theirs from this host, with a serial number
// as second word. hostId also selects the status code within a family (1 to 11), so a code tells what was asked.
constexpr VariableId kCyclicReadId{0, -1};
constexpr std::int32_t kWriteHostId = 1;
constexpr std::int32_t kOnceReadHostId = 2;

struct VariableReport {
    VariableId id;
    bool success = false;
};

class DriverReports {
public:
    static constexpr std::size_t kMost = 64;

    // Registers itself with the driver. `isActive` tells whether it got a place: another collector for the same copy of the
    // driver keeps it as long as it lives, and this one then stays empty.
    explicit DriverReports(const DriverFunctions& driver);
    ~DriverReports();
    DriverReports(const DriverReports&) = delete;
    DriverReports& operator=(const DriverReports&) = delete;

    bool isActive() const { return place_.has_value(); }

    // The reports since the last call, in the order they came. Loop thread.
    std::vector<VariableReport> take();

private:
    std::optional<std::size_t> place_;  // constant after construction
    std::vector<VariableReport> reports_;
};

}  // namespace ac500::host

#endif
