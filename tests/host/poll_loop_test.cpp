#include "tools/host/poll_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "tests/host/fakes.h"

namespace ac500::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Listener : public LoopListener {
public:
    void replyAccepted(const RequestFrame& request, const QByteArray&) override {
        story.push_back(std::string("accepted ") + wire::serviceName(request.service));
    }
    void variableReported(const VariableReport& report) override {
        story.push_back("reported " + std::to_string(report.id.hostId) + "/" + std::to_string(report.id.hostSubId) +
                        (report.success ? " good" : " bad"));
    }
    void lineInStep() override { steps.push_back("in step"); }
    void lineOutOfStep(const Failure& reason) override { steps.push_back("out of step: " + reason.text); }
    void writeOffered(const RequestFrame& request, VariableId) override {
        steps.push_back("write of " + std::to_string(request.items.size()) + " offered");
    }
    Failure whyNotToSend(const RequestFrame& request, bool isRepeat) override {
        asked.push_back("write of " + std::to_string(request.items.size()) + (isRepeat ? " again" : ""));
        return whyNot;
    }
    void requestAbandoned(const AbandonedRequest& request) override {
        abandoned.push_back(request);
        urgent = false;
    }
    void failed(events::EventId event, const Failure& failure) override {
        happenings.push_back(events::rowOf(event).id);
        failures.push_back(std::string(failureKindName(failure.kind)) + ": " + failure.text);
    }
    void happened(events::EventId event, const std::string&) override { happenings.push_back(events::rowOf(event).id); }
    void measured(LatencyKind kind, Time took) override {
        times.push_back(std::string(latencyName(kind)) + " " + std::to_string(took.count()));
    }
    bool hasUrgentWork() const override { return urgent; }

    std::string firstFailure() const { return failures.empty() ? "nothing failed" : failures.front(); }

    std::vector<std::string> story;
    std::vector<std::string> steps;
    std::vector<std::string> asked;
    std::vector<AbandonedRequest> abandoned;
    std::vector<std::string> failures;
    Failure whyNot;
    std::vector<std::string> happenings;  // ids of events
    std::vector<std::string> times;       // "write 1200", in microseconds
    bool urgent = false;
};

class PollLoopTest : public testing::Test {
protected:
    void makeLoop(const LoopSettings& settings) {
        loop_ = std::make_unique<PollLoop>(PollLoop::Parts{driver_.functions, reports_, transport_, clock_, listener_},
                                           settings);
    }

    void SetUp() override {
        transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
        makeLoop(LoopSettings());
    }

    static QByteArray goodReply(const QByteArray& frame) {
        switch (parseRequest(frame).service) {
            case Service::Hello:
                return openSessionReply();
            case Service::Symbols:
                return symbolFileReply();
            case Service::Read:
                return readReply();
            case Service::Write:
                return writeReply();
        }
        return {};
    }

    // Steps, and waits as long as the loop says, until `isDone`.
    template <typename Condition>
    void stepUntil(Condition isDone) {
        for (int i = 0; i < 5000 && !isDone(); ++i) {
            clock_.advance(loop_->step());
        }
        EXPECT_TRUE(isDone());
    }
    void steps(int count) {
        for (int i = 0; i < count; ++i) {
            clock_.advance(loop_->step());
        }
    }

    // Connected, handshake done, nothing queued.
    void goOnline() {
        driver_.offerHandshake();
        stepUntil([this] { return loop_->isOnline(); });
        driver_.diary.clear();
        transport_.sent.clear();
    }
    bool isAwaiting(const QByteArray& frame) const {
        return !transport_.sent.empty() &&
               transport_.sent.back() == std::to_string(transport_.connections) + ": " + hex(frame);
    }
    // Sends `frame` and stops before its reply is looked at.
    void sendUnanswered(const QByteArray& frame) {
        transport_.answer = nullptr;
        driver_.offer(frame);
        stepUntil([&] { return isAwaiting(frame); });
    }

    void untilInStep() {
        listener_.steps.clear();
        stepUntil([this] { return !listener_.steps.empty(); });
        EXPECT_THAT(listener_.steps, ElementsAre("in step"));
    }
    // Sends `frame` on an open session, has it answered, and returns when it was sent.
    Time readOnce(const QByteArray& frame) {
        driver_.offer(frame);
        stepUntil([&] { return isAwaiting(frame); });
        const Time sent = clock_.now();
        stepUntil([this] { return driver_.frames.empty(); });
        return sent;
    }

    FakeClock clock_;
    FakeDriver driver_;
    FakeTransport transport_{clock_};
    DriverReports reports_{driver_.functions};
    Listener listener_;
    std::unique_ptr<PollLoop> loop_;
};

TEST_F(PollLoopTest, OpensASessionAndMeasuresEachReplyBeforeItIsProcessed) {
    driver_.offerHandshake();
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "measure 206", "process 206", "ask", "measure 36", "process 36",
                                           "ask", "measure 15", "process 15"));
    EXPECT_TRUE(loop_->isOnline());
    EXPECT_THAT(listener_.story, ElementsAre("accepted read"));
    EXPECT_EQ(loop_->statistics().framesSent, 3);
    EXPECT_EQ(loop_->statistics().framesAccepted, 3);
    EXPECT_EQ(loop_->statistics().bytesSent, 20 + 23 + 26);
    EXPECT_EQ(loop_->statistics().bytesReceived, 206 + 36 + 15);
    EXPECT_EQ(loop_->statistics().handshakes, 1);
}

