#include "tools/host/driver_reports.h"

#include <atomic>

#include "core/codes.h"

namespace ac500::host {

namespace {

std::atomic<DriverReports*> activeReports{nullptr};

}  // namespace

DriverReports::DriverReports(const DriverFunctions& driver) {
    DriverReports* none = nullptr;
    if (activeReports.compare_exchange_strong(none, this)) {
        driver.registerCallbacks(&DriverReports::onVariableDone, &DriverReports::onCommunicationFailed);
    }
}

DriverReports::~DriverReports() {
    DriverReports* self = this;
    activeReports.compare_exchange_strong(self, nullptr);
}

bool DriverReports::isActive() const {
    return activeReports.load() == this;
}

std::vector<VariableReport> DriverReports::take() {
    std::vector<VariableReport> taken;
    taken.swap(reports_);
    return taken;
}

quint32 DriverReports::onVariableDone(quint32, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    DriverReports* active = activeReports.load();
    if (active != nullptr) {
        const VariableId id{static_cast<std::int32_t>(hostId), static_cast<std::int32_t>(hostSubId)};
        active->reports_.push_back({id, outcome == kVariableDone});
    }
    return 0;
}

// The loop sees an abandoned request in the status that DataCom returns, so nothing is to be kept here. The driver calls
// it without asking whether there is one.
quint32 DriverReports::onCommunicationFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

}  // namespace ac500::host
