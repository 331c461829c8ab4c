// DriverReports receives the driver's callbacks. The driver is one global object per loaded library and its callbacks
// carry no user pointer, so this is the process's one place for them: at most one collector is active at a time.
//
// The callbacks run on the loop thread, inside DataCom, and inside ComCommunication for a write that fits into no frame,
// while the driver holds its list lock: they may call nothing of
// the driver and only store what they are told. The loop collects it after DataCom has returned, on the same thread, so
// the stored reports need no lock.
#ifndef AC500_TOOLS_HOST_DRIVER_REPORTS_H
#define AC500_TOOLS_HOST_DRIVER_REPORTS_H

#include <cstdint>
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
    // Registers itself with the driver. `isActive` tells whether it got the place: another collector that still lives
    // keeps it, and this one then stays empty.
    explicit DriverReports(const DriverFunctions& driver);
    ~DriverReports();
    DriverReports(const DriverReports&) = delete;
    DriverReports& operator=(const DriverReports&) = delete;

    bool isActive() const;

    // The reports since the last call, in the order they came. Loop thread.
    std::vector<VariableReport> take();

private:
    static quint32 onVariableDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome);
    static quint32 onCommunicationFailed(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one);

    std::vector<VariableReport> reports_;
};

}  // namespace ac500::host

#endif
