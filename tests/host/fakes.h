// A driver, a transport and a clock that do what a test tells them and keep a diary. No time passes and nothing is sent.
#ifndef AC500_TESTS_HOST_FAKES_H
#define AC500_TESTS_HOST_FAKES_H

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/wire.h"
#include "tools/host/driver_library.h"
#include "tools/host/poll_loop.h"
#include "tools/host/transport.h"

namespace ac500::host {

using test::bytes;
using test::hex;
using test::writeReply;
using test::zeroReply;

class FakeClock : public Clock {
public:
    Time now() const override { return now_; }
    void advance(Time time) { now_ += time; }

private:
    Time now_{std::chrono::seconds(1000)};
};

inline QByteArray openSessionFrame() {
    return bytes(test::kFirstHandshakeRequest);
}
inline QByteArray symbolFileFrame() {
    return bytes(test::kSecondHandshakeRequest);
}
// Two bytes of area 1 from `address`.
inline QByteArray readFrame(char address = 8) {
    QByteArray frame = bytes("BBBB 00000014 2E 00 00000001 0001 00000000 00000002 01020304");
    frame[17] = address;
    return frame;
}
inline QByteArray writeFrame() {
    return bytes("BBBB 00000016 3C 00 00000001 0001 00000008 00000002 1234 01020304");
}

inline QByteArray openSessionReply() {
    return test::firstHandshakeReply();
}
inline QByteArray symbolFileReply() {
    return test::secondHandshakeReply("00 00 00 00");
}
// To readFrame: 12 bytes, the lead byte, two bytes of data.
inline QByteArray readReply() {
    return bytes("BBBB 00000009 0000 00000000 00 1234");
}
inline QByteArray refusal() {
    return bytes("BBBB 00000002 0003");
}
// With the one status word that may pass.
inline QByteArray passingRefusal() {
    return bytes("BBBB 00000002 0F01");
}

// The driver as the loop sees it: a queue of frames, of which the head is offered until it is answered or given up.
class FakeDriver {
public:
    FakeDriver() {
        instance_ = this;
        functions.nextRequest = []() noexcept { return instance_->next(); };
        functions.takeReply = [](QByteArray* reply, int received) noexcept {
            return instance_->take(*reply, received);
        };
        functions.registerCallbacks = [](VarDoneCallback varDone, CommFailCallback) noexcept {
            instance_->varDone_ = varDone;
        };
    }
    ~FakeDriver() { instance_ = nullptr; }

    void offer(const QByteArray& frame, VariableId id = kCyclicReadId, int writeFlag = 0) {
        Protocol queued{};
        queued.frame = frame;
        queued.frameLength = frame.size();
        queued.replyLength = -1;
        queued.var.hostId = id.hostId;
        queued.var.hostSubId = id.hostSubId;
        queued.var.writeFlag = writeFlag;
        frames.push_back(queued);
    }
    void offerHandshake() {
        offer(openSessionFrame());
        offer(symbolFileFrame());
    }

    // "ask", "ask: nothing", "measure 15", "process 15", "empty", in the order of the calls.
    std::vector<std::string> diary;
    DriverFunctions functions;
    std::deque<Protocol> frames;
    int retryLimit = 2;
    int failures = 0;
    int abandonStatus = 41;           // when it gives up for want of a reply
    int refusedStatus = 12;           // when it gives up over a reply with a status word
    std::deque<int> processStatuses;  // what processing the next replies answers; 1 when empty
    // Reported by the next accepted reply, or by giving up.
    std::vector<VariableReport> reports;

private:
    Protocol* next() {
        diary.push_back(frames.empty() ? "ask: nothing" : "ask");
        return frames.empty() ? nullptr : &frames.front();
    }

    RW_VAR* take(const QByteArray& reply, int received) {
        if (frames.empty()) {
            diary.push_back("nothing is queued");
            return answer(1);
        }
        result_ = frames.front().var;
        if (reply.isEmpty()) {
            diary.push_back("empty");
            return fail(abandonStatus);
        }
        const bool measuring = frames.front().replyLength == -1;
        diary.push_back((measuring ? "measure " : "process ") + std::to_string(received));
        if (measuring) {
            frames.front().replyLength = received;
            return answer(1);
        }
        return reply.size() == refusal().size() && reply.right(2) != bytes("0000") ? fail(refusedStatus) : process();
    }

    RW_VAR* process() {
        const int status = processStatuses.empty() ? 1 : processStatuses.front();
        if (!processStatuses.empty()) {
            processStatuses.pop_front();
        }
        if (status == 0) {
            return fail(abandonStatus);
        }
        status == 201 ? frames.clear() : frames.pop_front();
        report();
        return answer(status);
    }

    RW_VAR* fail(int givenUp) {
        if (++failures <= retryLimit) {
            return answer(0);
        }
        failures = 0;
        frames.clear();
        report();
        return answer(givenUp);
    }

    RW_VAR* answer(int status) {
        result_.status = status;
        return &result_;
    }

    void report() {
        for (const VariableReport& report : reports) {
            varDone_(0, static_cast<quint32>(report.id.hostId), static_cast<quint32>(report.id.hostSubId),
                     report.success ? 1 : 2);
        }
        reports.clear();
    }

    static inline FakeDriver* instance_ = nullptr;
    VarDoneCallback varDone_ = nullptr;
    RW_VAR result_{};
};

// Each connection starts with nothing to read. Waiting for bytes that do not come moves the clock.
class FakeTransport : public Transport {
public:
    explicit FakeTransport(FakeClock& clock) : clock_(clock) {}

    void connect(const Endpoint&) override {
        ++connections;
        incoming.clear();
        closedByPeer = false;
    }
    ConnectResult waitConnected(Milliseconds timeout) override {
        if (connectResult.status == ConnectStatus::InProgress) {
            clock_.advance(timeout);
        }
        return connectResult;
    }
    bool send(const QByteArray& bytes) override {
        sent.push_back(std::to_string(connections) + ": " + hex(bytes));
        if (answer) {
            const QByteArray reply = answer(bytes);
            if (!reply.isEmpty()) {
                incoming.push_back(reply);
            }
        }
        return !sendFails;
    }
    ReceiveResult receive(Milliseconds timeout) override {
        if (!incoming.empty()) {
            const QByteArray bytes = incoming.front();
            incoming.pop_front();
            clock_.advance(deliveryTime);
            return {ReceiveStatus::Data, bytes, {}};
        }
        if (closedByPeer) {
            return {ReceiveStatus::Closed, {}, "closed by the peer"};
        }
        clock_.advance(timeout);
        return {ReceiveStatus::TimedOut, {}, {}};
    }
    void close() override {
        ++closes;
        incoming.clear();
    }

    ConnectResult connectResult{ConnectStatus::Connected, {}};
    std::function<QByteArray(const QByteArray&)> answer;
    std::deque<QByteArray> incoming;
    Milliseconds deliveryTime{0};  // passes before each of them
    bool closedByPeer = false;
    bool sendFails = false;
    int connections = 0;
    int closes = 0;
    std::vector<std::string> sent;  // "connection: hex"

private:
    FakeClock& clock_;
};

}  // namespace ac500::host

#endif
