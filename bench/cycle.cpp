// One cycle of the list without a network: for each request ComCommunication and both calls of DataCom, with the replies
// prepared.
//
// The list is rotated by each request, and its length need not be a multiple of the entries per request. So a run plays
// requests until the list stands as at its beginning, which is a whole number of cycles; the figure is per cycle.
#include <functional>

#include "bench/driver_setup.h"
#include "bench/floors.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"
#include "protocol/bytes.h"

namespace ac500::bench {

namespace {

enum { kItemCountAt = 8 };

struct Script {
    std::vector<QByteArray> replies;  // to the requests in their order
    double cycles = 0;
};

QByteArray replyTo(const QByteArray& request, TinyPlc& plc) {
    const std::string& reply = plc.answer(request.constData(), request.size());
    require(!reply.empty(), "a request that the prepared PLC does not know");
    return QByteArray(reply.data(), static_cast<int>(reply.size()));
}

// Plays until a request comes again. `next` and `take` are the two sides of a client.
Script rehearse(int entries, const Corpus& corpus, const std::function<Protocol*()>& next,
                const std::function<int(QByteArray*, int)>& take) {
    TinyPlc plc(corpus.areaBytes);
    Script script;
    int entriesRead = 0;
    const auto playOne = [&] {
        const QByteArray frame = next()->frame;
        QByteArray reply = replyTo(frame, plc);
        require(take(&reply, reply.size()) == 1 && take(&reply, reply.size()) == 1, "a prepared reply was not taken");
        script.replies.push_back(reply);
        entriesRead += static_cast<int>(getU32(frame.constData() + kItemCountAt));
    };
    for (int i = 0; i < entries; ++i) {  // by then every request belongs to the part that repeats itself
        playOne();
    }
    script.replies.clear();
    entriesRead = 0;
    const QByteArray first = next()->frame;
    do {
        playOne();
        require(static_cast<int>(script.replies.size()) <= entries, "the list does not come round");
    } while (next()->frame != first);
    require(entriesRead % entries == 0, "the list came round after a broken number of cycles");
    script.cycles = entriesRead / entries;
    return script;
}

bool holdsMemory(const QHash<quint64, char>& image, const Corpus& corpus) {
    for (const CorpusTag& tag : corpus.tags) {
        const quint64 key = static_cast<quint64>(kArea) << 32 | static_cast<quint32>(tag.startByte);
        if (image.value(key) != memoryByte(tag.startByte) || image.value(key + 1) != memoryByte(tag.startByte + 1)) {
            return false;
        }
    }
    return true;
}

int driverTakes(QByteArray* reply, int received) {
    return DataCom(reply, received)->status;
}

// The two frames of the handshake.
void openSession(const Corpus& corpus) {
    TinyPlc plc(corpus.areaBytes);
    for (int i = 0; i < 2; ++i) {
        QByteArray reply = replyTo(ComCommunication()->frame, plc);
        driverTakes(&reply, reply.size());
        require(driverTakes(&reply, reply.size()) == 1, "the handshake failed");
    }
    require(PLC_driver.connected == 1, "the session did not open");
}

class DriverCycle : public Workload {
public:
    explicit DriverCycle(const Corpus& corpus) {
        startDriver(corpus);
        openSession(corpus);
        script_ = rehearse(PLC_driver.readList.size(), corpus, ComCommunication, driverTakes);
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
    Script script_;
};

class FloorCycle : public Workload {
public:
    explicit FloorCycle(const Corpus& corpus) {
        startDriver(corpus);
        openSession(corpus);
        floor_ = std::make_unique<CycleFloor>(PLC_driver.readList, PLC_driver.handshakeBytes);
        require(floor_->nextRequest()->frame == ComCommunication()->frame, "driver and floor differ in a request");
        script_ = rehearse(
            PLC_driver.readList.size(), corpus, [this] { return floor_->nextRequest(); },
            [this](QByteArray* reply, int received) { return floor_->takeReply(reply, received); });
        require(holdsMemory(floor_->image(), corpus), "the floor stored wrong bytes");
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
    Script script_;
};

}  // namespace

void addCycleScenarios(std::vector<Scenario>& scenarios) {
    addOverCorpora<FloorCycle, DriverCycle>("cycle", scenarios);
}

}  // namespace ac500::bench