TEST_F(PollLoopTest, AFrameThatWasMeasuredBeforeIsOnlyProcessed) {
    goOnline();
    driver_.offer(readFrame());
    driver_.processStatuses = {0, 1};
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "measure 15", "process 15", "ask", "process 15"));
    EXPECT_EQ(loop_->statistics().retries, 1);
}

TEST_F(PollLoopTest, AReplyInSingleBytesIsHandedOverOnceItIsWhole) {
    goOnline();
    sendUnanswered(readFrame());
    for (const char byte : readReply()) {
        EXPECT_THAT(driver_.diary, ElementsAre("ask"));
        transport_.incoming.push_back(QByteArray(1, byte));
        steps(1);
    }
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "measure 15", "process 15"));
}

TEST_F(PollLoopTest, ADriverWithNothingToSendIsAskedAgainSoon) {
    steps(2);
    EXPECT_EQ(loop_->state(), LoopState::Exchanging);
    EXPECT_EQ(loop_->step(), Milliseconds(5));
    EXPECT_THAT(transport_.sent, IsEmpty());
}

TEST_F(PollLoopTest, AReplyThatDoesNotComeEndsTheConnectionAndIsFedAsEmptyUntilGivenUp) {
    goOnline();
    sendUnanswered(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::GivingUp; });
    EXPECT_EQ(transport_.closes, 1);
    EXPECT_THAT(
        listener_.failures,
        ElementsAre("request: read of 1 item(s), the first in area 1 at 8, 2 bytes: no reply within 2000 ms; the "
                    "connection is dropped"));
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "ask", "empty", "ask", "empty", "ask", "empty"));
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_EQ(listener_.abandoned[0].kind, RequestKind::CyclicRead);
    EXPECT_EQ(listener_.abandoned[0].status, 41);
    EXPECT_THAT(listener_.abandoned[0].reason.text, HasSubstr("no reply within 2000 ms"));
    EXPECT_EQ(loop_->statistics().timeouts, 1);
    EXPECT_EQ(loop_->statistics().abandoned, 1);
}

TEST_F(PollLoopTest, ALateReplyIsNeverReadBecauseItsConnectionIsGone) {
    goOnline();
    sendUnanswered(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::GivingUp; });
    transport_.incoming.push_back(readReply());
    transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    driver_.offerHandshake();
    driver_.offer(readFrame(16));
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_EQ(transport_.connections, 2);
    EXPECT_THAT(listener_.story, ElementsAre("accepted read"));
    EXPECT_EQ(loop_->statistics().badReplies, 0);
}

TEST_F(PollLoopTest, PartOfAReplyIsTold) {
    goOnline();
    sendUnanswered(readFrame());
    transport_.incoming.push_back(readReply().left(9));
    stepUntil([this] { return loop_->state() == LoopState::GivingUp; });
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("9 of 15 bytes within 2000 ms"));
}

TEST_F(PollLoopTest, ARefusalThatMayPassIsSentAgainOnTheSameConnectionUnmeasured) {
    goOnline();
    bool refused = false;
    transport_.answer = [&](const QByteArray& frame) {
        return std::exchange(refused, true) ? goodReply(frame) : passingRefusal();
    };
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "empty", "ask", "measure 15", "process 15"));
    EXPECT_EQ(transport_.connections, 1);
    EXPECT_EQ(transport_.closes, 0);
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("the PLC refused it with status word 0x0F01"));
    EXPECT_EQ(loop_->statistics().refusals, 1);
    EXPECT_EQ(loop_->statistics().retries, 1);
    EXPECT_THAT(listener_.abandoned, IsEmpty());
}

TEST_F(PollLoopTest, ARefusalThatDoesNotPassIsSentTwiceAtMost) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return passingRefusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_THAT(transport_.sent, SizeIs(2));
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "empty", "ask", "measure 8", "process 8", "process 8"));
    EXPECT_EQ(listener_.abandoned[0].status, 12);
    EXPECT_TRUE(listener_.abandoned[0].wasRefused);
}

TEST_F(PollLoopTest, ARefusedRequestIsSentOnceAndTheRefusalHandedOverUntilItIsGivenUp) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(transport_.sent, SizeIs(1));
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "measure 8", "process 8", "process 8", "process 8"));
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_EQ(listener_.abandoned[0].status, 12);
    EXPECT_TRUE(listener_.abandoned[0].wasSent);
    EXPECT_TRUE(listener_.abandoned[0].wasRefused);
    EXPECT_EQ(listener_.abandoned[0].reason.text,
              "write of 1 item(s), the first in area 1 at 8, 2 bytes: the PLC refused it with status word 0x0003");
    EXPECT_EQ(loop_->statistics().refusals, 1);
    EXPECT_EQ(loop_->statistics().retries, 0);
}

TEST_F(PollLoopTest, RoundTripsAreMeasuredByTheKindOfTheRequest) {
    LoopSettings settings;
    settings.cycle = Milliseconds(0);
    makeLoop(settings);
    transport_.deliveryTime = Milliseconds(3);
    driver_.offerHandshake();
    driver_.offer(readFrame());
    driver_.offer(readFrame(), {kOnceReadHostId, 5});
    driver_.offer(writeFrame(), {kWriteHostId, 6}, 1);
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(listener_.times, ElementsAre("first handshake 3000", "second handshake 3000", "cyclic read 3000",
                                             "pass 12000", "one-shot read 3000", "write 3000"));
}

