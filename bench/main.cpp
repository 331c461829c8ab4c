// The benchmark programs, driver_bench and link_bench. scripts/bench runs them, once per scenario and round, pinned to
// one processor.
//
//   driver_bench --benchmark_filter='^read/one-scope/100/driver/'   time one scenario (Google Benchmark's own options)
//   driver_bench --count NAME                                       one run of it under valgrind --tool=callgrind
//   driver_bench --count-misses NAME                                the same, with caches as earlier runs leave them
//   driver_bench --list                                             the names of all scenarios
#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
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

std::map<std::string, std::unique_ptr<Workload>> madeWorkloads;

// Google Benchmark calls a benchmark several times to find the number of iterations; the workload is made once.
Workload& workloadOf(const Scenario& scenario) {
    std::unique_ptr<Workload>& workload = madeWorkloads[scenario.name];
    if (workload == nullptr) {
        workload = scenario.make();
        workload->check();
    }
    return *workload;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double now(Clocking clocking) {
    timespec time = timespec();
    clock_gettime(clocking == Clocking::Thread ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// What looking at the clock twice adds to a time.
double clockCost(Clocking clocking) {
    std::vector<double> costs;
    for (int i = 0; i < 1001; ++i) {
        const double started = now(clocking);
        costs.push_back(now(clocking) - started);
    }
    return median(costs);
}

// Runs so often between two looks at the clock that its own cost and grain do not show.
int runsPerLook(Workload& workload, Clocking clocking) {
    constexpr double kLongEnough = 100e-6;
    int runs = 1;
    while (!workload.needsPreparation() && runs < 4096) {
        const double started = now(clocking);
        for (int i = 0; i < runs; ++i) {
            workload.run();
        }
        if (now(clocking) - started >= kLongEnough) {
            break;
        }
        runs *= 2;
    }
    return runs;
}

// The median of all looks beside the mean: what disturbs a few runs does not count in it.
void measure(benchmark::State& state, const Scenario& scenario) {
    Workload& workload = workloadOf(scenario);
    const double cost = clockCost(scenario.clocking);
    const int runs = runsPerLook(workload, scenario.clocking);
    std::vector<double> seconds;
    for (auto _ : state) {
        workload.prepare();
        const double started = now(scenario.clocking);
        for (int i = 0; i < runs; ++i) {
            workload.run();
        }
        seconds.push_back(std::max(now(scenario.clocking) - started - cost, 0.0));
        state.SetIterationTime(seconds.back());
    }
    state.counters["items"] = runs * workload.items();
    state.counters["median_ns"] = 1e9 * median(seconds);
}

// Callgrind's caches are empty when instrumentation starts, so misses are counted by switching the collection alone on
// and off (--collect-atstart=no).
enum class Counted { Instructions, Misses };

int count(const std::vector<Scenario>& scenarios, const char* name, Counted counted) {
    for (const Scenario& scenario : scenarios) {
        if (scenario.name == name) {
            const std::unique_ptr<Workload> workload = scenario.make();
            workload->check();
            for (int warmUp = 0; warmUp < 2; ++warmUp) {
                workload->prepare();
                workload->run();
            }
            workload->prepare();
            if (counted == Counted::Misses) {
                CALLGRIND_TOGGLE_COLLECT;
                workload->run();
                CALLGRIND_TOGGLE_COLLECT;
            } else {
                CALLGRIND_START_INSTRUMENTATION;
                workload->run();
                CALLGRIND_STOP_INSTRUMENTATION;
            }
            workload->check();
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
        if (scenario.clocking == Clocking::Wall) {
            registered->MeasureProcessCPUTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& [name, workload] : madeWorkloads) {
        workload->check();
    }
    benchmark::Shutdown();
    return 0;
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    using namespace ac500::bench;
    const std::vector<Scenario> scenarios = allScenarios();
    if (argc == 3 && std::strcmp(argv[1], "--count") == 0) {
        return count(scenarios, argv[2], Counted::Instructions);
    }
    if (argc == 3 && std::strcmp(argv[1], "--count-misses") == 0) {
        return count(scenarios, argv[2], Counted::Misses);
    }
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        return listNames(scenarios);
    }
    return runBenchmarks(scenarios, argc, argv);
}
