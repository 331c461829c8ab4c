// A burst of writes by name while every tag is polled: one SetRegisterData per tag, then the loop until the last of them
// is reported. Items are writes. Every fifth request or so is one of the cycle, which the loop keeps up; the replies are
// prepared.
#include <algorithm>
#include <unordered_map>

#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/experts.h"
#include "bench/floors.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"
#include "tools/wire/frame.h"

namespace ac500::bench {

namespace {

// What was reported, by the number of the write.
struct Reports {
    std::vector<quint8> times;
    std::size_t count = 0;

    void expect(std::size_t writes) {
        times.assign(writes, 0);
        count = 0;
    }

    void take(quint32 hostId, bool done) {
        require(done && hostId < times.size(), "a write failed, or one that nobody made is reported");
        ++times[hostId];
        ++count;
    }

    bool areComplete() const {
        return std::all_of(times.begin(), times.end(), [](quint8 number) { return number == 1; });
    }
};

Reports reports;

quint32 takeReport(quint32, quint32 hostId, quint32, quint32 outcome) {
    reports.take(hostId, outcome == kVariableDone);
    return 0;
}

quint32 failOnFailure(QList<RW_VAR>*, quint32, quint32) {
    require(false, "a request was abandoned");
    return 0;
}

// The driver.
class DriverSide {
public:
    explicit DriverSide(const Corpus&) {}

    void write(QString& name, QByteArray& value, int hostId) {
        SetRegisterData(&name, 0, &argument_, 0, &value, 1, hostId, 1);
    }
    Protocol* nextRequest() { return ComCommunication(); }
    int takeReply(QByteArray* reply, int received) { return DataCom(reply, received)->status; }
    static ByteAt bytes() { return bytesOf(PLC_driver.localValues); }
    static bool holds(const Corpus& corpus, int generation) {
        std::vector<CorpusTag> tags = corpus.tags;
        requireReadable(tags, generation);
        return holdsMemory(PLC_driver.localValues, corpus, generation);
    }

private:
    QString argument_;
};

class FloorSide : public WriteFloor {
public:
    explicit FloorSide(const Corpus& corpus)
        : WriteFloor(corpus, PLC_driver.readList, PLC_driver.handshakeBytes, takeReport) {}
    ByteAt bytes() const { return bytesOf(image()); }
    bool holds(const Corpus& corpus, int generation) const { return holdsMemory(image(), corpus, generation); }
};

class ExpertSide : public WriteExpert {
public:
    explicit ExpertSide(const Corpus& corpus)
        : WriteExpert(corpus, PLC_driver.readList, PLC_driver.handshakeBytes,
                      [](int hostId) { reports.take(static_cast<quint32>(hostId), true); }) {}
    ByteAt bytes() const {
        return [this](int address) { return image().byteAt(address); };
    }
    bool holds(const Corpus& corpus, int generation) const { return holdsMemory(image(), corpus, generation); }
};

bool isWrite(const QByteArray& request) {
    return wire::Service{wire::byteAt(request.constData(), wire::kServiceAt)} == wire::Service::Write;
}

// The replies of a PLC whose memory does not change: to a read by the address of its first item, which decides the rest
// of a cyclic request.
class PreparedReplies {
public:
    explicit PreparedReplies(TinyPlc& plc) : plc_(plc) {}

    QByteArray& to(const QByteArray& request) {
        const std::uint32_t key =
            isWrite(request) ? kWriteKey : wire::getU32(request.constData() + wire::kItemsAt + kAddressAt);
        QByteArray& reply = replies_[key];
        if (reply.isEmpty()) {
            const std::string& answer = plc_.answer(request.constData(), request.size());
            require(!answer.empty(), "a request that the PLC does not know");
            reply = QByteArray(answer.data(), static_cast<int>(answer.size()));
        }
        return reply;
    }

private:
    static constexpr std::uint32_t kWriteKey = UINT32_MAX;
    static constexpr int kAddressAt = 2;  // of an item