TEST_F(PollLoopTest, APassIsMeasuredToTheEndOfItsLook) {
    loop_->cyclicListRebuilt(1);
    goOnline();
    listener_.times.clear();
    transport_.deliveryTime = Milliseconds(3);
    driver_.offer(readFrame());
    untilInStep();
    EXPECT_THAT(listener_.times, ElementsAre("cyclic read 3000", "pass 6000"));  // twice the slowest reply
}

TEST_F(PollLoopTest, ARefusalIsMeasuredAndAReplyThatCannotBeTheAnswerIsNot) {
    goOnline();
    listener_.times.clear();
    transport_.deliveryTime = Milliseconds(2);
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.times, ElementsAre("write 2000"));
    transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
    goOnline();
    listener_.times.clear();
    transport_.answer = [](const QByteArray&) { return readReply() + "x"; };
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.times, IsEmpty());
}

TEST_F(PollLoopTest, EventsTellTheLifeOfAConnection) {
    driver_.offerHandshake();
    driver_.offer(readFrame());
    untilInStep();
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    driver_.frames.clear();
    driver_.offerHandshake();
    driver_.offer(readFrame());
    untilInStep();
    loop_->shutDown();
    EXPECT_THAT(listener_.happenings,
                ElementsAre("link.connected", "session.opened", "link.lost", "link.closed", "link.connected",
                            "session.opened", "link.restored", "session.ended", "link.closed"));
}

TEST_F(PollLoopTest, EachWayToFailHasItsEvent) {
    const auto happened = [&](const QByteArray& reply, const std::function<void()>& then = nullptr) {
        listener_.happenings.clear();
        transport_.answer = [=](const QByteArray&) { return reply; };
        driver_.offer(readFrame());
        stepUntil([&] { return !transport_.sent.empty(); });
        if (then) {
            then();
        }
        stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
        const std::vector<std::string> ids = std::exchange(listener_.happenings, {});
        driver_.frames.clear();
        transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
        goOnline();
        return ids;
    };
    goOnline();
    EXPECT_THAT(happened(QByteArray()), ElementsAre("reply.timeout", "link.closed", "request.given_up"));
    EXPECT_THAT(happened(refusal()), ElementsAre("reply.refused", "request.given_up"));
    EXPECT_THAT(happened("HTTP/1.1"), ElementsAre("reply.bad", "link.closed", "request.given_up"));
    EXPECT_THAT(happened(QByteArray(), [this] { transport_.closedByPeer = true; }),
                ElementsAre("link.lost", "link.closed", "request.given_up"));
    EXPECT_THAT(happened(readReply(), [this] { transport_.incoming.push_back("x"); }),
                ElementsAre("reply.unasked", "link.closed"));
    transport_.closedByPeer = true;
    transport_.connectResult = {ConnectStatus::Failed, "Connection refused"};
    stepUntil([this] { return !listener_.happenings.empty() && listener_.happenings.back() == "link.unreachable"; });
}

TEST_F(PollLoopTest, ARefusalIsToldAlsoWhenTheLinkGoesBeforeTheRequestIsSentAgain) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return passingRefusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return driver_.failures == 1; });
    transport_.closedByPeer = true;
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_THAT(transport_.sent, SizeIs(1));
    EXPECT_TRUE(listener_.abandoned[0].wasRefused);
    EXPECT_THAT(listener_.abandoned[0].reason.text, HasSubstr("status word 0x0F01"));
}

TEST_F(PollLoopTest, ARequestThatWasSentAgainAndNotAnsweredIsNotToldAsRefused) {
    goOnline();
    bool refused = false;
    transport_.answer = [&](const QByteArray&) {
        return std::exchange(refused, true) ? QByteArray() : passingRefusal();
    };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_THAT(transport_.sent, SizeIs(2));
    EXPECT_FALSE(listener_.abandoned[0].wasRefused);
    EXPECT_THAT(listener_.abandoned[0].reason.text, HasSubstr("no reply within 2000 ms"));
}

TEST_F(PollLoopTest, ARequestThatIsRefusedIsGivenUpAndTheConnectionKept) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.abandoned, SizeIs(1));
    transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
    goOnline();
    EXPECT_EQ(transport_.connections, 1);
}

TEST_F(PollLoopTest, AReadReplyOfAnotherLengthNeverReachesTheDriver) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return zeroReply(10); };
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(driver_.diary, ElementsAre("ask", "ask", "empty", "ask", "empty", "ask", "empty"));
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("the reply should have 15 bytes and has 16"));
    EXPECT_EQ(transport_.closes, 1);
    EXPECT_EQ(loop_->statistics().badReplies, 1);
}

TEST_F(PollLoopTest, AnotherMagicEndsTheConnectionWithoutWaitingForMore) {
    steps(2);
    transport_.answer = [](const QByteArray&) { return QByteArray("HTTP/1.1 400 Bad Request"); };
    driver_.offerHandshake();
    const Time before = clock_.now();
    stepUntil([this] { return loop_->state() == LoopState::GivingUp; });
    EXPECT_LT(clock_.now() - before, Milliseconds(100));
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("handshake: hello request: the reply begins with 4854 instead"));
}

