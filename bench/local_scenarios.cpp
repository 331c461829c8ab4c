// What driver_bench measures: everything that needs no network.
#include "bench/workload.h"

namespace ac500::bench {

std::vector<Scenario> allScenarios() {
    std::vector<Scenario> scenarios;
    addReadScenarios(scenarios);
    addResolutionScenarios(scenarios);
    addRebuildScenarios(scenarios);
    addCycleScenarios(scenarios);
    addWriteScenarios(scenarios);
    return scenarios;
}

}  // namespace ac500::bench
