// Cycles over TCP on loopback: the driver over blocking sockets, a panel's turn, the reference host's loop, and the
// floor, which sends the very bytes of the driver's requests over raw sockets and reads the replies. All four talk to
// the same kind of server, TinyPlc, in a process of its own.
#include <array>

#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/server_process.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"
#include "tests/support/linked_driver.h"
#include "tools/host/poll_loop.h"
#include "tools/host/tcp_transport.h"

namespace ac500::bench {

namespace {

constexpr int kLongestReply = 65541;

// Sends a request and collects its reply in a buffer that is used again and again.
class PlcConnection {
public:
    explicit PlcConnection(int port) : socket_(port), buffer_(kLongestReply) {}

    QByteArray exchange(const QByteArray& request) {
        socket_.send(request.constData(), request.size());
        int filled = 0;
        int whole = 0;
        do {
            filled += socket_.receive(buffer_.data() + filled, kLongestReply - filled);
            whole = TinyPlc::requestBytes(buffer_.data(), filled);  // replies have the same envelope
        } while (whole == 0);
        return QByteArray(buffer_.data(), filled);
    }

private:
    BlockingSocket socket_;
    std::vector<char> buffer_;
};

class DriverLink : public Workload {
public:
    explicit DriverLink(const Corpus& corpus, int maxRequestWords = kMaxRequestWords)
        : server_("plc", corpus.areaBytes), plc_(server_.port()), corpus_(corpus) {
        startDriver(corpus, maxRequestWords);
        const Exchange exchange = [this](const QByteArray& request) { return plc_.exchange(request); };
        openSession(exchange);
        script_ = rehearse(PLC_driver.readList.size(), driverSource(), exchange);
    }

    // The server's memory does not change: the image is emptied to see every byte come back.
    void check() override {
        fillImage(corpus_, 1);
        playAlong(script_, driverSource(), [this](const QByteArray& request) { return plc_.exchange(request); });
        require(holdsMemory(PLC_driver.localValues, corpus_), "the driver stored wrong bytes");
    }

    void run() override {
        for (std::size_t i = 0; i < script_.requests.size(); ++i) {
            playOne();
        }
    }

    double items() const override { return script_.cycles; }

protected:
    // Returns the number of list entries that were read.
    int playOne() {
        const Protocol* request = ComCommunication();
        const int entries = itemCount(request->frame);
        QByteArray reply = plc_.exchange(request->frame);
        DataCom(&reply, reply.size());
        DataCom(&reply, reply.size());
        return entries;
    }

    ServerProcess server_;
    PlcConnection plc_;
    const Corpus corpus_;
    CycleScript script_;
};

// One cycle, then every tag read by name; and so on.
class PanelTurn : public DriverLink {
public:
    explicit PanelTurn(const Corpus& corpus, int maxRequestWords = kMaxRequestWords)
        : DriverLink(corpus, maxRequestWords), list_(inOrder(corpus.tags, Order::Random)) {
        for (CorpusTag& tag : list_) {
            tag.name = separateCopy(tag.name);
        }
    }

    void check() override {
        DriverLink::check();
        requireReadable(list_, 0);
    }

    void run() override {
        const int entries = PLC_driver.readList.size();
        int turns = 0;
        for (int read = 0; turns < static_cast<int>(script_.cycles);) {
            read += playOne();
            if (read >= (turns + 1) * entries) {
                readEveryTag();
                ++turns;
            }
        }
        require(value_ == hostValueAt(list_.back().startByte), "the panel read a wrong value");
    }

private:
    void readEveryTag() {
        for (CorpusTag& tag : list_) {
            GetRegisterData(&tag.name, 0, &argument_, 0, &value_, 1);
        }
    }

    std::vector<CorpusTag> list_;
    QString argument_;
    QByteArray value_;
};

class FloorLink : public Workload {
public:
    explicit FloorLink(const Corpus& corpus, int maxRequestWords = kMaxRequestWords)
        : server_("plc", corpus.areaBytes), socket_(std::make_unique<BlockingSocket>(server_.port())) {
        startDriver(corpus, maxRequestWords);
        const Exchange exchange = [this](const QByteArray& request) {
            socket_->send(request.constData(), request.size());
            int filled = 0;
            while (TinyPlc::requestBytes(buffer_.data(), filled) == 0) {
                filled += socket_->receive(buffer_.data() + filled, static_cast<int>(buffer_.size()) - filled);
            }
            return QByteArray(buffer_.data(), filled);
        };
        openSession(exchange);
        script_ = rehearse(PLC_driver.readList.size(), driverSource(), exchange);
    }

    void check() override {
        run();
        require(QByteArray(buffer_.data(), script_.replies.back().size()) == script_.replies.back(),
                "the floor received other bytes than the driver");
    }