TEST_F(PollLoopTest, ATrickleDoesNotRenewTheTimeOfARequest) {
    goOnline();
    sendUnanswered(readFrame());
    const Time sent = clock_.now();
    transport_.deliveryTime = Milliseconds(10);
    transport_.incoming.push_back(bytes("BBBB 0000FFFF"));
    transport_.incoming.insert(transport_.incoming.end(), 65535, QByteArray(1, '\0'));
    stepUntil([this] { return transport_.closes == 1; });
    EXPECT_EQ(clock_.now() - sent, Milliseconds(2000));
    EXPECT_EQ(loop_->statistics().timeouts, 1);
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("of 65541 bytes within 2000 ms; the connection is dropped"));
}

TEST_F(PollLoopTest, BytesBehindAReplyEndTheConnectionAndTheReplyIsNotTrusted) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return readReply() + readReply(); };
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.story, IsEmpty());
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("15 bytes more than a reply arrived; the connection is dropped"));
    EXPECT_EQ(transport_.closes, 1);
}

TEST_F(PollLoopTest, BytesBeforeARequestEndTheConnectionAndNothingIsSent) {
    goOnline();
    transport_.incoming.push_back(readReply());
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(transport_.sent, IsEmpty());
    EXPECT_THAT(listener_.story, IsEmpty());
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("15 bytes arrived that nobody asked for"));
}

TEST_F(PollLoopTest, BytesWhileNothingIsToBeSentEndTheConnectionToo) {
    goOnline();
    transport_.incoming.push_back("x");
    stepUntil([this] { return transport_.closes == 1; });
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("1 bytes arrived that nobody asked for"));
}

TEST_F(PollLoopTest, AConnectionThatIsClosedBeforeItsFirstRequestIsAFailureOfTheHandshake) {
    driver_.offerHandshake();
    steps(2);  // connected
    transport_.closedByPeer = true;
    steps(1);
    EXPECT_EQ(
        listener_.firstFailure(),
        "handshake: the connection was closed before a session was opened: closed by the peer; are all connections "
        "of 127.0.0.1:1201 taken?");
    EXPECT_THAT(transport_.sent, IsEmpty());
}

TEST_F(PollLoopTest, ALinkLostInIdleTimeMakesTheDriverGiveUpItsNextRequest) {
    goOnline();
    transport_.closedByPeer = true;
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(transport_.sent, IsEmpty());
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_FALSE(listener_.abandoned[0].wasSent);
    EXPECT_THAT(listener_.failures, ElementsAre("tcp: the connection was lost: closed by the peer"));
}

TEST_F(PollLoopTest, ALinkLostWithNothingToSendIsRememberedForTheNextRequest) {
    goOnline();
    transport_.closedByPeer = true;
    stepUntil([this] { return transport_.connections == 2 && loop_->state() == LoopState::Exchanging; });
    EXPECT_THAT(listener_.abandoned, IsEmpty());
    // The driver still believes in its session: this frame carries session bytes of the first connection.
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(transport_.sent, IsEmpty());
    EXPECT_THAT(listener_.abandoned, SizeIs(1));
    goOnline();
    EXPECT_EQ(transport_.connections, 2);
}

TEST_F(PollLoopTest, TheFirstFrameOnAConnectionOpensASessionWhateverTheDriverBelieves) {
    // As after an earlier user of the library.
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(transport_.sent, IsEmpty());
    EXPECT_THAT(listener_.abandoned, SizeIs(1));
}

TEST_F(PollLoopTest, HalfAHandshakeIsNotContinuedOnAnotherConnection) {
    driver_.offerHandshake();
    stepUntil([this] { return isAwaiting(symbolFileFrame()); });
    transport_.incoming.clear();
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_TRUE(driver_.frames.empty());
    goOnline();
    EXPECT_EQ(transport_.connections, 2);
}

TEST_F(PollLoopTest, ALinkLostBetweenTheFramesOfTheHandshakeStartsItAgain) {
    driver_.offerHandshake();
    stepUntil([this] { return driver_.frames.size() == 1; });
    transport_.closedByPeer = true;
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_EQ(transport_.connections, 2);
    EXPECT_THAT(transport_.sent, SizeIs(1)) << "the second frame was sent on a connection without the first";
}

TEST_F(PollLoopTest, AnUnansweredFirstFrameCountsAsOneFailureAndIsOfferedAgain) {
    transport_.answer = nullptr;
    driver_.offerHandshake();
    for (int attempt = 1; attempt <= 2; ++attempt) {
        stepUntil([&] { return transport_.closes == attempt && loop_->state() == LoopState::BackingOff; });
        EXPECT_EQ(driver_.failures, attempt);
    }
    stepUntil([this] { return listener_.abandoned.size() == 1; });
    EXPECT_EQ(transport_.connections, 3);
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("handshake: hello request: no reply within 2000 ms"));
}

TEST_F(PollLoopTest, ARejectedHandshakeEndsTheConnectionAndSaysWhatWasExpected) {
    driver_.offerHandshake();
    driver_.processStatuses = {201};
    transport_.answer = [](const QByteArray&) { return zeroReply(199); };
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_EQ(transport_.closes, 1);
    EXPECT_THAT(listener_.failures, ElementsAre(HasSubstr("has 205 bytes, at least 206 were expected")));
    EXPECT_THAT(listener_.abandoned, IsEmpty());
}

