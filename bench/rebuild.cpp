// Rebuilding the cyclic list of tags that the driver has seen before, as a host does when the operator turns a page;
// and the sort alone.
#include <algorithm>

#include "bench/driver_setup.h"
#include "bench/experts.h"
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

// The list that the tags become must be the same, whoever builds it.
void requireSameRuns(const QList<RW_VAR>& requests, const Corpus& corpus, const QList<HostTag>& tags) {
    RebuildFloor floor(corpus);
    floor.rebuild(tags);
    require(runsOf(requests) == runsOf(floor.requests()), "the list was rebuilt wrongly");
}

class DriverRebuild : public Workload {
public:
    explicit DriverRebuild(const Corpus& corpus)
        : corpus_(corpus), tags_(hostTags(inOrder(corpus.tags, Order::Random))) {
        startDriver(corpus);
    }

    void check() override {
        PLC_driver.readList.clear();
        require(ReCreatReadVarList(&tags_) == PLC_driver.readList.size(), "the driver counts its requests wrongly");
        requireSameRuns(PLC_driver.readList, corpus_, tags_);
    }

    void run() override { ReCreatReadVarList(&tags_); }
    double items() const override { return tags_.size(); }

protected:
    const Corpus corpus_;

private:
    QList<HostTag> tags_;
};

template <class Side>
class FloorRebuild : public Workload {
public:
    explicit FloorRebuild(const Corpus& corpus)
        : corpus_(corpus), tags_(hostTags(inOrder(corpus.tags, Order::Random))), floor_(corpus) {}

    void check() override {
        run();
        requireSameRuns(floor_.requests(), corpus_, tags_);
    }

    void run() override { floor_.rebuild(tags_); }
    double items() const override { return tags_.size(); }

private:
    const Corpus corpus_;
    const QList<HostTag> tags_;
    Side floor_;
};

// Loading a program: the symbols, and all of its tags as the cyclic list.
class DriverLoad : public DriverRebuild {
public:
    explicit DriverLoad(const Corpus& corpus) : DriverRebuild(corpus), symbols_(corpus.symbols) {}

    void check() override {
        prepare();
        run();
        DriverRebuild::check();
    }

    void prepare() override { forgetNames(corpus_); }
    bool needsPreparation() const override { return true; }

    void run() override {
        PassVarName_2(&symbols_);
        DriverRebuild::run();
    }

private:
    QList<Label_Type_Info> symbols_;
};

template <class Side>
class FloorLoad : public Workload {
public:
    explicit FloorLoad(const Corpus& corpus) : corpus_(corpus), tags_(hostTags(inOrder(corpus.tags, Order::Random))) {}

    void check() override {
        run();
        requireSameRuns(loaded_->requests(), corpus_, tags_);
    }

    void prepare() override { loaded_.reset(); }
    bool needsPreparation() const override { return true; }

    void run() override {
        loaded_ = std::make_unique<Side>(corpus_);
        loaded_->rebuild(tags_);
    }

    double items() const override { return tags_.size(); }

private:
    const Corpus corpus_;
    const QList<HostTag> tags_;
    std::unique_ptr<Side> loaded_;
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

    void check() override {
        prepare();
        run();
        require(std::is_sorted(list_.constBegin(), list_.constEnd(),
                               [](const RW_VAR& a, const RW_VAR& b) { return a.offset < b.offset; }),
                "a list was not sorted");
    }

protected:
    const QList<RW_VAR> unsorted_;
    QList<RW_VAR> list_;
};

class DriverSort : public Sort {
public:
    using Sort::Sort;
    void run() final { Bubble_Sort(&list_); }
};

class FloorSort : public Sort {
public:
    using Sort::Sort;
    void run() final { sortFloor(list_); }
};

class ExpertSort : public Sort {
public:
    using Sort::Sort;
    void run() final { sortExpert(list_); }
};

template <class Sorter>
void addSort(const std::string& name, int size, Order order, std::vector<Scenario>& scenarios) {
    scenarios.push_back({name, [=] { return std::make_unique<Sorter>(makeCorpus(Layout::OneScope, size), order); }});
}

}  // namespace

void addRebuildScenarios(std::vector<Scenario>& scenarios) {
    using Floor = FloorRebuild<RebuildFloor>;
    using Expert = FloorRebuild<RebuildExpert>;
    addOverCorpora<Floor, Expert, DriverRebuild>("rebuild", scenarios);
    addOverCorpus<Floor, Expert, DriverRebuild>("rebuild", Layout::OneScope, 1, scenarios);
    addOverCorpus<Floor, Expert, DriverRebuild>("rebuild", Layout::OneScope, kManyTags, scenarios);
    for (const int size : {kSizes[1], kSizes[2], kManyTags}) {
        addOverCorpus<FloorLoad<RebuildFloor>, FloorLoad<RebuildExpert>, DriverLoad>("load", Layout::TwentyScopes, size,
                                                                                     scenarios);
    }
    for (const int size : kSizes) {
        for (const Order order : {Order::Random, Order::Ascending}) {
            const std::string stem =
                std::string("sort/") + (order == Order::Random ? "random/" : "ascending/") + std::to_string(size);
            addSort<FloorSort>(stem + "/floor", size, order, scenarios);
            addSort<ExpertSort>(stem + "/expert", size, order, scenarios);
            addSort<DriverSort>(stem + "/driver", size, order, scenarios);
        }
    }
}

}  // namespace ac500::bench