    void run() override {
        for (std::size_t i = 0; i < script_.requests.size(); ++i) {
            const QByteArray& request = script_.requests[i];
            socket_->send(request.constData(), request.size());
            for (int filled = 0; filled < script_.replies[i].size();) {
                filled += socket_->receive(buffer_.data() + filled, static_cast<int>(buffer_.size()) - filled);
            }
        }
    }

    double items() const override { return script_.cycles; }

private:
    ServerProcess server_;
    std::unique_ptr<BlockingSocket> socket_;
    std::vector<char> buffer_ = std::vector<char>(kLongestReply);
    CycleScript script_;
};

// The reference host's loop without pauses. Its rules cost something: it looks for bytes that nobody asked for before
// each request, judges each reply, and uses Qt's sockets.
class HostLoop : public Workload, private host::LoopListener {
public:
    explicit HostLoop(const Corpus& corpus) : server_("plc", corpus.areaBytes) {
        startDriver(corpus);
        reports_ = std::make_unique<host::DriverReports>(functions_);
        loop_ = std::make_unique<host::PollLoop>(
            host::PollLoop::Parts{functions_, *reports_, transport_, clock_, *this}, settingsFor(server_.port()));
        const int entries = PLC_driver.readList.size();
        loop_->cyclicListRebuilt(entries);
        while (accepted_ < entries) {  // then every request belongs to the part that repeats itself
            loop_->step();
        }
        anchor_ = lastAddress_;
        entriesRead_ = 0;
        run();
        require(entriesRead_ > 0 && entriesRead_ % entries == 0, "the list came round after a broken number of cycles");
        cycles_ = entriesRead_ / entries;
        require(holdsMemory(PLC_driver.localValues, corpus), "the driver stored wrong bytes");
    }

    void run() override {
        do {
            for (const qint64 before = accepted_; accepted_ == before;) {
                loop_->step();
            }
        } while (lastAddress_ != anchor_);
    }

    double items() const override { return cycles_; }

private:
    static host::LoopSettings settingsFor(int port) {
        host::LoopSettings settings;
        settings.plc.port = static_cast<std::uint16_t>(port);
        settings.cycle = host::Milliseconds(0);
        return settings;
    }

    void replyAccepted(const host::RequestFrame& request, const QByteArray&) override {
        ++accepted_;
        entriesRead_ += static_cast<int>(request.items.size());
        lastAddress_ = request.items.front().address;
    }
    void variableReported(const host::VariableReport&) override {}
    void requestAbandoned(const host::AbandonedRequest&) override { require(false, "the host's loop lost a request"); }
    void failed(events::EventId, const host::Failure& failure) override { require(false, failure.text.c_str()); }
    void lineInStep() override {}
    void lineOutOfStep(const host::Failure& reason) override { require(false, reason.text.c_str()); }
    void writeOffered(const host::RequestFrame&, host::VariableId) override { require(false, "nobody writes here"); }
    host::Failure whyNotToSend(const host::RequestFrame&, bool) override { return {}; }
    bool hasUrgentWork() const override { return false; }

    ServerProcess server_;
    const host::DriverFunctions functions_ = test::linkedDriver();
    std::unique_ptr<host::DriverReports> reports_;
    host::TcpTransport transport_;
    host::SteadyClock clock_;
    std::unique_ptr<host::PollLoop> loop_;
    qint64 accepted_ = 0;
    qint64 lastAddress_ = -1;
    qint64 anchor_ = -1;
    int entriesRead_ = 0;
    double cycles_ = 0;
};

// Requests as long as a host may make them on an Ethernet, for fewer round trips.
constexpr int kLongRequestWords = 500;

template <class Link>
void addLong(const char* who, int size, std::vector<Scenario>& scenarios) {
    scenarios.push_back(
        {"link-500/twenty-scopes/" + std::to_string(size) + "/" + who,
         [=] { return std::make_unique<Link>(makeCorpus(Layout::TwentyScopes, size), kLongRequestWords); },
         Clocking::Wall});
}

template <class Link>
void add(const char* who, int size, std::vector<Scenario>& scenarios) {
    scenarios.push_back({"link/twenty-scopes/" + std::to_string(size) + "/" + who,
                         [=] { return std::make_unique<Link>(makeCorpus(Layout::TwentyScopes, size)); },
                         Clocking::Wall});
}

}  // namespace

void addLinkScenarios(std::vector<Scenario>& scenarios) {
    for (const int size : kSizes) {
        add<FloorLink>("floor", size, scenarios);
        add<DriverLink>("driver", size, scenarios);
        add<PanelTurn>("panel", size, scenarios);
        add<HostLoop>("host", size, scenarios);
    }
    constexpr int kLongSize = 10000;
    addLong<FloorLink>("floor", kLongSize, scenarios);
    addLong<DriverLink>("driver", kLongSize, scenarios);
    addLong<PanelTurn>("panel", kLongSize, scenarios);
}

}  // namespace ac500::bench