TEST_F(PollLoopTest, BackOffDoublesUpToItsLimitAndAGoodDataReplyResetsIt) {
    transport_.connectResult = {ConnectStatus::Failed, "Connection refused"};
    std::vector<int> pauses;
    for (int i = 0; i < 8; ++i) {
        steps(2);
        ASSERT_EQ(loop_->state(), LoopState::BackingOff);
        const Milliseconds pause = loop_->step();
        pauses.push_back(static_cast<int>(pause.count()));
        clock_.advance(pause);
        steps(1);
    }
    EXPECT_THAT(pauses, ElementsAre(100, 200, 400, 800, 1600, 3200, 5000, 5000));
    EXPECT_THAT(listener_.firstFailure(),
                "tcp: no connection to 127.0.0.1:1201: Connection refused; is the PLC on, and are "
                "address and port right?");
    transport_.connectResult = {ConnectStatus::Connected, {}};
    goOnline();
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_EQ(loop_->step(), Milliseconds(100));
}

TEST_F(PollLoopTest, AHandshakeAloneDoesNotResetTheBackOff) {
    transport_.connectResult = {ConnectStatus::Failed, "Connection refused"};
    stepUntil([this] { return transport_.connections == 4; });
    transport_.connectResult = {ConnectStatus::Connected, {}};
    goOnline();
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_EQ(loop_->step(), Milliseconds(800));
}

TEST_F(PollLoopTest, AConnectionThatIsNotAcceptedInTimeIsAbandoned) {
    transport_.connectResult = {ConnectStatus::InProgress, {}};
    const Time before = clock_.now();
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_EQ(clock_.now() - before, Milliseconds(3000));
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("tcp: no connection to 127.0.0.1:1201 within 3000 ms"));
}

TEST_F(PollLoopTest, AFailedSendLosesTheConnection) {
    goOnline();
    transport_.sendFails = true;
    driver_.offer(readFrame());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.firstFailure(), HasSubstr("the connection was lost while it was sent"));
    EXPECT_THAT(listener_.abandoned, SizeIs(1));
}

TEST_F(PollLoopTest, ReportsOfAnAcceptedReplyComeAfterIt) {
    goOnline();
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.reports = {{{kWriteHostId, 5}, true}};
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(listener_.story, ElementsAre("accepted write", "reported 1/5 good"));
}

TEST_F(PollLoopTest, AnAbandonedWriteCarriesItsReports) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.reports = {{{kWriteHostId, 5}, false}};
    driver_.refusedStatus = 13;
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_EQ(listener_.abandoned[0].kind, RequestKind::Write);
    EXPECT_EQ(listener_.abandoned[0].status, 13);
    EXPECT_TRUE(listener_.abandoned[0].wasSent);
    ASSERT_THAT(listener_.abandoned[0].reports, SizeIs(1));
    EXPECT_EQ(listener_.abandoned[0].reports[0].id.hostSubId, 5);
    EXPECT_THAT(listener_.story, IsEmpty());
}

TEST_F(PollLoopTest, AnAbandonedOneShotReadIsToldFromACyclicOne) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(readFrame(), {kOnceReadHostId, 9});
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_EQ(listener_.abandoned[0].kind, RequestKind::OnceRead);
}

TEST_F(PollLoopTest, WorkIsTakenOnceTheSessionIsOpenOrTheDriverHasNothingElse) {
    EXPECT_FALSE(loop_->takesWork());
    steps(2);
    EXPECT_FALSE(loop_->takesWork());
    steps(1);
    EXPECT_TRUE(loop_->takesWork()) << "an idle driver opens no session unless it gets work";
    driver_.offerHandshake();
    steps(1);
    EXPECT_FALSE(loop_->takesWork());
    stepUntil([this] { return loop_->isOnline(); });
    EXPECT_TRUE(loop_->takesWork());
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_FALSE(loop_->takesWork());
}

TEST_F(PollLoopTest, ADriverThatWasIdleOnTheLastConnectionIsAskedAgainBeforeItGetsWork) {
    steps(3);
    ASSERT_TRUE(loop_->takesWork());
    transport_.closedByPeer = true;
    stepUntil([this] { return transport_.connections == 2 && loop_->state() == LoopState::Exchanging; });
    EXPECT_FALSE(loop_->takesWork());
    steps(1);
    EXPECT_TRUE(loop_->takesWork());
}

TEST_F(PollLoopTest, PassesKeepTheirCycle) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    driver_.offer(readFrame());
    const Time start = clock_.now();
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_LT(clock_.now() - start, Milliseconds(10));
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_GE(clock_.now() - start, Milliseconds(100));
    EXPECT_LT(clock_.now() - start, Milliseconds(110));
    untilInStep();
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 2);
}

TEST_F(PollLoopTest, APassOfSeveralRequestsIsNotInterrupted) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    const Time start = clock_.now();
    driver_.offer(readFrame());
    driver_.offer(readFrame(16));
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_LT(clock_.now() - start, Milliseconds(5));
    EXPECT_THAT(listener_.steps, IsEmpty());
    untilInStep();
    EXPECT_LT(clock_.now() - start, Milliseconds(10));
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 1);
}

TEST_F(PollLoopTest, UrgentWorkDoesNotWaitForTheNextPass) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    const Time start = clock_.now();
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_LT(clock_.now() - start, Milliseconds(10));
}

