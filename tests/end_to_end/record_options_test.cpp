// The options of recording, on the command line as a user gives them, and what replay says of the records.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/end_to_end/programs.h"

namespace ac500 {
namespace {

using test::Outcome;
using test::Texts;
using test::operator+;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class RecordOptionsTest : public test::CommandLineTest {
protected:
    RecordOptionsTest() {
        char name[] = "/tmp/ac500-record-XXXXXX";
        folder_ = ::mkdtemp(name);
    }
    ~RecordOptionsTest() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }

    Outcome replay(const std::string& name, const Texts& options = {}) const {
        return runHost(Texts{"--driver", test::kDriver, "replay", file(name)} + options);
    }

    void expectExact(const std::string& name) const {
        const Outcome replayed = replay(name);
        EXPECT_EQ(replayed.exitCode, 0) << replayed.error;
        EXPECT_THAT(replayed.out, ContainsRegex("result +exact: all [0-9]+ calls are answered as recorded\n"));
    }

    std::string folder_;
};

TEST_F(RecordOptionsTest, RecordsAWholeRunWithItsLatencies) {
    startSimulator();
    const Outcome read = host({"--record", file("run.rec"), "read", "Main.counter", "Main.setpoint"});
    EXPECT_EQ(read.exitCode, 0) << read.error;
    EXPECT_EQ(read.error, "");

    expectExact("run.rec");
    EXPECT_THAT(replay("run.rec").out, Not(HasSubstr("its end")));
    const std::string times = "p50 [0-9.]+ ms, p99 [0-9.]+ ms, longest [0-9.]+ ms, in the last [0-9.]+ s\n";
    EXPECT_THAT(replay("run.rec").out, ContainsRegex("measured +first handshake 1, " + times));
    const Outcome events = replay("run.rec", {"--events"});
    EXPECT_THAT(events.out, ContainsRegex("note Latency: second handshake 1, " + times));
    EXPECT_THAT(events.out, ContainsRegex("note Latency: cyclic read [1-9][0-9]*, " + times));
    EXPECT_THAT(events.out, HasSubstr("connection to 127.0.0.1:"));
}

TEST_F(RecordOptionsTest, KeepsARingOnDisk) {
    startSimulator();
    const Outcome read = host({"--record-ring", file("ring.rec") + ":1M", "read", "Main.counter"});
    EXPECT_EQ(read.exitCode, 0) << read.error;
    expectExact("ring.rec");
}

TEST_F(RecordOptionsTest, SavesTheMinutesAtTheFirstFailureOnly) {
    const Texts options{"--record-when", "failure", "--record-save", file("minutes.rec"), "read", "Main.counter"};
    const Outcome failed = host(Texts{"--wait", "300"} + options);  // nobody listens
    EXPECT_EQ(failed.exitCode, 4);
    EXPECT_THAT(failed.error, HasSubstr("note: the last minutes are recorded in " + file("minutes.rec") + " ("));
    EXPECT_FALSE(exists("minutes-2.rec"));
    expectExact("minutes.rec");
    EXPECT_THAT(replay("minutes.rec", {"--events"}).out, HasSubstr("saved: "));

    startSimulator();
    std::filesystem::remove(file("minutes.rec"));
    EXPECT_EQ(host(options).exitCode, 0);
    EXPECT_FALSE(exists("minutes.rec"));
}

TEST_F(RecordOptionsTest, TellsOnceOfADiskThatIsFullAndGoesOn) {
    startSimulator();
    const Outcome read = host({"--record", "/dev/full", "read", "Main.setpoint"});
    EXPECT_EQ(read.exitCode, 7) << "a file that was asked for";
    EXPECT_EQ(read.out, "Main.setpoint  100\n");
    const std::string complaint = "/dev/full cannot be written";
    const std::size_t first = read.error.find(complaint);
    ASSERT_NE(first, std::string::npos) << read.error;
    EXPECT_EQ(read.error.find(complaint, first + 1), std::string::npos) << read.error;
    EXPECT_THAT(read.error, HasSubstr("No space left on device; the run goes on without it\n"));
}

// Whether the file is there by now or not, and whatever name or link leads to it.
TEST_F(RecordOptionsTest, TwoOutputsAreNeverOneFile) {
    const std::string one = file("one");
    const std::string same = file("../" + folder_.substr(folder_.rfind('/') + 1) + "/./one");
    const std::vector<Texts> commands{
        {"--record", one, "write", "--audit", same, "Main.setpoint=9"},
        {"--record", same, "--record-ring", one + ":1M", "read", "Main.counter"},
        {"--record", file("one.2"), "--record-ring", one + ":1M", "read", "Main.counter"},
        {"--record", one, "--record-save", one, "read", "Main.counter"},
        {"--record-ring", file("one") + ":1M", "--record-save", file("one.1"), "read", "Main.counter"},
        {"--record", one, "doctor", "--yes", "--bundle", one},
    };
    for (const bool isThere : {false, true}) {
        for (const Texts& words : commands) {
            if (isThere) {
                std::ofstream(one) << "mine";
            }
            const Outcome outcome = host(words);
            EXPECT_EQ(outcome.exitCode, 1) << outcome.error;
            EXPECT_THAT(outcome.error, HasSubstr(" would write over each other; name another file"));
            EXPECT_EQ(exists("one"), isThere);
        }
    }
    EXPECT_EQ(
        host({"--wait", "300", "--record", "/dev/null", "write", "--audit", "/dev/null", "Main.setpoint=9"}).exitCode,
        4)
        << "a device is no file";
}

TEST_F(RecordOptionsTest, TheNameThatNobodyChoseIsInNobodysWay) {
    startSimulator();
    const Outcome read = run("sh", Texts{"-c", "cd \"$0\" && exec \"$@\"", folder_, test::kHostProgram} + usual() +
                                       Texts{"--record", "ac500-host.record", "read", "Main.counter"});
    EXPECT_EQ(read.exitCode, 0) << read.error;
    expectExact("ac500-host.record");
}

TEST_F(RecordOptionsTest, AFileThatIsNoRecordStaysAsItIs) {
    startSimulator();
    for (const char* option : {"--record", "--record-ring"}) {
        std::ofstream(file("notes.txt")) << "important notes";
        const bool isRing = std::string(option) == "--record-ring";
        const Outcome read = host({option, file("notes.txt") + (isRing ? ":1M" : ""), "read", "Main.setpoint"});
        EXPECT_EQ(read.exitCode, 7);
        EXPECT_EQ(read.out, "Main.setpoint  100\n");
        EXPECT_THAT(read.error,
                    HasSubstr("notes.txt cannot be made: a file of that name is there, and it is no record; "
                              "it stays as it is; the run goes on without it\n"));
        EXPECT_EQ(std::filesystem::file_size(file("notes.txt")), 15u);
    }
}

TEST_F(RecordOptionsTest, ARestartLosesNothingOfTheRunBefore) {
    startSimulator();
    const Texts options{"--record-ring", file("ring.rec") + ":1M", "read"};
    EXPECT_EQ(host(options + Texts{"Main.counter"}).exitCode, 0);
    EXPECT_EQ(host(options + Texts{"Main.setpoint"}).exitCode, 0);
    expectExact("ring.rec");
    expectExact("ring.rec.1");
    EXPECT_THAT(replay("ring.rec").out, ContainsRegex("earlier run +" + file("ring.rec.1") + "\n"));
    EXPECT_THAT(replay("ring.rec.1").out, Not(HasSubstr("earlier run")));
    EXPECT_THAT(replay("ring.rec", {"--events"}).out, HasSubstr("Main.setpoint"));
    EXPECT_THAT(replay("ring.rec.1", {"--events"}).out, HasSubstr("Main.counter"));
}

TEST_F(RecordOptionsTest, ASecondFailureLeavesTheMinutesOfTheFirst) {
    const Texts options{"--wait", "300", "--record-when", "failure", "--record-save", file("minutes.rec"), "read"};
    EXPECT_EQ(host(options + Texts{"Main.counter"}).exitCode, 4);
    EXPECT_THAT(host(options + Texts{"Main.setpoint"}).error,
                HasSubstr("note: the last minutes are recorded in " + file("minutes-2.rec") + " ("));
    expectExact("minutes.rec");
    expectExact("minutes-2.rec");
}

TEST_F(RecordOptionsTest, RecordsNothingWithoutMemory) {
    const Texts options{"--wait", "300", "--record-memory", "0", "--record-save", file("none.rec")};
    EXPECT_EQ(host(options + Texts{"read", "Main.counter"}).exitCode, 4);
    EXPECT_FALSE(exists("none.rec"));
}

}  // namespace
}  // namespace ac500
