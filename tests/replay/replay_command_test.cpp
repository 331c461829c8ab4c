// The command as a user runs it, on a record that needs no recorder.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <regex>

#include "tests/end_to_end/desk_commands.h"
#include "tests/replay/scripted_record.h"
#include "tools/record/record_writer.h"

namespace {

using namespace ac500;
using namespace ac500::test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kSpeedSymbols[] = R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 3, "bytes": 100}],)"
                                 R"("scopes": [{"name": "Main", "variables": [)"
                                 R"({"name": "speed", "type": "INT", "area": 3, "offset": 20},)"
                                 R"({"name": "other", "type": "INT", "area": 3, "offset": 40}]}]})";

class ReplayCommandTest : public DeskCommandTest {
protected:
    void SetUp() override {
        ShippedDriver driver;
        events_ = answeredBy(driver, scriptedCalls());
        symbols = write("speed.json", kSpeedSymbols);
    }

    std::string recordOf(const std::vector<record::Event>& events) const {
        record::RunInfo run;
        run.program = "ac500-host 9.8.7";
        run.driver = "lib/driver\x1b.so";  // a terminal must not obey it
        run.driverBuild = "abcd";
        run.architecture = "armv7l";
        run.qtVersion = "4.8.6";
        run.settings = {{"plc", "10.0.0.5:1201"}};
        record::RecordWriter writer(run);
        for (const record::Event& event : events) {
            writer.add(event);
        }
        writer.close();
        return writer.bytes();
    }

    std::string written() const { return write("run.rec", recordOf(events_)); }

    // A driver of another version: it asks the PLC for another file.
    std::string otherDriver() const {
        std::ifstream file(kDriver, std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        const std::string name = "4F 41 44 2E 53 44 42";  // the end of DOWNLOAD.SDB, in the text of the request
        const std::size_t at = bytes.find(name);
        EXPECT_NE(at, std::string::npos);
        bytes.replace(at, name.size(), "4F 41 58 2E 53 44 42");
        return write("other.so", bytes);
    }

    Result onDriver(const std::string& driver, const Words& words) const {
        Words all{"--driver", driver, "replay"};
        all.insert(all.end(), words.begin(), words.end());
        const Result result = run(kHostProgram, all);
        if (std::find(words.begin(), words.end(), "--json") != words.end()) {
            EXPECT_EQ(outputComplaints("replay", result.out), "");
        }
        return result;
    }

    std::vector<record::Event> events_;
};

TEST_F(ReplayCommandTest, FindsARecordOfThisDriverExact) {
    const Result result = host({"replay", written()});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_THAT(result.out, HasSubstr("20 calls, 0.020 s from 2026-11-22T12:00:00.000Z on"));
    EXPECT_THAT(result.out,
                HasSubstr("made by        ac500-host 9.8.7 with lib/driver?.so (build abcd), armv7l, Qt 4.8.6"));
    EXPECT_THAT(result.out, HasSubstr("\nresult  exact: all 20 calls are answered as recorded\n"));
    EXPECT_EQ(result.error, "");
}

TEST_F(ReplayCommandTest, ShowsWhatAnotherVersionWouldHaveDone) {
    const Result result = onDriver(otherDriver(), {written()});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.out, HasSubstr("result  1 of 20 calls are answered otherwise than recorded\n"));
    EXPECT_THAT(result.out, HasSubstr("  call         #8 +0.009000 s  ComCommunication\n"
                                      "  differs in   frame, byte 17\n"
                                      "  expected     23 bytes: ... 4e 4c 4f 41 44 2e 53 44 42 00\n"));
    EXPECT_THAT(result.out, HasSubstr("  actual       23 bytes: ... 4e 4c 4f 41 58 2e 53 44 42 00\n"));
    EXPECT_THAT(result.out, HasSubstr("What led to it:\n"
                                      "  #0 +0.000000 s  segment of a fresh driver\n"
                                      "  #0 +0.001000 s  SetComInfo("));
    EXPECT_THAT(result.out,
                HasSubstr("\n  #7 +0.008000 s  DataCom(reply of 206 bytes, status word 0) -> status 1 (accepted)\n"));
}