TEST_F(PollLoopTest, ARetryDoesNotWaitForTheNextPass) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    bool refused = false;
    transport_.answer = [&](const QByteArray& frame) {
        const bool first = !refused;
        refused = true;
        return first ? passingRefusal() : goodReply(frame);
    };
    const Time start = clock_.now();
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_LT(clock_.now() - start, Milliseconds(10));
}

TEST_F(PollLoopTest, AWriteThatFailedIsSentAgainBetweenTwoPasses) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.processStatuses = {0};
    stepUntil([this] { return driver_.failures == 1; });
    listener_.urgent = false;
    const Time start = clock_.now();
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_LT(clock_.now() - start, Milliseconds(10));
}

TEST_F(PollLoopTest, APassThatWasGivenUpIsNotContinuedAfterTheHandshake) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(readFrame(16));
    stepUntil([this] { return !listener_.abandoned.empty(); });
    transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
    goOnline();
    driver_.offer(readFrame());
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 0);
    driver_.offer(readFrame(16));
    stepUntil([this] { return driver_.frames.empty(); });
    untilInStep();
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 1);
}

TEST_F(PollLoopTest, TheEndGivesUpUrgentWork) {
    goOnline();
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_EQ(listener_.abandoned[0].kind, RequestKind::Write);
    EXPECT_FALSE(listener_.abandoned[0].wasSent);
    EXPECT_EQ(transport_.closes, 1);
    EXPECT_EQ(loop_->state(), LoopState::Disconnected);
}

TEST_F(PollLoopTest, WhatIsGivenUpAtTheEndIsToldFromWhatWasSent) {
    goOnline();
    listener_.urgent = true;
    driver_.retryLimit = 0;
    transport_.answer = nullptr;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return isAwaiting(writeFrame()); });
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_TRUE(listener_.abandoned[0].wasSent) << "its reply may be on its way";
}

TEST_F(PollLoopTest, AWriteBehindARequestThatWasAnsweredCountsAsSentOnlyOnceItIs) {
    goOnline();
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return driver_.frames.empty(); });
    driver_.offer(writeFrame(), {kWriteHostId, 6}, 1);
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_FALSE(listener_.abandoned[0].wasSent);
}

TEST_F(PollLoopTest, AWriteThatWasRefusedOnceStaysSent) {
    goOnline();
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.processStatuses = {0};
    stepUntil([this] { return driver_.failures == 1; });
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_TRUE(listener_.abandoned[0].wasSent);
}

TEST_F(PollLoopTest, AfterARejectedHandshakeNothingCountsAsSent) {
    driver_.offerHandshake();
    driver_.processStatuses = {201};
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(1));
    EXPECT_FALSE(listener_.abandoned[0].wasSent);
}

TEST_F(PollLoopTest, AfterARefusedRequestNothingCountsAsSentOrRefused) {
    goOnline();
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    stepUntil([this] { return !listener_.abandoned.empty(); });
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 6}, 1);
    loop_->shutDown();
    ASSERT_THAT(listener_.abandoned, SizeIs(2));
    EXPECT_FALSE(listener_.abandoned[1].wasSent);
    EXPECT_FALSE(listener_.abandoned[1].wasRefused);
}

TEST_F(PollLoopTest, TheEndWithoutUrgentWorkAsksNothing) {
    goOnline();
    driver_.offer(readFrame());
    loop_->shutDown();
    EXPECT_THAT(driver_.diary, IsEmpty());
}

TEST_F(PollLoopTest, ADriverThatNeverGivesUpDoesNotHoldTheEndForEver) {
    goOnline();
    listener_.urgent = true;
    driver_.retryLimit = 1000000;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    loop_->shutDown();
    EXPECT_EQ(loop_->state(), LoopState::Disconnected);
}

TEST_F(PollLoopTest, WithoutTheGuardALateReplyIsTakenForTheNextRequest) {
    LoopSettings settings;
    settings.guardValues = false;
    makeLoop(settings);
    goOnline();
    sendUnanswered(readFrame());
    stepUntil([this] { return driver_.failures == 1; });
    transport_.incoming.push_back(readReply());
    transport_.incoming.push_back(readReply());
    driver_.offer(readFrame(16));
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_EQ(transport_.connections, 1);
    EXPECT_THAT(listener_.story, ElementsAre("accepted read", "accepted read"));
}

// ---------------------------------------------------------------------------------------------------------------------
// The quiet look
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(PollLoopTest, APassEndsWithAQuietLookDuringWhichNothingIsSent) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    const Time sent = readOnce(readFrame());
    driver_.offer(readFrame());
    EXPECT_FALSE(loop_->takesWork());
    EXPECT_THAT(listener_.steps, IsEmpty());
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(5));
    EXPECT_THAT(transport_.sent, SizeIs(1));
    EXPECT_TRUE(loop_->takesWork());
    EXPECT_EQ(loop_->statistics().cycleTimes().last, Milliseconds(5)) << "a pass takes until it is believed";
}

TEST_F(PollLoopTest, WithoutACycleThereIsALookAllTheSame) {
    LoopSettings settings;
    settings.cycle = Milliseconds(0);
    makeLoop(settings);
    goOnline();
    loop_->cyclicListRebuilt(1);
    const Time sent = readOnce(readFrame());
    driver_.offer(readFrame());
    stepUntil([this] { return transport_.sent.size() == 2; });
    EXPECT_EQ(clock_.now() - sent, Milliseconds(5));
    EXPECT_THAT(listener_.steps, ElementsAre("in step"));
}

