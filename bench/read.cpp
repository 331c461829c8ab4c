// A panel's commonest call: one 16-bit value by name.
//
// One run reads every tag of the list once, in the list's order, which is random with respect to addresses and to the
// order of the symbols. The names are texts of their own, not those that the tags were registered with. "read" reads
// all tags; "screen" reads the same hundred again and again, as a panel does that shows one page of a large program;
// "first-read" reads each tag for the first time since the symbols were handed over, which is within.
#include <algorithm>
#include <cstdint>

#include "bench/driver_setup.h"
#include "bench/experts.h"
#include "bench/floors.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

constexpr std::size_t kScreenTags = 100;
constexpr int kMoreThanIsKept = 300000;  // names that no cache of the driver holds at once

std::vector<CorpusTag> readingList(const Corpus& corpus, std::size_t most) {
    std::vector<CorpusTag> list = inOrder(corpus.tags, Order::Random);
    list.resize(std::min(list.size(), most));
    for (CorpusTag& tag : list) {
        tag.name = separateCopy(tag.name);
    }
    return list;
}

class DriverReads : public Workload {
public:
    explicit DriverReads(const Corpus& corpus, std::size_t most = SIZE_MAX)
        : corpus_(corpus), list_(readingList(corpus, most)) {
        startDriver(corpus);
    }

    void check() override {
        for (const int generation : {1, 0}) {
            fillImage(corpus_, generation);
            requireReadable(list_, generation);
        }
    }

    void run() override {
        for (CorpusTag& tag : list_) {
            GetRegisterData(&tag.name, 0, &argument_, 0, &value_, 1);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

protected:
    const Corpus corpus_;

private:
    std::vector<CorpusTag> list_;
    QString argument_;
    QByteArray value_;
};

// `Side` has read and setGeneration.
template <class Side>
class FloorReads : public Workload {
public:
    explicit FloorReads(const Corpus& corpus, std::size_t most = SIZE_MAX)
        : list_(readingList(corpus, most)), side_(corpus) {}

    void check() override {
        for (const int generation : {1, 0}) {
            side_.setGeneration(generation);
            for (const CorpusTag& tag : list_) {
                char value[2] = {};
                require(side_.read(tag.name, value) && QByteArray(value, 2) == hostValueAt(tag.startByte, generation),
                        "the floor read a wrong value");
            }
        }
    }

    void run() override {
        for (const CorpusTag& tag : list_) {
            side_.read(tag.name, value_);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

protected:
    Side& side() { return side_; }

private:
    std::vector<CorpusTag> list_;
    Side side_;
    char value_[2] = {};
};

class DriverScreen : public DriverReads {
public:
    explicit DriverScreen(const Corpus& corpus) : DriverReads(corpus, kScreenTags) {}
};

template <class Side>
class FloorScreen : public FloorReads<Side> {
public:
    explicit FloorScreen(const Corpus& corpus) : FloorReads<Side>(corpus, kScreenTags) {}
};

class DriverFirstReads : public DriverReads {
public:
    explicit DriverFirstReads(const Corpus& corpus) : DriverReads(corpus), symbols_(corpus.symbols) {}

    void check() override {
        prepare();
        PassVarName_2(&symbols_);
        DriverReads::check();
    }

    void prepare() override { forgetNames(corpus_); }
    bool needsPreparation() const override { return true; }

    void run() override {
        PassVarName_2(&symbols_);
        DriverReads::run();
    }

private:
    QList<Label_Type_Info> symbols_;
};

// Its table of names is made from the symbols before.
class ExpertFirstReads : public FloorReads<FirstReadExpert> {
public:
    using FloorReads::FloorReads;
};

class FloorFirstReads : public FloorReads<FirstReadFloor> {
public:
    using FloorReads::FloorReads;
    void prepare() override { side().forget(); }
    bool needsPreparation() const override { return true; }
};

}  // namespace

void addReadScenarios(std::vector<Scenario>& scenarios) {
    using Floor = FloorReads<ReadFloor>;
    using Expert = FloorReads<ReadExpert>;
    addOverCorpora<Floor, Expert, DriverReads>("read", scenarios);
    addOverCorpus<Floor, Expert, DriverReads>("read", Layout::OneScope, 1, scenarios);
    for (const int size : {kManyTags, kMoreThanIsKept}) {
        addOverCorpus<Floor, Expert, DriverReads>("read", Layout::TwentyScopes, size, scenarios);
    }
    addOverCorpora<FloorScreen<ReadFloor>, FloorScreen<ReadExpert>, DriverScreen>("screen", scenarios);
    addOverCorpora<FloorFirstReads, ExpertFirstReads, DriverFirstReads>("first-read", scenarios);
}

}  // namespace ac500::bench
