#include "tools/desk/plan_growth.h"

#include <algorithm>

namespace ac500::desk {

std::vector<PlanFigure> costsOf(const ReadPlan& plan) {
    return {{"requests", "requests in a pass", static_cast<std::int64_t>(plan.requests.size())},
            {"items", "items", plan.items},
            {"bytes_asked", "bytes asked for", plan.bytesAsked},
            {"bytes_sent", "bytes sent in a pass", plan.bytesSent},
            {"bytes_received", "bytes received in a pass", plan.bytesReceived}};
}

std::vector<FigureChange> changesSince(const std::map<std::string, std::int64_t>& before, const ReadPlan& now) {
    std::vector<FigureChange> changes;
    for (const PlanFigure& figure : costsOf(now)) {
        const auto earlier = before.find(figure.key);
        if (earlier != before.end() && earlier->second != figure.value) {
            changes.push_back({figure.name, earlier->second, figure.value});
        }
    }
    return changes;
}

bool anyGrowth(const std::vector<FigureChange>& changes) {
    return std::any_of(changes.begin(), changes.end(), [](const FigureChange& change) { return change.isGrowth(); });
}

}  // namespace ac500::desk
