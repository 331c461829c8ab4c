// Rebuilding the cyclic list of tags that the driver has seen before, as a host does when the operator turns a page;
// and the sort alone.
#include <algorithm>

#include "bench/driver_setup.h"
#include "bench/floors.h"
#include "bench/workload.h"
#include "core/host_interface.h"
#include "core/inner_steps.h"

namespace ac500::bench {

namespace {

using Run = std::pair<int, int>;  // first byte, bytes

std::vector<Run> runsOf(const QList<RW_VAR>& requests) {
    std::vector<Run> runs;
    for (const RW_VAR& request : requests) {
        runs.emplace_back(request.offset, request.size);
    }
    return runs;
}

class DriverRebuild : public Workload {
public:
    explicit DriverRebuild(const Corpus& corpus) : tags_(hostTags(inOrder(corpus.tags, Order::Random))) {
        startDriver(corpus);
        RebuildFloor floor(corpus);
        require(ReCreatReadVarList(&tags_) == floor.rebuild(tags_),
                "driver and floor differ in the number of requests");
        require(runsOf(PLC_driver.readList) == runsOf(floor.requests()), "driver and floor differ in their requests");
    }

    void run() override { ReCreatReadVarList(&tags_); }
    double items() const override { return tags_.size(); }

private:
    QList<HostTag> tags_;
};

class FloorRebuild : public Workload {
public:
    explicit FloorRebuild(const Corpus& corpus)
        : tags_(hostTags(inOrder(corpus.tags, Order::Random))), floor_(corpus) {}

    void run() override { floor_.rebuild(tags_); }
    double items() const override { return tags_.size(); }

private:
    const QList<HostTag> tags_;
    RebuildFloor floor_;
};

// A list to be sorted, made anew before each run.
class Sort : public Workload {
public:
    Sort(const Corpus& corpus, Order order) : unsorted_(readRecords(inOrder(corpus.tags, order))) {}

    void prepare() override {
        list_ = unsorted_;
        list_.detach();
    }

    bool needsPreparation() const override { return true; }
    double items() const override { return unsorted_.size(); }

protected:
    void requireSorted() {
        prepare();
        run();
        require(std::is_sorted(list_.constBegin(), list_.constEnd(),
                               [](const RW_VAR& a, const RW_VAR& b) { return a.offset < b.offset; }),
                "a list was not sorted");
    }

    const QList<RW_VAR> unsorted_;
    QList<RW_VAR> list_;
};

class DriverSort : public Sort {
public:
    DriverSort(const Corpus& corpus, Order order) : Sort(corpus, order) { requireSorted(); }
    void run() final { Bubble_Sort(&list_); }
};

class FloorSort : public Sort {
public:
    FloorSort(const Corpus& corpus, Order order) : Sort(corpus, order) { requireSorted(); }
    void run() final { sortFloor(list_); }
};

}  // namespace

void addRebuildScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorRebuild, DriverRebuild>("rebuild", scenarios);
    for (const int size : kSizes) {
        for (const Order order : {Order::Random, Order::Ascending}) {
            const std::string name =
                std::string("sort/") + (order == Order::Random ? "random/" : "ascending/") + std::to_string(size);
            scenarios.push_back({name + "/floor", [=] {
                                     return std::make_unique<FloorSort>(makeCorpus(Layout::OneScope, size), order);
                                 }});
            scenarios.push_back({name + "/driver", [=] {
                                     return std::make_unique<DriverSort>(makeCorpus(Layout::OneScope, size), order);
                                 }});
        }
    }
}

}  // namespace ac500::bench