TEST_F(PollLoopTest, ALookLastsTwiceAsLongAsTheSlowestReplyOfLate) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    transport_.deliveryTime = Milliseconds(20);
    Time sent = readOnce(readFrame());
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(40));
    transport_.deliveryTime = Milliseconds(1);
    sent = readOnce(readFrame(16));
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(40)) << "the PLC may be as slow again";
    clock_.advance(std::chrono::seconds(4));
    sent = readOnce(readFrame(24));
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(5));
}

TEST_F(PollLoopTest, AHandshakeReplyTellsHowSlowThePlcIsToo) {
    transport_.deliveryTime = Milliseconds(30);
    goOnline();
    loop_->cyclicListRebuilt(1);
    transport_.deliveryTime = Milliseconds(0);
    const Time sent = readOnce(readFrame());
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(60));
}

TEST_F(PollLoopTest, ALookLastsNoLongerThanTheTimeLimitOfAReply) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    transport_.deliveryTime = Milliseconds(1500);
    const Time sent = readOnce(readFrame());
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(2000));
}

TEST_F(PollLoopTest, ALookIsNotShortenedWhileItLasts) {
    LoopSettings settings;
    settings.replyTimeout = std::chrono::seconds(10);
    makeLoop(settings);
    goOnline();
    loop_->cyclicListRebuilt(1);
    transport_.deliveryTime = Milliseconds(3000);
    for (char turn = 0; turn < 4; ++turn) {
        const Time sent = readOnce(readFrame(turn));
        untilInStep();
        EXPECT_EQ(clock_.now() - sent, Milliseconds(6000)) << int(turn);
        clock_.advance(Milliseconds(500));  // wherever in its period the reply comes
    }
}

TEST_F(PollLoopTest, TheShortestLookCanBeSet) {
    LoopSettings settings;
    settings.shortestLook = Milliseconds(25);
    makeLoop(settings);
    goOnline();
    loop_->cyclicListRebuilt(1);
    const Time sent = readOnce(readFrame());
    untilInStep();
    EXPECT_EQ(clock_.now() - sent, Milliseconds(25));
}

TEST_F(PollLoopTest, AReplyThatComesDuringTheLookMakesThePassWorthless) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    driver_.offer(readFrame());
    driver_.offer(readFrame(16));
    stepUntil([this] { return driver_.frames.empty(); });
    transport_.incoming.push_back(readReply());
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.story, ElementsAre("accepted read", "accepted read"));
    EXPECT_THAT(listener_.steps,
                ElementsAre("out of step: 15 bytes arrived that nobody asked for; the connection is dropped"));
    EXPECT_EQ(transport_.closes, 1);
    EXPECT_EQ(loop_->statistics().badReplies, 1);
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 0);
}

TEST_F(PollLoopTest, ARepeatThatIsTakenForTheNextReplyIsFoundOutByTheReplyThatIsLeftOver) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    readOnce(readFrame());
    sendUnanswered(readFrame(16));
    transport_.incoming.push_back(readReply());  // the repeat
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(listener_.story, ElementsAre("accepted read", "accepted read"));
    transport_.incoming.push_back(readReply());  // the answer
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.steps, ElementsAre(HasSubstr("out of step: 15 bytes arrived")));
}

TEST_F(PollLoopTest, WhatHasComeByTheEndOfTheLookCountsHoweverLateTheLoopIs) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    readOnce(readFrame());
    steps(1);
    clock_.advance(Milliseconds(500));
    transport_.incoming.push_back(readReply());
    steps(1);
    EXPECT_THAT(listener_.steps, ElementsAre(HasSubstr("out of step: 15 bytes arrived")));
}

TEST_F(PollLoopTest, AConnectionThatIsLostDuringTheLookTakesThePassWithIt) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    readOnce(readFrame());
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.steps, ElementsAre("out of step: the connection was lost: closed by the peer"));
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 0);
}

TEST_F(PollLoopTest, WhatWasInStepIsNotTakenBackWhenTheConnectionIsLostLater) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    readOnce(readFrame());
    untilInStep();
    transport_.closedByPeer = true;
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.steps, ElementsAre("in step"));
}

TEST_F(PollLoopTest, AReplyThatDoesNotComeTakesThePassWithIt) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    readOnce(readFrame());
    sendUnanswered(readFrame(16));
    stepUntil([this] { return loop_->state() == LoopState::BackingOff; });
    EXPECT_THAT(listener_.steps, ElementsAre(HasSubstr("out of step: read of 1 item(s), the first in area 1 at 16")));
}

TEST_F(PollLoopTest, TheEndComesBeforeThePassIsKnownToBeInStep) {
    goOnline();
    loop_->cyclicListRebuilt(1);
    readOnce(readFrame());
    loop_->shutDown();
    EXPECT_THAT(listener_.steps, ElementsAre("out of step: the session was ended"));
}

TEST_F(PollLoopTest, AHandshakeIsNothingToBelieve) {
    goOnline();
    steps(10);
    transport_.closedByPeer = true;
    stepUntil([this] { return transport_.connections == 2; });
    EXPECT_THAT(listener_.steps, IsEmpty());
}

