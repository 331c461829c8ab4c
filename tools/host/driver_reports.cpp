#include "tools/host/driver_reports.h"

#include <array>
#include <mutex>
#include <utility>

#include "core/codes.h"

namespace ac500::host {

namespace {

constexpr std::size_t kPlaces = DriverReports::kMost;

struct Place {
    bool isTaken = false;
    const void* driver = nullptr;  // DriverFunctions::object
    // Loop thread of whoever has the place, from its construction to its destruction.
    std::vector<VariableReport>* reports = nullptr;
};

std::mutex placesMutex;
std::array<Place, kPlaces> places;  // placesMutex; `reports` as said above

template <std::size_t I>
quint32 onVariableDone(quint32, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    const VariableId id{static_cast<std::int32_t>(hostId), static_cast<std::int32_t>(hostSubId)};
    if (std::vector<VariableReport>* reports = places[I].reports) {
        reports->push_back({id, outcome == kVariableDone});
    }
    return 0;
}

// The loop sees an abandoned request in the status that DataCom returns, so nothing is to be kept here. The driver calls
// it without asking whether there is one.
quint32 onCommunicationFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

template <std::size_t... I>
constexpr std::array<VarDoneCallback, kPlaces> callbacksOf(std::index_sequence<I...>) {
    return {&onVariableDone<I>...};
}

constexpr std::array<VarDoneCallback, kPlaces> kCallbacks = callbacksOf(std::make_index_sequence<kPlaces>());

std::optional<std::size_t> takePlace(const void* driver, std::vector<VariableReport>* reports) {
    const std::lock_guard<std::mutex> lock(placesMutex);
    std::optional<std::size_t> free;
    for (std::size_t i = 0; i < kPlaces; ++i) {
        if (places[i].isTaken && places[i].driver == driver) {
            return std::nullopt;
        }
        if (!places[i].isTaken && !free) {
            free = i;
        }
    }
    if (free) {
        places[*free] = {true, driver, reports};
    }
    return free;
}

void leavePlace(std::size_t place) {
    const std::lock_guard<std::mutex> lock(placesMutex);
    places[place] = {};
}

}  // namespace

DriverReports::DriverReports(const DriverFunctions& driver) : place_(takePlace(driver.object, &reports_)) {
    if (place_) {
        driver.registerCallbacks(kCallbacks[*place_], &onCommunicationFailed);
    }
}

DriverReports::~DriverReports() {
    if (place_) {
        leavePlace(*place_);
    }
}

std::vector<VariableReport> DriverReports::take() {
    std::vector<VariableReport> taken;
    taken.swap(reports_);
    return taken;
}

}  // namespace ac500::host
