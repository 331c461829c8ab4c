// What link_bench measures: cycles over TCP.
#include "bench/workload.h"

namespace ac500::bench {

std::vector<Scenario> allScenarios() {
    std::vector<Scenario> scenarios;
    addLinkScenarios(scenarios);
    addPeerScenarios(scenarios);
    return scenarios;
}

}  // namespace ac500::bench