TEST_F(ReplayCommandTest, TellsTheSameAsJson) {
    const Result exact = host({"replay", "--json", "--events", written(), "Main.speed"});
    EXPECT_EQ(exact.exitCode, 0) << exact.error;
    const auto document = nlohmann::json::parse(exact.out);
    EXPECT_EQ(document["record"]["program"], "ac500-host 9.8.7");
    EXPECT_EQ(document["record"]["settings"]["plc"], "10.0.0.5:1201");
    EXPECT_EQ(document["replay"]["exact"], true);
    EXPECT_EQ(document["replay"]["calls"], 20);
    EXPECT_EQ(document["events"].size(), 21u);
    EXPECT_EQ(document["events"][15]["text"], "GetRegisterData(Main.speed, 1) -> 1, 2 bytes: 34 12");
    EXPECT_EQ(document["values"][0]["value"], 22136);  // 16#5678 was written
    const Result other = onDriver(otherDriver(), {"--json", written()});
    EXPECT_EQ(other.exitCode, 3);
    const auto divergence = nlohmann::json::parse(other.out)["divergence"];
    EXPECT_EQ(divergence["event"], 8);
    EXPECT_EQ(divergence["name"], "ComCommunication");
    EXPECT_EQ(divergence["field"], "frame, byte 17");
    EXPECT_EQ(divergence["before"].size(), 9u);
}

TEST_F(ReplayCommandTest, ShowsEventsAndValuesAsOfAMoment) {
    const Result before = host({"replay", "--until", "12ms", "--events", written(), "Main.*"});
    EXPECT_EQ(before.exitCode, 0) << before.error;
    EXPECT_THAT(before.out,
                HasSubstr("\n#11 +0.012000 s  ComCommunication() -> read request of 26 bytes, 1 item: area 3 "
                          "at 20, 2 bytes\nresult "));
    EXPECT_THAT(before.out, HasSubstr("\nValues at #11 +0.012000 s, 2026-11-22T12:00:00.012Z:\n"
                                      "Main.speed  ?  -\nMain.other  ?  -\n"));
    const Result after = host({"replay", "--until", "16", written(), "Main.*"});
    EXPECT_THAT(after.out, HasSubstr("\nMain.speed  4660  0.00 s\nMain.other  ?     -\n"));
    EXPECT_THAT(after.out, Not(HasSubstr("DataCom")));
    const Result inUtc = host({"replay", "--until", "2026-11-22T12:00:00.011Z", written()});
    EXPECT_THAT(inUtc.out, HasSubstr("exact: all 11 calls"));
}

TEST_F(ReplayCommandTest, KeepsTimeOnRequest) {
    events_.back().monotonicUs += 300000;
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(host({"replay", "--speed", "1", written()}).exitCode, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(320));
}

TEST_F(ReplayCommandTest, RefusesWhatCannotBe) {
    EXPECT_THAT(host({"replay", "--until", "soon", written()}).error,
                StartsWith("usage: --until soon: is no moment; write the number of an event (1234)"));
    EXPECT_EQ(host({"replay", "--until", "soon", written()}).exitCode, 1);
    EXPECT_EQ(host({"replay"}).exitCode, 1);
    EXPECT_EQ(host({"replay", "--pcap", path("a"), "--shrink", path("b"), written()}).exitCode, 1);
    EXPECT_EQ(host({"replay", "--speed", "-1", written()}).exitCode, 1);
    EXPECT_EQ(host({"replay", "--json", path("missing.rec")}).exitCode, 2);
    EXPECT_EQ(host({"replay", write("empty.rec", "")}).exitCode, 2);
    EXPECT_EQ(host({"replay", write("text.rec", std::string(5000, 'x'))}).exitCode, 2);
    EXPECT_EQ(host({"replay", write("none.rec", recordOf({}))}).exitCode, 2);
    EXPECT_THAT(host({"replay", path("missing.rec")}).error,
                HasSubstr("missing.rec cannot be read: there is no such file\n"));
    EXPECT_THAT(host({"replay", path("empty.rec")}).error, HasSubstr("empty.rec cannot be read: it is empty\n"));
    EXPECT_THAT(host({"replay", path("text.rec")}).error,
                HasSubstr("cannot be read: it is no record of this program\n"));
    EXPECT_THAT(host({"replay", path(".")}).error, HasSubstr("cannot be read: it is a folder\n"));
    EXPECT_THAT(host({"replay", path("text.rec/x")}).error, HasSubstr("cannot be read: Not a directory\n"));
    EXPECT_THAT(host({"replay", "/dev/zero"}).error, HasSubstr("cannot be read: it is no record of this program\n"));
    EXPECT_EQ(onDriver(write("text.so", "x"), {written()}).exitCode, 2);
    EXPECT_EQ(host({"replay", written(), "Main.nothing"}).exitCode, 3);
}

