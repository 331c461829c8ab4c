// A panel's commonest call: one 16-bit value by name.
//
// One run reads every tag of the list once, in the list's order, which is random with respect to addresses and to the
// order of the symbols. The names are texts of their own, not those that the tags were registered with.
#include "bench/driver_setup.h"
#include "bench/floors.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

std::vector<CorpusTag> readingList(const Corpus& corpus) {
    std::vector<CorpusTag> list = inOrder(corpus.tags, Order::Random);
    for (CorpusTag& tag : list) {
        tag.name = separateCopy(tag.name);
    }
    return list;
}

class DriverReads : public Workload {
public:
    explicit DriverReads(const Corpus& corpus) : list_(readingList(corpus)) {
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
    explicit FloorReads(const Corpus& corpus) : list_(readingList(corpus)), floor_(corpus) {
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

}  // namespace

void addReadScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorReads, DriverReads>("read", scenarios);
}

}  // namespace ac500::bench
