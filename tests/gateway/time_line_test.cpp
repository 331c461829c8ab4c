// The life of a connection, as the session tells it and as spans of time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/gateway/time_line.h"

namespace ac500::test {
namespace {

using events::EventId;
using gateway::connectionOf;
using gateway::ConnectionState;
using gateway::TimeLine;
using gateway::TimeSpan;
using host::Failure;
using host::FailureKind;
using host::SessionStatus;
using testing::ElementsAre;
using testing::IsEmpty;

std::string textOf(const TimeSpan& span) {
    return std::to_string(span.from.count()) + "-" + (span.to ? std::to_string(span.to->count()) : "") + " " +
           connectionStateName(span.connection.state) + ": " + span.connection.text;
}

std::vector<std::string> textsOf(const TimeLine& line) {
    std::vector<std::string> texts;
    for (const TimeSpan& span : line.spans()) {
        texts.push_back(textOf(span));
    }
    return texts;
}

SessionStatus offlineAfter(EventId event, FailureKind kind) {
    SessionStatus status;
    status.lastFailure.emplace();
    status.lastFailure->event = event;
    status.lastFailure->failure = {kind, "why"};
    return status;
}

TEST(ConnectionTest, EachStateHasItsSigns) {
    SessionStatus status;
    EXPECT_EQ(connectionOf(status).state, ConnectionState::Connecting);
    status.isOnline = true;
    EXPECT_EQ(connectionOf(status).state, ConnectionState::Up);
    status.program.doubt = {FailureKind::Program, "another program"};
    EXPECT_EQ(connectionOf(status).state, ConnectionState::OtherProgram);
    EXPECT_EQ(connectionOf(status).text, "another program");
    EXPECT_EQ(connectionOf(offlineAfter(EventId::LinkUnreachable, FailureKind::Tcp)).state, ConnectionState::Retrying);
    EXPECT_EQ(connectionOf(offlineAfter(EventId::LinkLost, FailureKind::Request)).state, ConnectionState::Lost);
    EXPECT_EQ(connectionOf(offlineAfter(EventId::ReplyTimeout, FailureKind::Request)).state, ConnectionState::Lost);
    EXPECT_EQ(connectionOf(offlineAfter(EventId::SessionRejected, FailureKind::Handshake)).state,
              ConnectionState::Refused);
    EXPECT_EQ(connectionOf(offlineAfter(EventId::LinkLost, FailureKind::Handshake)).state, ConnectionState::Refused);
    EXPECT_EQ(connectionOf(offlineAfter(EventId::LinkLost, FailureKind::Handshake)).text, "why");
}

TEST(TimeLineTest, SpansFollowEachOther) {
    TimeLine line;
    EXPECT_THAT(textsOf(line), IsEmpty());
    EXPECT_FALSE(line.current().has_value());
    line.note({ConnectionState::Connecting, "a"}, host::Time(10));
    line.note({ConnectionState::Up, "b"}, host::Time(20));
    line.note({ConnectionState::Up, "b"}, host::Time(30));
    line.note({ConnectionState::Lost, "c"}, host::Time(40));
    EXPECT_THAT(textsOf(line), ElementsAre("10-20 connecting: a", "20-40 up: b", "40- lost: c"));
    EXPECT_EQ(textOf(*line.current()), "40- lost: c");
}

TEST(TimeLineTest, AStateThatLastsHasTheLatestText) {
    TimeLine line;
    line.note({ConnectionState::Retrying, "no route"}, host::Time(1));
    line.note({ConnectionState::Retrying, "connection refused"}, host::Time(2));
    EXPECT_THAT(textsOf(line), ElementsAre("1- retrying: connection refused"));
}

TEST(TimeLineTest, OnlyTheLatestSpansAreKept) {
    TimeLine line;
    for (int i = 0; i < 5000; ++i) {
        line.note({i % 2 == 0 ? ConnectionState::Up : ConnectionState::Lost, ""}, host::Time(i));
    }
    EXPECT_EQ(line.spans().size(), 4096u);
    EXPECT_EQ(textOf(line.spans().front()), "904-905 up: ");
    EXPECT_EQ(textOf(line.spans().back()), "4999- lost: ");
}

}  // namespace
}  // namespace ac500::test
