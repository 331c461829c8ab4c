// A panel's commonest call: one 16-bit value by name.
//
// One run reads every tag of the list once, in the list's order, which is random with respect to addresses and to the
// order of the symbols. The names are texts of their own, not those that the tags were registered with. "read" reads
// all tags; "screen" reads the same hundred again and again, as a panel does that shows one page of a large program.
#include <algorithm>
#include <cstdint>

#include "bench/driver_setup.h"
#include "bench/floors.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

constexpr std::size_t kScreenTags = 100;

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
    explicit DriverReads(const Corpus& corpus, std::size_t most = SIZE_MAX) : list_(readingList(corpus, most)) {
        startDriver(corpus);
        fillImage(corpus);
        for (CorpusTag& tag : list_) {
            require(read(tag) == 1 && value_ == hostValueAt(tag.startByte), "the driver read a wrong value");
        }
    }

    void run() override {
        for (CorpusTag& tag : list_) {
            read(tag);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

private:
    quint32 read(CorpusTag& tag) { return GetRegisterData(&tag.name, 0, &argument_, 0, &value_, 1); }

    std::vector<CorpusTag> list_;
    QString argument_;
    QByteArray value_;
};

class FloorReads : public Workload {
public:
    explicit FloorReads(const Corpus& corpus, std::size_t most = SIZE_MAX)
        : list_(readingList(corpus, most)), floor_(corpus) {
        for (const CorpusTag& tag : list_) {
            char value[2] = {};
            require(floor_.read(tag.name, value) && QByteArray(value, 2) == hostValueAt(tag.startByte),
                    "the floor read a wrong value");
        }
    }

    void run() override {
        for (const CorpusTag& tag : list_) {
            floor_.read(tag.name, value_);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

private:
    std::vector<CorpusTag> list_;
    ReadFloor floor_;
    char value_[2] = {};
};

class DriverScreen : public DriverReads {
public:
    explicit DriverScreen(const Corpus& corpus) : DriverReads(corpus, kScreenTags) {}
};

class FloorScreen : public FloorReads {
public:
    explicit FloorScreen(const Corpus& corpus) : FloorReads(corpus, kScreenTags) {}
};

}  // namespace

void addReadScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorReads, DriverReads>("read", scenarios);
    addOverCorpora<FloorScreen, DriverScreen>("screen", scenarios);
}

}  // namespace ac500::bench