    TinyPlc& plc_;
    std::unordered_map<std::uint32_t, QByteArray> replies_;
};

template <class Side>
class Burst : public Workload {
public:
    explicit Burst(const Corpus& corpus)
        : corpus_(corpus), list_(inOrder(corpus.tags, Order::Random)), plc_(corpus.areaBytes), replies_(plc_) {
        startDriver(corpus);
        RegistCallBackFuncIntf(takeReport, failOnFailure);
        openSession([this](const QByteArray& request) { return askPlc(request); });
        side_ = std::make_unique<Side>(corpus);
        entries_ = PLC_driver.readList.size();
        for (CorpusTag& tag : list_) {
            tag.name = separateCopy(tag.name);
            values_.push_back(hostValueAt(tag.startByte));
        }
        for (int i = 0; i < entries_; ++i) {  // every reply is prepared
            const auto reply = [this](const QByteArray& request) -> QByteArray& { return replies_.to(request); };
            playOne(reply);
        }
    }

    // Writes other values to a PLC that takes them, polls all of them, then writes those back that were there. Between,
    // the memory changes before each reply, so that a byte of an earlier cycle is a wrong one.
    void check() override {
        const ByteAt byteAt = side_->bytes();
        for (const int generation : {1, 0}) {
            QByteArray asked;
            QByteArray reply;
            const auto answer = [&](const QByteArray& request) -> QByteArray& {
                asked = request;
                reply = askPlc(request);
                return reply;
            };
            std::vector<QByteArray> values;
            for (const CorpusTag& tag : list_) {
                values.push_back(hostValueAt(tag.startByte, generation));
            }
            burst(values, answer);
            require(reports.areComplete(), "a write was not reported once");
            requireWritten(generation);
            for (int i = 0; i < entries_; ++i) {
                plc_.setGeneration(i);
                playOne(answer);
                require(isWrite(asked) || holdsAsked(asked, plc_, byteAt),
                        "bytes of a reply were not stored, or wrongly");
            }
            plc_.setGeneration(generation);
            for (int read = 0; read < 2 * entries_;) {
                read += playOne(answer);
            }
            require(side_->holds(corpus_, generation), "what was written did not come back");
        }
    }

    void run() override {
        burst(values_, [this](const QByteArray& request) -> QByteArray& { return replies_.to(request); });
        require(reports.areComplete(), "a write was not reported once");
    }

    double items() const override { return static_cast<double>(list_.size()); }

private:
    QByteArray askPlc(const QByteArray& request) {
        const std::string& reply = plc_.answer(request.constData(), request.size());
        require(!reply.empty(), "a request that the PLC does not know");
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    }

    // Returns the number of list entries that were read.
    template <class Answer>
    int playOne(const Answer& answer) {
        Protocol* request = side_->nextRequest();
        if (request == nullptr) {
            return 0;
        }
        const int entries = isWrite(request->frame) ? 0 : itemCount(request->frame);
        QByteArray& reply = answer(request->frame);
        side_->takeReply(&reply, reply.size());
        require(side_->takeReply(&reply, reply.size()) == 1, "a reply was not taken");
        return entries;
    }

    template <class Answer>
    void burst(std::vector<QByteArray>& values, const Answer& answer) {
        reports.expect(list_.size());
        for (std::size_t i = 0; i < list_.size(); ++i) {
            side_->write(list_[i].name, values[i], static_cast<int>(i));
        }
        const int mostTurns = 100 + 2 * static_cast<int>(list_.size());
        for (int turn = 0; reports.count < list_.size(); ++turn) {
            require(turn < mostTurns, "writes were not reported");
            playOne(answer);
        }
    }

    void requireWritten(int generation) const {
        for (const CorpusTag& tag : list_) {
            require(plc_.byteAt(tag.startByte) == memoryByte(tag.startByte, generation) &&
                        plc_.byteAt(tag.startByte + 1) == memoryByte(tag.startByte + 1, generation),
                    "a write did not reach the PLC");
        }
    }

    const Corpus corpus_;
    std::vector<CorpusTag> list_;
    std::vector<QByteArray> values_;
    TinyPlc plc_;
    PreparedReplies replies_;
    std::unique_ptr<Side> side_;
    int entries_ = 0;
};

}  // namespace

void addWriteScenarios(std::vector<Scenario>& scenarios) {
    for (const int size : kSizes) {
        addOverCorpus<Burst<FloorSide>, Burst<ExpertSide>, Burst<DriverSide>>("write", Layout::TwentyScopes, size,
                                                                              scenarios);
    }
}

}  // namespace ac500::bench