TEST_F(ReplayCommandTest, ReplaysWhatIsWholeOfATornRecord) {
    std::string bytes = recordOf(events_);
    const Result result = host({"replay", "--json", write("torn.rec", bytes.substr(0, bytes.size() - 5))});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(nlohmann::json::parse(result.out)["record"]["end"], "cut");
    const Result text = host({"replay", path("torn.rec")});
    EXPECT_THAT(text.out, HasSubstr("\nits end        cut: "));
    EXPECT_THAT(text.out, HasSubstr("\nresult  exact as far as it goes: all 20 calls are answered as recorded\n"));
}

// Some calls are in chunks before the damaged one.
TEST_F(ReplayCommandTest, ADamagedRecordNeverEndsWell) {
    record::RecordWriter writer(record::RunInfo{});
    for (std::size_t i = 0; i < events_.size(); ++i) {
        writer.add(events_[i]);
        if (i == 10) {
            writer.endChunk();
        }
    }
    writer.close();
    std::string bytes = writer.bytes();
    bytes[bytes.size() - 30] = static_cast<char>(bytes[bytes.size() - 30] ^ 1);
    const std::string file = write("flip.rec", bytes);
    const Result text = host({"replay", file});
    EXPECT_EQ(text.exitCode, 2);
    EXPECT_THAT(text.out,
                HasSubstr("\nresult  10 calls are answered as recorded; the rest of the record is damaged\n"));
    EXPECT_THAT(text.error, StartsWith("file: " + file +
                                       ": the record is damaged behind event #9: the checksum of a "
                                       "chunk is wrong, at byte "));
    const Result json = host({"replay", "--json", file});
    EXPECT_EQ(json.exitCode, 2);
    const auto document = nlohmann::json::parse(json.out);
    EXPECT_EQ(document["replay"]["exact"], false);
    EXPECT_EQ(document["replay"]["calls"], 10);
    EXPECT_EQ(document["error"]["code"], 2);
    EXPECT_EQ(host({"replay", "--json", "--pcap", path("flip.pcapng"), file}).exitCode, 2);
    EXPECT_EQ(onDriver(otherDriver(), {"--shrink", path("small.rec"), file}).exitCode, 2);
    EXPECT_EQ(host({"replay", "--make-test", path("tests"), file}).exitCode, 2);
    EXPECT_EQ(read("tests/flip.sh"), "");
}

// Cut, or damaged, before the first whole chunk of events.
TEST_F(ReplayCommandTest, NothingComparedIsNotExact) {
    const std::string bytes = recordOf(events_);
    std::string flipped = bytes;
    flipped[bytes.size() - 100] = static_cast<char>(bytes[bytes.size() - 100] ^ 1);
    for (const std::string& file :
         {write("cut.rec", bytes.substr(0, bytes.size() - 100)), write("flip.rec", flipped)}) {
        const Result result = host({"replay", "--json", file});
        EXPECT_EQ(result.exitCode, 2) << file;
        const auto document = nlohmann::json::parse(result.out);
        EXPECT_EQ(document["replay"]["exact"], false) << file;
        EXPECT_EQ(document["replay"]["calls"], 0) << file;
        EXPECT_EQ(document["replay"]["verdict"], "nothing was compared") << file;
    }
    EXPECT_THAT(host({"replay", path("cut.rec")}).error, HasSubstr("cut.rec: no call could be compared\n"));
    EXPECT_EQ(host({"replay", "--make-test", path("tests"), path("cut.rec")}).exitCode, 2);
    EXPECT_EQ(host({"replay", "--until", "0ms", written()}).exitCode, 2);
}

