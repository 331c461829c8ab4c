// The first resolution of every tag, from handing the symbols over to the last tag resolved: whatever the driver
// derives from the symbols, early or late, is within.
#include "bench/driver_setup.h"
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
        : symbols_(corpus.symbols), emptyScopes_(corpus.symbols), list_(inOrder(corpus.tags, Order::Random)) {
        for (Label_Type_Info& scope : emptyScopes_) {
            scope.elementType.first().members.clear();
            scope.elementType.first().memberCount = 0;
        }
        startDriver();
        PassVarName_2(&symbols_);
        for (const CorpusTag& tag : list_) {
            ControlInformationM info = ControlInformationM();
            require(get_label_address_info(tag.name, info) == 0 && isRight(info, tag), "the driver resolved wrongly");
        }
    }

    // Makes the driver forget: every scope loses its variables.
    void prepare() override {
        PassVarName_2(&emptyScopes_);
        ControlInformationM info = ControlInformationM();
        require(get_label_address_info(constant(list_.front().name), info) != 0, "the driver did not forget");
    }

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
    // Picks the function for concrete names.
    static const QString& constant(const QString& name) { return name; }

    QList<Label_Type_Info> symbols_;
    QList<Label_Type_Info> emptyScopes_;
    const std::vector<CorpusTag> list_;
};

class FloorResolution : public Workload {
public:
    explicit FloorResolution(const Corpus& corpus) : floor_(corpus), list_(inOrder(corpus.tags, Order::Random)) {
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
    const ResolutionFloor floor_;
    const std::vector<CorpusTag> list_;
};

}  // namespace

void addResolutionScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorResolution, DriverResolution>("resolve", scenarios);
}

}  // namespace ac500::bench
