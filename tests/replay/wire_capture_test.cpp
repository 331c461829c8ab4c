#include "tools/replay/wire_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tests/replay/scripted_record.h"
#include "tools/replay/event_text.h"

namespace {

using namespace ac500;
using record::ConnectionStep;
using testing::HasSubstr;
using testing::Not;

record::Event connectionEvent(ConnectionStep step, const std::string& bytes, const std::string& text = "") {
    return test::eventOf(record::Connection{step, bytes, text});
}

// Packets of a capture begin with their type and length; this counts them.
int packetsIn(const std::string& file) {
    int packets = 0;
    for (std::size_t at = 0; at + 8 <= file.size();) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(file[at + i]); };
        packets += byte(0) == 6 ? 1 : 0;
        at += byte(4) | static_cast<std::size_t>(byte(5)) << 8 | static_cast<std::size_t>(byte(6)) << 16;
    }
    return packets;
}

struct WholeCapture {
    replay::WireCapture counts;
    std::string file;
};

WholeCapture captureOf(const record::RunInfo& run, const std::vector<record::Event>& events) {
    WholeCapture capture;
    const auto each = [&events](const std::function<void(const record::Event&)>& see) {
        std::for_each(events.begin(), events.end(), see);
    };
    capture.counts = replay::captureOf(run, each, [&capture](const std::string& piece) { capture.file += piece; });
    return capture;
}

TEST(WireCaptureTest, TakesWhatWentOverTheConnections) {
    record::Note failure{record::NoteKind::Failure, "link.lost", "the connection was lost"};
    const WholeCapture capture = captureOf(
        record::RunInfo(), {connectionEvent(ConnectionStep::Connecting, "", "10.0.0.5:1201"),
                            connectionEvent(ConnectionStep::Connected, ""),       // 3 packets
                            connectionEvent(ConnectionStep::Sent, "request"),     // 1
                            connectionEvent(ConnectionStep::Received, "re"),      // 1
                            connectionEvent(ConnectionStep::Received, "ply"),     // 1
                            connectionEvent(ConnectionStep::Ended, "", "reset"),  // 3
                            test::eventOf(failure), connectionEvent(ConnectionStep::Connecting, "", "10.0.0.5:1201"),
                            connectionEvent(ConnectionStep::NotConnected, "", "Connection refused"),  // 2
                            connectionEvent(ConnectionStep::Connecting, "", "10.0.0.5:1201"),
                            connectionEvent(ConnectionStep::NotConnected, "", "timed out"),  // 1
                            connectionEvent(ConnectionStep::Closed, "")});
    EXPECT_EQ(capture.counts.connections, 3);
    EXPECT_EQ(capture.counts.bytesSent, 7u);
    EXPECT_EQ(capture.counts.bytesReceived, 5u);
    EXPECT_EQ(packetsIn(capture.file), 12);
    EXPECT_THAT(capture.file, HasSubstr(std::string("\xc0\0\x02\x01\x0a\0\0\x05", 8)));  // 192.0.2.1 to 10.0.0.5
    EXPECT_THAT(capture.file, HasSubstr("the connection was lost"));
}

TEST(WireCaptureTest, MakesUpAnAddressForAName) {
    const WholeCapture capture =
        captureOf(record::RunInfo(), {connectionEvent(ConnectionStep::Connecting, "", "plc.example:1300"),
                                      connectionEvent(ConnectionStep::Sent, "x")});
    EXPECT_THAT(capture.file, HasSubstr(std::string("\xc0\0\x02\x01\xc0\0\x02\x02", 8)));  // 192.0.2.1 to 192.0.2.2
    EXPECT_THAT(capture.file, HasSubstr(std::string("\xc0\0\x05\x14", 4)));                // port 49152 to 1300
}

TEST(WireCaptureTest, TakesTheCallsOfARecordWithoutConnections) {
    test::ShippedDriver driver;
    record::RunInfo run;
    run.settings = {{"plc", "[::1]:1201"}};
    const WholeCapture capture = captureOf(run, test::answeredBy(driver, test::scriptedCalls()));
    EXPECT_EQ(capture.counts.connections, 1);
    EXPECT_EQ(packetsIn(capture.file), 8);  // four requests and their replies, each once
    EXPECT_THAT(capture.file, HasSubstr(std::string("\x86\xdd\x60", 3)));
    EXPECT_THAT(capture.file, Not(HasSubstr(std::string("\xc0\0\x02", 3))));
}

