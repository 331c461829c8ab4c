// Captures: byte by byte where a field is easy to get wrong, and as a whole before the eyes of tshark.
#include "tools/replay/capture_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/pace.h"

namespace {

using ac500::replay::CaptureAddress;
using ac500::replay::CaptureFile;
using ac500::replay::Side;
using ac500::test::ChildProcess;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t kNoon = 1795348800000000;  // 2026-11-22 12:00:00 UTC

const CaptureAddress kLoopbackPlc{std::string("\x7f\0\0\x01", 4), 1201};
const CaptureAddress kPlcOnNetwork{std::string("\x0a\0\0\x05", 4), 1201};

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

// Section: type, 40 bytes, magic, version 1.0, length unknown, option 4 "test" and the end of options.
// Interface: type, 44 bytes, Ethernet, no limit, option 2 "ac500", option 9: microseconds, and the end of options.
constexpr char kBeginning[] =
    "0a0d0d0a"
    "28000000"
    "4d3c2b1a"
    "0100"
    "0000"
    "ffffffffffffffff"
    "0400"
    "0400"
    "74657374"
    "00000000"
    "28000000"
    "01000000"
    "2c000000"
    "0100"
    "0000"
    "00000000"
    "0200"
    "0500"
    "6163353030000000"
    "0900"
    "0100"
    "06000000"
    "00000000"
    "2c000000";

TEST(CaptureFileTest, BeginsWithItsSectionAndItsInterface) {
    EXPECT_EQ(hexOf(CaptureFile("test", kLoopbackPlc).content()), kBeginning);
}

TEST(CaptureFileTest, FramesBytesOfAConnectionThatWasFoundOpen) {
    CaptureFile capture("test", kPlcOnNetwork);
    const std::size_t begin = capture.content().size();
    capture.carried(kNoon, Side::Host, "ask");
    // Packet: type, 92 bytes, interface 0, time 0006 60dc 3778 d000, 57 bytes caught of 57.
    // Ethernet to ...02 from ...01, type 0800.
    // IP: 4, 5 words, 43 bytes, packet 1, not to be fragmented, 64 hops, TCP, checksum, 192.0.2.1 to 10.0.0.5.
    // TCP: 49152 to 1201, sequence 1000000, acknowledged 2000000, 5 words, PSH ACK, window, checksum, urgent; "ask".
    EXPECT_EQ(hexOf(capture.content().substr(begin)),
              "06000000"
              "5c000000"
              "00000000"
              "dc600600"
              "00d07837"
              "39000000"
              "39000000"
              "020000000002"
              "020000000001"
              "0800"
              "4500"
              "002b"
              "0001"
              "4000"
              "40"
              "06"
              "6ec6"
              "c0000201"
              "0a000005"
              "c000"
              "04b1"
              "000f4240"
              "001e8480"
              "5018"
              "ffff"
              "8bb0"
              "0000"
              "61736b"
              "000000"
              "5c000000");
}

TEST(CaptureFileTest, WritesNothingForACloseOfWhatIsNotOpen) {
    CaptureFile capture("test", kLoopbackPlc);
    capture.closed(kNoon, Side::Plc);
    EXPECT_EQ(hexOf(capture.content()), kBeginning);
    EXPECT_EQ(capture.connections(), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// tshark
// ---------------------------------------------------------------------------------------------------------------------

class CapturedFileTest : public testing::Test {
protected:
    void TearDown() override { std::remove(file_.c_str()); }

    // A line for each packet, of these fields; a packet that tshark complains of tells the complaint as the last.
    std::vector<std::string> packets(const CaptureFile& capture, const std::vector<std::string>& fields) {
        std::ofstream(file_, std::ios::binary) << capture.content();
        std::vector<std::string> arguments{
            "-n", "-r",     file_, "-o",          "tcp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE",
            "-T", "fields", "-E",  "separator=/s"};
        for (const std::string& field : fields) {
            arguments.insert(arguments.end(), {"-e", field});
        }
        arguments.insert(arguments.end(), {"-e", "_ws.expert.severity"});
        ChildProcess tshark;
        EXPECT_TRUE(tshark.start("tshark", arguments));
        EXPECT_TRUE(tshark.waitForEnd(30000 * AC500_TEST_PACE));
        EXPECT_EQ(tshark.exitCode(), 0) << tshark.takeErrors();
        std::vector<std::string> lines;
        std::istringstream output(tshark.takeOutput());
        for (std::string line; std::getline(output, line);) {
            while (!line.empty() && line.back() == ' ') {
                line.pop_back();
            }
            lines.push_back(line);
        }
        return lines;
    }

private:
    const std::string file_ = testing::TempDir() + "capture_file_test_" + std::to_string(::getpid()) + ".pcapng";
};

// Severities of tshark: 1048576 is a remark, 2097152 a chat (a connection begins or ends), 4194304 a note (it begins to
// end), 6291456 a warning, 8388608 an error. Only a connection that is reset is worth a warning to it.
TEST_F(CapturedFileTest, ShowsTwoConnectionsWithoutAComplaint) {
    CaptureFile capture("test", kLoopbackPlc);
    capture.connected(kNoon);
    capture.carried(kNoon + 100, Side::Host, "request");
    capture.remark("a long reply");
    capture.carried(kNoon + 2100, Side::Plc, std::string(7000, 'x'));
    capture.carried(kNoon + 2200, Side::Host, "next");
    capture.closed(kNoon + 3000, Side::Plc);
    capture.connectionRefused(kNoon + 4000);
    capture.connectionUnanswered(kNoon + 5000);
    capture.connected(kNoon + 1000000);
    capture.carried(kNoon + 1000100, Side::Host, "hello");
    EXPECT_THAT(packets(capture, {"frame.time_epoch", "tcp.stream", "tcp.srcport", "tcp.flags.str", "tcp.seq",
                                  "tcp.ack", "tcp.len", "tcp.checksum.status"}),
                ElementsAre("1795348800.000000000 0 49152 ··········S· 0 0 0 1 2097152",
                            "1795348800.000000000 0 1201 ·······A··S· 0 1 0 1 2097152",
                            "1795348800.000000000 0 49152 ·······A···· 1 1 0 1",
                            "1795348800.000100000 0 49152 ·······AP··· 1 1 7 1",
                            "1795348800.002100000 0 1201 ·······A···· 1 8 1440 1 1048576",
                            "1795348800.002100000 0 1201 ·······A···· 1441 8 1440 1",
                            "1795348800.002100000 0 49152 ·······A···· 8 2881 0 1",
                            "1795348800.002100000 0 1201 ·······A···· 2881 8 1440 1",
                            "1795348800.002100000 0 1201 ·······A···· 4321 8 1440 1",
                            "1795348800.002100000 0 49152 ·······A···· 8 5761 0 1",
                            "1795348800.002100000 0 1201 ·······AP··· 5761 8 1240 1",
                            "1795348800.002200000 0 49152 ·······AP··· 8 7001 4 1",
                            "1795348800.003000000 0 1201 ·······A···F 7001 12 0 1 2097152,4194304",
                            "1795348800.003000000 0 49152 ·······A···F 12 7002 0 1 2097152,4194304",
                            "1795348800.003000000 0 1201 ·······A···· 7002 13 0 1",
                            "1795348800.004000000 1 49153 ··········S· 0 0 0 1 2097152",
                            "1795348800.004000000 1 1201 ·······A·R·· 1 1 0 1 6291456",
                            "1795348800.005000000 2 49154 ··········S· 0 0 0 1 2097152",
                            "1795348801.000000000 3 49155 ··········S· 0 0 0 1 2097152",
                            "1795348801.000000000 3 1201 ·······A··S· 0 1 0 1 2097152",
                            "1795348801.000000000 3 49155 ·······A···· 1 1 0 1",
                            "1795348801.000100000 3 49155 ·······AP··· 1 1 5 1"));
}

TEST_F(CapturedFileTest, ShowsAConnectionOfIpVersion6AndRemarks) {
    CaptureFile capture("test", {std::string("\xfe\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\x07", 16), 1201});
    capture.remark("first");
    capture.remark("second");
    capture.carried(-5, Side::Plc, "odd");
    capture.carried(7, Side::Host, "even");
    capture.carried(6, Side::Plc, "back in time");
    EXPECT_THAT(packets(capture, {"frame.time_epoch", "ipv6.src", "ipv6.dst", "tcp.len", "tcp.checksum.status",
                                  "frame.comment"}),
                ElementsAre("0.000000000 fe80::7 2001:db8::1 3 1 first\\nsecond 1048576",
                            "0.000007000 2001:db8::1 fe80::7 4 1", "0.000007000 fe80::7 2001:db8::1 12 1"));
}

}  // namespace
