// One cycle of the list without a network: for each request ComCommunication and both calls of DataCom. The replies are
// prepared.
#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/floors.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

namespace {

// Answers in this process.
Exchange preparedPlc(const Corpus& corpus) {
    const auto plc = std::make_shared<TinyPlc>(corpus.areaBytes);
    return [plc](const QByteArray& request) {
        const std::string& reply = plc->answer(request.constData(), request.size());
        require(!reply.empty(), "a request that the prepared PLC does not know");
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    };
}

class DriverCycle : public Workload {
public:
    explicit DriverCycle(const Corpus& corpus) {
        startDriver(corpus);
        openSession(preparedPlc(corpus));
        script_ = rehearse(PLC_driver.readList.size(), driverSource(), preparedPlc(corpus));
        require(holdsMemory(PLC_driver.localValues, corpus), "the driver stored wrong bytes");
    }

    void run() override {
        for (QByteArray& reply : script_.replies) {
            ComCommunication();
            DataCom(&reply, reply.size());
            DataCom(&reply, reply.size());
        }
    }

    double items() const override { return script_.cycles; }

private:
    CycleScript script_;
};

class FloorCycle : public Workload {
public:
    explicit FloorCycle(const Corpus& corpus) {
        startDriver(corpus);
        openSession(preparedPlc(corpus));
        floor_ = std::make_unique<CycleFloor>(PLC_driver.readList, PLC_driver.handshakeBytes);
        const RequestSource source = {
            [this] { return floor_->nextRequest(); },
            [this](QByteArray* reply, int received) { return floor_->takeReply(reply, received); }};
        script_ = rehearse(PLC_driver.readList.size(), source, preparedPlc(corpus));
        require(holdsMemory(floor_->image(), corpus), "the floor stored wrong bytes");
        const CycleScript drivers = rehearse(PLC_driver.readList.size(), driverSource(), preparedPlc(corpus));
        require(script_.requests == drivers.requests, "driver and floor differ in their requests");
    }

    void run() override {
        for (QByteArray& reply : script_.replies) {
            floor_->nextRequest();
            floor_->takeReply(&reply, reply.size());
            floor_->takeReply(&reply, reply.size());
        }
    }

    double items() const override { return script_.cycles; }

private:
    std::unique_ptr<CycleFloor> floor_;
    CycleScript script_;
};

}  // namespace

void addCycleScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorCycle, DriverCycle>("cycle", scenarios);
}

}  // namespace ac500::bench