TEST(WireCaptureTest, HandsALongCaptureOutPieceByPiece) {
    std::vector<record::Event> events{connectionEvent(ConnectionStep::Connecting, "", "10.0.0.5:1201"),
                                      connectionEvent(ConnectionStep::Connected, "")};
    for (int i = 0; i < 400; ++i) {
        events.push_back(connectionEvent(ConnectionStep::Received, std::string(10000, 'x')));
    }
    std::size_t longest = 0;
    std::size_t all = 0;
    const auto each = [&events](const std::function<void(const record::Event&)>& see) {
        std::for_each(events.begin(), events.end(), see);
    };
    replay::captureOf(record::RunInfo(), each, [&](const std::string& piece) {
        longest = std::max(longest, piece.size());
        all += piece.size();
    });
    EXPECT_EQ(all, captureOf(record::RunInfo(), events).file.size());
    EXPECT_GT(all, 4000000u);
    EXPECT_LT(longest, 1100000u);
}

// ---------------------------------------------------------------------------------------------------------------------
// Events in words
// ---------------------------------------------------------------------------------------------------------------------

struct TextRow {
    record::What what;
    const char* text;
};

TEST(EventTextTest, SaysWhatIsNoCall) {
    record::SegmentStart ring;
    ring.begin = record::SegmentBegin::Checkpoint;
    ring.isContinuation = true;
    const TextRow rows[] = {
        {ring, "segment with what the driver held, without a gap"},
        {record::SettingsChanged{{{4, 50}, {0, -1}}}, "settings maxRequestWords = 50, word 0 = -1"},
        {record::Connection{ConnectionStep::Connecting, "", "h:1"}, "connection to h:1"},
        {record::Connection{ConnectionStep::NotConnected, "", "refused"}, "connection failed: refused"},
        {record::Connection{ConnectionStep::Received, std::string("\xBB\0", 2), ""},
         "connection brought 2 bytes: bb 00"},
        {record::Connection{ConnectionStep::Sent, "what", ""}, "connection sent 4 bytes that are no request"},
        {record::Connection{ConnectionStep::Ended, "", ""}, "connection ended"},
        {record::Note{record::NoteKind::Remark, "", "lost"}, "note lost"},
        {record::Note{record::NoteKind::Failure, "link.lost", "gone"}, "note link.lost: gone"},
    };
    for (const TextRow& row : rows) {
        EXPECT_EQ(replay::eventText(test::eventOf(row.what)), row.text);
    }
}

TEST(EventTextTest, TakesFramesApartAsFarAsTheyGo) {
    const std::string items("\xBB\xBB\0\0\0\x20\x2E\0\0\0\0\x04\0\x03\0\0\0\x14\0\0\0\x02\0\x05\0\0\0\0\0\0\0\x09", 32);
    EXPECT_EQ(replay::requestText(items),
              "read request of 32 bytes, 4 items: area 3 at 20, 2 bytes; area 5 at 0, 9 bytes; ...");
    EXPECT_EQ(replay::requestText(items.substr(0, 9)), "read request of 9 bytes");
    EXPECT_EQ(replay::requestText("\xBB\xBB"), "2 bytes that are no request");
    EXPECT_EQ(replay::requestText(std::string("\xBB\xBB\0\0\0\1\x77", 7)), "unknown request of 7 bytes");
    EXPECT_EQ(replay::replyText(""), "no reply");
    EXPECT_EQ(replay::replyText("\xBB\xBB"), "reply of 2 bytes");
    EXPECT_EQ(replay::replyText(std::string("\xBB\xBB\0\0\0\x02\x03\x02", 8)), "reply of 8 bytes, status word 770");
    EXPECT_EQ(replay::hexText("abcdef", 2, 3), "... 63 64 65 ...");
    EXPECT_EQ(replay::hexText("", 0, 3), "");
    EXPECT_EQ(replay::sinceText(-1), "-0.000001 s");
    EXPECT_EQ(replay::sinceText(INT64_MIN), "-9223372036854.775808 s");
    EXPECT_EQ(replay::statusText(52), "52 (given up: no reply)");
    EXPECT_EQ(replay::statusText(0), "0 (pending: incomplete, or to be sent again)");
    EXPECT_EQ(replay::statusText(-3), "-3 (unknown)");
}

}  // namespace