TEST_F(PollLoopTest, ARequestThatIsRefusedForEverDoesNotKeepTheOthersFromBeingBelieved) {
    goOnline();
    loop_->cyclicListRebuilt(2);
    readOnce(readFrame());
    transport_.answer = [](const QByteArray&) { return refusal(); };
    driver_.offer(readFrame(16));
    stepUntil([this] { return !listener_.abandoned.empty(); });
    EXPECT_EQ(loop_->state(), LoopState::BackingOff);
    const Time before = clock_.now();
    transport_.answer = [](const QByteArray& frame) { return goodReply(frame); };
    driver_.offerHandshake();
    untilInStep();
    EXPECT_EQ(clock_.now() - before, Milliseconds(100)) << "the back-off was a look already";
    EXPECT_EQ(transport_.connections, 1);
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 0);
}

TEST_F(PollLoopTest, AnswersToOrdersDoNotWaitForTheEndOfThePass) {
    goOnline();
    loop_->cyclicListRebuilt(3);
    readOnce(readFrame());
    listener_.urgent = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.reports = {{{kWriteHostId, 5}, true}};
    stepUntil([this] { return driver_.frames.empty(); });
    EXPECT_THAT(listener_.steps, ElementsAre("write of 1 offered")) << "there is more to do for the driver";
    driver_.offer(readFrame(16), {kOnceReadHostId, 6});
    driver_.reports = {{{kOnceReadHostId, 6}, true}};
    listener_.urgent = false;
    stepUntil([this] { return driver_.frames.empty(); });
    const Time before = clock_.now();
    driver_.offer(readFrame());
    untilInStep();
    EXPECT_EQ(clock_.now() - before, Milliseconds(5));
    EXPECT_THAT(driver_.frames, SizeIs(1)) << "the pass was not over";
}

TEST_F(PollLoopTest, ALongPassIsBelievedInParts) {
    goOnline();
    loop_->cyclicListRebuilt(100);
    transport_.deliveryTime = Milliseconds(100);
    for (int i = 0; i < 11; ++i) {
        driver_.offer(readFrame());
    }
    const Time before = clock_.now();
    stepUntil([this] { return !listener_.steps.empty(); });
    EXPECT_THAT(listener_.steps, ElementsAre("in step"));
    EXPECT_EQ(clock_.now() - before, Milliseconds(1200)) << "the eleventh was sent after 1000 ms";
    EXPECT_EQ(loop_->statistics().cycleTimes().cycles, 0);
}

TEST_F(PollLoopTest, WithoutTheGuardEveryReplyIsBelievedAtOnce) {
    LoopSettings settings;
    settings.guardValues = false;
    makeLoop(settings);
    goOnline();
    loop_->cyclicListRebuilt(2);
    const Time sent = readOnce(readFrame());
    transport_.incoming.push_back(readReply());
    driver_.offer(readFrame(16));
    untilInStep();
    EXPECT_EQ(clock_.now(), sent);
    EXPECT_THAT(transport_.sent, SizeIs(1));
}

TEST_F(PollLoopTest, AWriteThatTheDriverOffersIsToldEvenWhenItIsNotSent) {
    goOnline();
    transport_.closedByPeer = true;
    driver_.offer(writeFrame(), {kWriteHostId, 5}, 1);
    driver_.retryLimit = 0;
    stepUntil([this] { return loop_->state() == LoopState::GivingUp; });
    EXPECT_THAT(transport_.sent, IsEmpty());
    EXPECT_THAT(listener_.steps, ElementsAre("write of 1 offered"));
}

TEST(DriverReports, EachCopyOfADriverHasACollectorOfItsOwn) {
    std::vector<VarDoneCallback> callbacks;
    const int objects[2] = {};
    DriverFunctions driver;
    driver.registerCallbacks = [&](VarDoneCallback varDone, CommFailCallback) { callbacks.push_back(varDone); };
    DriverFunctions copy = driver;
    driver.object = &objects[0];
    copy.object = &objects[1];
    DriverReports first(driver);
    DriverReports second(copy);
    ASSERT_TRUE(first.isActive());
    ASSERT_TRUE(second.isActive());
    callbacks.at(1)(0, 1, 7, 1);
    EXPECT_THAT(first.take(), IsEmpty());
    const std::vector<VariableReport> reports = second.take();
    ASSERT_THAT(reports, SizeIs(1));
    EXPECT_EQ(reports[0].id, (VariableId{1, 7}));
}

TEST(DriverReports, NoMoreThanThereArePlacesFor) {
    FakeDriver driver;
    std::vector<std::unique_ptr<DriverReports>> all;
    const std::vector<char> objects(65);
    for (const char& object : objects) {
        driver.functions.object = &object;
        all.push_back(std::make_unique<DriverReports>(driver.functions));
        EXPECT_EQ(all.back()->isActive(), all.size() <= 64) << all.size();
    }
    all.erase(all.begin());
    const DriverReports another(driver.functions);
    EXPECT_TRUE(another.isActive());
}

TEST(DriverReports, OneCollectorAtATime) {
    FakeDriver driver;
    auto first = std::make_unique<DriverReports>(driver.functions);
    EXPECT_TRUE(first->isActive());
    const DriverReports second(driver.functions);
    EXPECT_FALSE(second.isActive());
    first.reset();
    const DriverReports third(driver.functions);
    EXPECT_TRUE(third.isActive());
}

}  // namespace
}  // namespace ac500::host
