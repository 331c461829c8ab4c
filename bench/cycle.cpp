// One cycle of the list without a network: for each request ComCommunication and both calls of DataCom. The replies are
// prepared. "cycle" is one of many; "first-cycle" is the first after the image was empty.
#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/experts.h"
#include "bench/floors.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

// Drivers and floors alike. `Side` has nextRequest and takeReply, holds and forgetImage.
template <class Side>
class Cycle : public Workload {
public:
    explicit Cycle(const Corpus& corpus) : corpus_(corpus), plc_(corpus.areaBytes) {
        startDriver(corpus);
        openSession(exchange_);
        side_ = std::make_unique<Side>(corpus);
        const int entries = PLC_driver.readList.size();
        script_ = rehearse(entries, source_, exchange_);
        if (!side_->isDriver()) {
            const CycleScript drivers = rehearse(entries, driverSource(), exchange_);
            require(script_.requests == drivers.requests, "driver and floor differ in their requests");
        }
    }

    // First with a memory that changes before each reply, so that a byte of an earlier cycle is a wrong one.
    void check() override {
        const ByteAt byteAt = side_->bytes();
        int generation = 0;
        for (const QByteArray& request : script_.requests) {
            plc_.setGeneration(++generation);
            CycleScript one;
            one.requests.push_back(request);
            playAlong(one, source_, exchange_);
            require(holdsAsked(request, plc_, byteAt), "bytes of a reply were not stored, or wrongly");
        }
        for (const int whole : {1, 0}) {
            plc_.setGeneration(whole);
            playAlong(script_, source_, exchange_);
            require(side_->holds(corpus_, whole), "wrong bytes were stored");
        }
    }

    void run() override {
        for (QByteArray& reply : script_.replies) {
            side_->nextRequest();
            side_->takeReply(&reply, reply.size());
            side_->takeReply(&reply, reply.size());
        }
    }

    double items() const override { return script_.cycles; }

protected:
    Side& side() { return *side_; }

private:
    const Corpus corpus_;
    TinyPlc plc_;
    const Exchange exchange_ = [this](const QByteArray& request) {
        const std::string& reply = plc_.answer(request.constData(), request.size());
        require(!reply.empty(), "a request that the prepared PLC does not know");
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    };
    std::unique_ptr<Side> side_;
    const RequestSource source_ = {
        [this] { return side_->nextRequest(); },
        [this](QByteArray* reply, int received) { return side_->takeReply(reply, received); }};
    CycleScript script_;
};

class DriverSide {
public:
    explicit DriverSide(const Corpus&) {}
    static bool isDriver() { return true; }
    Protocol* nextRequest() { return ComCommunication(); }
    int takeReply(QByteArray* reply, int received) { return DataCom(reply, received)->status; }
    static bool holds(const Corpus& corpus, int generation) {
        std::vector<CorpusTag> tags = corpus.tags;
        requireReadable(tags, generation);
        return holdsMemory(PLC_driver.localValues, corpus, generation);
    }
    static ByteAt bytes() { return bytesOf(PLC_driver.localValues); }
    // As after a rebuild of the list.
    static void forgetImage() {
        PLC_driver.localValues = QHash<quint64, char>();
        PLC_driver.cyclicBatches = 0;
        PLC_driver.comInfo->firstPassDone = 0;
    }
};

class FloorSide : public CycleFloor {
public:
    explicit FloorSide(const Corpus&) : CycleFloor(PLC_driver.readList, PLC_driver.handshakeBytes) {}
    static bool isDriver() { return false; }
    ByteAt bytes() const { return bytesOf(image()); }
    bool holds(const Corpus& corpus, int generation) const { return holdsMemory(image(), corpus, generation); }
};

class ExpertSide : public CycleExpert {
public:
    explicit ExpertSide(const Corpus& corpus)
        : CycleExpert(PLC_driver.readList, PLC_driver.handshakeBytes, corpus.areaBytes) {}
    static bool isDriver() { return false; }
    ByteAt bytes() const {
        return [this](int address) { return image().byteAt(address); };
    }
    bool holds(const Corpus& corpus, int generation) const { return holdsMemory(image(), corpus, generation); }
    void forgetImage() { image().clear(); }
};

// The first cycle: every byte is new to the image.
template <class Side>
class FirstCycle : public Cycle<Side> {
public:
    using Cycle<Side>::Cycle;
    void prepare() override { this->side().forgetImage(); }
    bool needsPreparation() const override { return true; }
};

}  // namespace

void addCycleScenarios(std::vector<Scenario>& scenarios) {
    using Floor = Cycle<FloorSide>;
    using Expert = Cycle<ExpertSide>;
    using Driver = Cycle<DriverSide>;
    addOverCorpora<Floor, Expert, Driver>("cycle", scenarios);
    addOverCorpus<Floor, Expert, Driver>("cycle", Layout::OneScope, 1, scenarios);
    addOverCorpus<Floor, Expert, Driver>("cycle", Layout::OneScope, kManyTags, scenarios);
    for (const int size : kSizes) {
        addOverCorpus<FirstCycle<FloorSide>, FirstCycle<ExpertSide>, FirstCycle<DriverSide>>(
            "first-cycle", Layout::TwentyScopes, size, scenarios);
    }
}

}  // namespace ac500::bench
