// The first resolution of every tag, from handing the symbols over to the last tag resolved: whatever the driver
// derives from the symbols, early or late, is within.
#include "bench/driver_setup.h"
#include "bench/experts.h"
#include "bench/floors.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

bool isRight(const ControlInformationM& info, const CorpusTag& tag) {
    return info.area == kArea && info.address == tag.startByte && info.dataType == kUnsignedInt;
}

class DriverResolution : public Workload {
public:
    explicit DriverResolution(const Corpus& corpus)
        : corpus_(corpus), symbols_(corpus.symbols), list_(inOrder(corpus.tags, Order::Random)) {
        startDriver();
    }

    void check() override {
        prepare();
        PassVarName_2(&symbols_);
        for (const CorpusTag& tag : list_) {
            ControlInformationM info = ControlInformationM();
            require(get_label_address_info(tag.name, info) == 0 && isRight(info, tag), "the driver resolved wrongly");
        }
    }

    void prepare() override { forgetNames(corpus_); }
    bool needsPreparation() const override { return true; }

    void run() override {
        PassVarName_2(&symbols_);
        for (const CorpusTag& tag : list_) {
            ControlInformationM info = ControlInformationM();
            get_label_address_info(tag.name, info);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

private:
    const Corpus corpus_;
    QList<Label_Type_Info> symbols_;
    const std::vector<CorpusTag> list_;
};

template <class Side>
class FloorResolution : public Workload {
public:
    explicit FloorResolution(const Corpus& corpus) : floor_(corpus), list_(inOrder(corpus.tags, Order::Random)) {}

    void check() override {
        for (const CorpusTag& tag : list_) {
            ControlInformationM info = ControlInformationM();
            require(floor_.resolve(tag.name, info) && isRight(info, tag), "the floor resolved wrongly");
        }
    }

    void run() override {
        for (const CorpusTag& tag : list_) {
            ControlInformationM info = ControlInformationM();
            floor_.resolve(tag.name, info);
        }
    }

    double items() const override { return static_cast<double>(list_.size()); }

private:
    const Side floor_;
    const std::vector<CorpusTag> list_;
};

}  // namespace

void addResolutionScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorResolution<ResolutionFloor>, FloorResolution<ResolutionExpert>, DriverResolution>("resolve",
                                                                                                          scenarios);
}

}  // namespace ac500::bench