TEST_F(ReplayCommandTest, AMadeTestFailsWhenItsRecordIsDamaged) {
    EXPECT_EQ(host({"replay", "--make-test", path("tests"), written()}).exitCode, 0);
    const std::string bytes = read("tests/run.rec");
    std::string flipped = bytes;
    flipped[bytes.size() - 100] = static_cast<char>(bytes[bytes.size() - 100] ^ 1);
    ::setenv("AC500_HOST", kHostProgram, 1);
    ::setenv("AC500_DRIVER", kDriver, 1);
    for (const std::string& content : {flipped, bytes.substr(0, bytes.size() - 100)}) {
        write("tests/run.rec", content);
        EXPECT_EQ(run(path("tests/run.sh"), {}).exitCode, 2);
    }
    write("tests/run.rec", bytes);
    EXPECT_EQ(run(path("tests/run.sh"), {}).exitCode, 0);
    ::unsetenv("AC500_HOST");
    ::unsetenv("AC500_DRIVER");
}

// ---- records that are long

// Sanitizers and the emulator take memory and time of their own.
#if !defined(AC500_EMULATED) && !defined(__SANITIZE_ADDRESS__)

class LongRecordTest : public ReplayCommandTest {
protected:
    static constexpr std::size_t kEvents = 1100000;

    // As large as what the recorder keeps in memory; of each event in memory that would be some hundred bytes.
    void SetUp() override {
        ReplayCommandTest::SetUp();
        std::vector<record::Event> calls = scriptedCalls();
        calls.push_back(calls[kGetValue]);
        ShippedDriver driver;
        const std::vector<record::Event> answered = answeredBy(driver, calls);
        record::RecordWriter writer{record::RunInfo()};
        std::for_each(answered.begin(), answered.end(), [&writer](const record::Event& event) { writer.add(event); });
        record::Event event = answered.back();
        for (std::size_t i = answered.size(); i < kEvents; ++i) {
            event.monotonicUs += 1100;
            event.utcUs += 1100;
            if (i % 2 == 0) {
                event.what = answered.back().what;
            } else {
                event.what = record::Connection{record::ConnectionStep::Received, fmt::format("reply {:012}", i), ""};
            }
            writer.add(event);
        }
        writer.close();
        const std::string bytes = writer.bytes();
        EXPECT_GT(bytes.size(), std::size_t{8} << 20);
        write("long.rec", bytes);
    }

    // With 400 MB of address space, as on a machine that has no more.
    Result replayed(const std::string& options) const {
        return run("sh", {"-c", "ulimit -v 400000; exec \"$0\" --driver \"$1\" replay \"$2\" " + options, kHostProgram,
                          kDriver, path("long.rec"), path("made")});
    }
};

TEST_F(LongRecordTest, TakesLittleMemory) {
    const Result whole = replayed("");
    EXPECT_EQ(whole.exitCode, 0) << whole.error;
    EXPECT_THAT(whole.out, HasSubstr(": 1100000 events, "));
    EXPECT_THAT(whole.out, HasSubstr("\nresult  exact: all "));
    const Result until = replayed("--until 1000000");
    EXPECT_EQ(until.exitCode, 0) << until.error;
    EXPECT_THAT(until.out, HasSubstr("\nresult  exact: all "));
    EXPECT_EQ(replayed("--pcap \"$3\"").exitCode, 0);
    EXPECT_GT(read("made").size(), std::size_t{50} << 20);
}

TEST_F(LongRecordTest, ShowsAllItsEvents) {
    EXPECT_THAT(replayed("--events | tail -n 2").out, StartsWith("#"));
    EXPECT_EQ(replayed("--events --json | tail -n 3").out, "    }\n  ]\n}\n");
}

TEST_F(LongRecordTest, SaysWhenItIsTooLongToBeShrunk) {
    const Result tooLong = replayed("--shrink \"$3\"");
    EXPECT_EQ(tooLong.exitCode, 2);
    EXPECT_THAT(tooLong.error,
                HasSubstr("long.rec: has 1100000 events, and at most 1048576 can be shrunk; end it sooner "
                          "with --until\n"));
    const Result tooLarge = replayed("--until 1000000 --shrink \"$3\"");
    EXPECT_EQ(tooLarge.exitCode, 2) << tooLarge.error;
    EXPECT_THAT(tooLarge.error, HasSubstr("long.rec: the memory of this machine is too small for it\n"));
}
#endif

