// A Workload is one measured piece of work at one size. Floors, the driver and other clients are workloads alike: they
// are timed by the same loop, counted by the same instrumentation, and pay the same call.
#ifndef AC500_BENCH_WORKLOAD_H
#define AC500_BENCH_WORKLOAD_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/corpus.h"

namespace ac500::bench {

class Workload {
public:
    virtual ~Workload() = default;

    // Brings back the state that run() starts from. Neither timed nor counted. A workload that overrides it says so in
    // needsPreparation; others are run several times in a row.
    virtual void prepare() {}
    virtual bool needsPreparation() const { return false; }

    // The measured work.
    virtual void run() = 0;

    // Ends the program when the work was not done, or was done wrongly. Called before and after the measurement, neither
    // timed nor counted; leaves the state that it found.
    virtual void check() {}

    // How many of what the scenario is about (reads, tags, cycles) one run() does.
    virtual double items() const = 0;
};

// How a workload's time is measured.
enum class Clocking {
    Thread,  // processor time of the thread: what other programs do meanwhile does not count
    Wall,    // wall clock; beside it the processor time of this process, which servers do not add to
};

// "scenario/case/size/who", e.g. "read/twenty-scopes/1000/driver". `make` builds the workload in a process that has
// used the driver for nothing else. Who: "driver", its "floor" (bench/floors.h), its "expert" floor (bench/experts.h), or
// another client.
struct Scenario {
    std::string name;
    std::function<std::unique_ptr<Workload>()> make;
    Clocking clocking = Clocking::Thread;
};

constexpr int kSizes[] = {100, 1000, 10000};
constexpr int kManyTags = 100000;

// "NAME/one-scope/100/floor" and so on: both floors and the driver over a corpus.
template <class Floor, class Expert, class Driver>
void addOverCorpus(const std::string& name, Layout layout, int size, std::vector<Scenario>& scenarios) {
    const std::string stem =
        name + (layout == Layout::OneScope ? "/one-scope/" : "/twenty-scopes/") + std::to_string(size);
    scenarios.push_back({stem + "/floor", [=] { return std::make_unique<Floor>(makeCorpus(layout, size)); }});
    scenarios.push_back({stem + "/expert", [=] { return std::make_unique<Expert>(makeCorpus(layout, size)); }});
    scenarios.push_back({stem + "/driver", [=] { return std::make_unique<Driver>(makeCorpus(layout, size)); }});
}

// The same over every layout and size.
template <class Floor, class Expert, class Driver>
void addOverCorpora(const std::string& name, std::vector<Scenario>& scenarios) {
    for (const Layout layout : {Layout::OneScope, Layout::TwentyScopes}) {
        for (const int size : kSizes) {
            addOverCorpus<Floor, Expert, Driver>(name, layout, size, scenarios);
        }
    }
}

// One function per source file of scenarios.
void addReadScenarios(std::vector<Scenario>& scenarios);
void addResolutionScenarios(std::vector<Scenario>& scenarios);
void addRebuildScenarios(std::vector<Scenario>& scenarios);
void addCycleScenarios(std::vector<Scenario>& scenarios);
void addWriteScenarios(std::vector<Scenario>& scenarios);
void addLinkScenarios(std::vector<Scenario>& scenarios);
void addPeerScenarios(std::vector<Scenario>& scenarios);

// What the program at hand measures.
std::vector<Scenario> allScenarios();

// Ends the program with a message: a figure for work that was not done would look like a good one.
void require(bool done, const char* what);

}  // namespace ac500::bench

#endif
