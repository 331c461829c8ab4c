// The benchmark programs, driver_bench and link_bench. scripts/bench runs them, once per scenario and round, pinned to
// one processor.
//
//   driver_bench --benchmark_filter='^read/one-scope/100/driver/'   time one scenario (Google Benchmark's own options)
//   driver_bench --count NAME                                       one run of it under valgrind --tool=callgrind
//   driver_bench --list                                             the names of all scenarios
#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "bench/workload.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "benchmark: %s\n", what);
        std::exit(1);
    }
}

namespace {

// Google Benchmark calls a benchmark several times to find the number of iterations; the workload is made once.
Workload& workloadOf(const Scenario& scenario) {
    static std::map<std::string, std::unique_ptr<Workload>> made;
    std::unique_ptr<Workload>& workload = made[scenario.name];
    if (workload == nullptr) {
        workload = scenario.make();
    }
    return *workload;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The median beside the mean: runs in which the system took the processor away do not count in it.
void measure(benchmark::State& state, const Scenario& scenario) {
    using Clock = std::chrono::steady_clock;
    Workload& workload = workloadOf(scenario);
    std::vector<double> seconds;
    for (auto _ : state) {
        workload.prepare();
        const Clock::time_point started = Clock::now();
        workload.run();
        seconds.push_back(std::chrono::duration<double>(Clock::now() - started).count());
        state.SetIterationTime(seconds.back());
    }
    state.counters["items"] = workload.items();
    state.counters["median_ns"] = 1e9 * median(seconds);
}

int count(const std::vector<Scenario>& scenarios, const char* name) {
    for (const Scenario& scenario : scenarios) {
        if (scenario.name == name) {
            const std::unique_ptr<Workload> workload = scenario.make();
            for (int warmUp = 0; warmUp < 2; ++warmUp) {
                workload->prepare();
                workload->run();
            }
            workload->prepare();
            CALLGRIND_START_INSTRUMENTATION;
            workload->run();
            CALLGRIND_STOP_INSTRUMENTATION;
            std::printf("items %.17g\n", workload->items());
            return 0;
        }
    }
    std::fprintf(stderr, "benchmark: no scenario is called %s; --list names them\n", name);
    return 2;
}

int listNames(const std::vector<Scenario>& scenarios) {
    for (const Scenario& scenario : scenarios) {
        std::printf("%s\n", scenario.name.c_str());
    }
    return 0;
}

int runBenchmarks(const std::vector<Scenario>& scenarios, int argc, char** argv) {
    for (const Scenario& scenario : scenarios) {
        auto* registered = benchmark::RegisterBenchmark(scenario.name.c_str(), measure, scenario);
        registered->UseManualTime();
        if (scenario.clocking == Clocking::WallAndOwnClock) {
            registered->MeasureProcessCPUTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    using namespace ac500::bench;
    const std::vector<Scenario> scenarios = allScenarios();
    if (argc == 3 && std::strcmp(argv[1], "--count") == 0) {
        return count(scenarios, argv[2]);
    }
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        return listNames(scenarios);
    }
    return runBenchmarks(scenarios, argc, argv);
}