TEST_F(ReplayCommandTest, WritesACapture) {
    const Result result = onDriver("none.so", {"--pcap", path("run.pcapng"), written()});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_THAT(result.out, HasSubstr(": 1 connections, 97 bytes sent, 265 received\n"));
    EXPECT_EQ(read("run.pcapng").substr(0, 4), "\x0a\x0d\x0d\x0a");
    EXPECT_EQ(host({"replay", "--pcap", "/dev/full", written()}).exitCode, 7);
    const Result json = host({"replay", "--json", "--pcap", path("run.pcapng"), written()});
    EXPECT_EQ(nlohmann::json::parse(json.out)["capture"]["bytes_received"], 265);
}

TEST_F(ReplayCommandTest, ShrinksToWhatMakesTheFailure) {
    const std::string other = otherDriver();
    const Result result = onDriver(other, {"--json", "--shrink", path("small.rec"), written()});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    const auto shrunk = nlohmann::json::parse(result.out)["shrunk"];
    EXPECT_EQ(shrunk["one_minimal"], true);
    EXPECT_EQ(shrunk["calls_before"], 20);
    // Settings, callbacks, something to read, and the two requests of the handshake with the reply to the first.
    EXPECT_EQ(shrunk["calls"], 8);
    const Result again = onDriver(other, {"--events", path("small.rec")});
    EXPECT_EQ(again.exitCode, 3);
    EXPECT_THAT(again.out, HasSubstr("differs in   frame, byte 17\n"));
    EXPECT_EQ(host({"replay", path("small.rec")}).exitCode, 0);
    const Result nothing = host({"replay", "--shrink", path("none.rec"), written()});
    EXPECT_EQ(nothing.exitCode, 2);
    EXPECT_THAT(nothing.error, testing::MatchesRegex("file: .*: the record replays exactly and reports no failure: "
                                                     "there is nothing to shrink\n"));
}

// The reply to the write says no, twice.
TEST_F(ReplayCommandTest, ShrinksToWhatMakesTheDriverReportAFailure) {
    std::vector<record::Event> calls = scriptedCalls();
    for (const ScriptedEvent event : {kMeasureWrite, kTakeWrite}) {
        calls[event].what = taking(shortReply(2));
    }
    calls.push_back(eventOf(record::NextRequest()));
    calls.push_back(eventOf(taking(shortReply(2))));
    ShippedDriver driver;
    const Result result = host(
        {"replay", "--json", "--shrink", path("small.rec"), write("refused.rec", recordOf(answeredBy(driver, calls)))});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    const auto shrunk = nlohmann::json::parse(result.out)["shrunk"];
    EXPECT_EQ(shrunk["failure"], "DataCom answers with status 12 (given up: refused) to a write request");
    EXPECT_EQ(shrunk["one_minimal"], true);
    EXPECT_LT(shrunk["calls"], 20);
    EXPECT_EQ(host({"replay", path("small.rec")}).exitCode, 0);
}

TEST_F(ReplayCommandTest, MakesATestOfARecord) {
    const Result result = host({"replay", "--make-test", path("tests here"), written()});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    ::setenv("AC500_HOST", kHostProgram, 1);
    ::setenv("AC500_DRIVER", kDriver, 1);
    EXPECT_EQ(run(path("tests here/run.sh"), {}).exitCode, 0);
    ::setenv("AC500_DRIVER", otherDriver().c_str(), 1);
    EXPECT_EQ(run(path("tests here/run.sh"), {}).exitCode, 3);
    const Result renewed = onDriver(otherDriver(), {"--make-test", path("tests here"), written()});
    EXPECT_EQ(renewed.exitCode, 0);
    EXPECT_THAT(renewed.error, HasSubstr("note: 1 answers differ from the record: the test wants those of"));
    EXPECT_EQ(run(path("tests here/run.sh"), {}).exitCode, 0);
    ::unsetenv("AC500_HOST");
    ::unsetenv("AC500_DRIVER");
    EXPECT_EQ(host({"replay", "--make-test", "/dev/full/x", written()}).exitCode, 7);
}

TEST_F(ReplayCommandTest, EndsWellWhenNobodyReadsOrTheDiskIsFull) {
    const std::string file = written();
    EXPECT_EQ(hostWith("> /dev/full", {"replay", "--events", file}).exitCode, 7);
    EXPECT_EQ(hostWith("| true", {"replay", "--events", file}).exitCode, 0);
}

}  // namespace
