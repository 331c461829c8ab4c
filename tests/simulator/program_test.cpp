// ac500-sim as a user starts it: its first lines, its exit codes, its end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include <fstream>
#include <memory>
#include <vector>

#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include "tests/simulator/raw_client.h"
#include "tests/support/child_process.h"
#include "tests/support/places.h"

namespace ac500::sim {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr int kLimitMs = 20000;

constexpr const char* kPlant = R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 1, "name": "memory", "bytes": 16}],
    "scopes": [{"name": "Main", "variables": [{"name": "count", "type": "WORD", "area": 1, "offset": 0}]}]
})";

std::vector<std::string> plain(const QStringList& texts) {
    std::vector<std::string> result;
    for (const QString& text : texts) {
        result.push_back(text.toStdString());
    }
    return result;
}

class Program : public testing::Test {
protected:
    QString file(const char* name, const std::string& text) {
        const QString path = folder_.filePath(name);
        std::ofstream(path.toStdString()) << text;
        return path;
    }

    void start(const QStringList& arguments) { ASSERT_TRUE(process_.start(test::kSimulatorProgram, plain(arguments))); }

    // The next line of the output, without its end.
    std::string line() { return process_.takeLine(kLimitMs); }

    int exitCode() {
        EXPECT_TRUE(process_.waitForEnd(kLimitMs));
        return process_.exitCode();
    }

    std::string errors() { return process_.takeErrors(); }

    // Starts with a good plant on a free port and takes both first lines.
    void startServing(const QStringList& more = {}) {
        start(QStringList{"--symbols", file("plant.json", kPlant), "--port", "0"} + more);
        takeFirstLines();
    }

    // The same with some redirection of a shell.
    void startRedirected(const std::string& redirection, const QStringList& more) {
        const std::vector<std::string> shell{"-c", "exec \"$0\" \"$@\" " + redirection, test::kSimulatorProgram};
        std::vector<std::string> all =
            plain(QStringList{"--symbols", file("plant.json", kPlant), "--port", "0"} + more);
        all.insert(all.begin(), shell.begin(), shell.end());
        ASSERT_TRUE(process_.start("sh", all));
        takeFirstLines();
    }

    void takeFirstLines() {
        const std::string first = line();
        ASSERT_THAT(first, StartsWith("ac500-sim: listening on 127.0.0.1:"));
        port_ = static_cast<std::uint16_t>(std::stoi(first.substr(first.rfind(':') + 1)));
        EXPECT_THAT(line(), HasSubstr(": 1 area, 1 tag, 0 signals; Sim in area 9 is the simulator's own; seed 1, "));
    }

    QTemporaryDir folder_;
    test::ChildProcess process_;
    std::uint16_t port_ = 0;
};

TEST_F(Program, ServesUntilItIsTerminatedAndSumsUp) {
    startServing();
    {
        RawClient client(port_);
        EXPECT_EQ(client.handshake().size(), 4U);
    }
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(line(),
              "ac500-sim: ended after 1 connection, 2 requests (1 hello, 1 symbols, 0 read, 0 write, 0 other), "
              "0 refused, 0 faults");
    EXPECT_EQ(exitCode(), 0);
    EXPECT_THAT(errors(), HasSubstr("ac500-sim: client 1: connected from 127.0.0.1:"));
}

TEST_F(Program, AnInterruptEndsItToo) {
    startServing({"--quiet"});
    process_.sendSignal(SIGINT);
    EXPECT_THAT(line(), StartsWith("ac500-sim: ended after 0 connections"));
    EXPECT_EQ(exitCode(), 0);
    EXPECT_EQ(errors(), "");
}

TEST_F(Program, EndsByItselfAfterItsTime) {
    startServing({"--run-seconds", "0.2"});
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Program, TellsOfFaultsAndWithVerboseOfEveryRequest) {
    startServing({"--verbose", "--fault", "status:at=1,service=hello"});
    {
        RawClient client(port_);
        EXPECT_EQ(hex(client.ask(helloRequest()).substr(0, 8)), "BB BB 00 00 00 C8 0F 01");
    }
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(exitCode(), 0);
    const std::string told = errors();
    EXPECT_THAT(told, HasSubstr("client 1: hello, reply of 206 bytes\n"));
    const QStringList lines = QString::fromStdString(told).split('\n', Qt::SkipEmptyParts);
    EXPECT_GE(lines.size(), 4);
    for (const QString& line : lines) {
        EXPECT_THAT(line.toStdString(), MatchesRegex("20..-..-.. ..:..:..\\.[0-9][0-9][0-9] ac500-sim: client 1: .*"));
    }
    EXPECT_THAT(told, HasSubstr("client 1: fault status on a reply to hello\n"));
    EXPECT_THAT(told, HasSubstr("client 1: disconnected\n"));
}

TEST_F(Program, WithVerboseTagsAndValuesAreTold) {
    startServing({"--verbose"});
    {
        RawClient client(port_);
        const Bytes end = client.handshake();
        client.ask(byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02 01 02") + end);
        client.ask(byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02") + end);
    }
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(exitCode(), 0);
    const std::string told = errors();
    EXPECT_THAT(told, HasSubstr("client 1: write of 1 item(s) (Main.count = 258), reply of 8 bytes\n"));
    EXPECT_THAT(told, HasSubstr("client 1: read of 1 item(s) (Main.count = 258), reply of 15 bytes\n"));
}

constexpr const char* kMovedPlant = R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 1, "name": "memory", "bytes": 16}],
    "scopes": [{"name": "Main", "variables": [{"name": "count", "type": "WORD", "area": 1, "offset": 2}]}],
    "simulation": {"initial": [{"tag": "Main.count", "value": 4660}]}
})";

// 4660 is 12 34 in hexadecimal.
TEST_F(Program, LoadsAnotherProgramAfterATimeAndOnRequest) {
    startServing({"--load", file("moved.json", kMovedPlant), "--at", "0.3"});
    RawClient client(port_);
    const Bytes end = client.handshake();
    const Bytes readStart = byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 04") + end;
    std::string values;
    for (int i = 0; i < 400 && values != "00 00 12 34"; ++i) {
        values = hex(client.ask(readStart)).substr(39);
        EXPECT_THAT(values, testing::AnyOf("00 00 00 00", "00 00 12 34"));
        EXPECT_EQ(client.receive(1, 10), Bytes()) << "the connection stays";
    }
    EXPECT_EQ(values, "00 00 12 34");
    client.ask(byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 0A 00 00 00 02 00 01") + end);
    EXPECT_EQ(hex(client.ask(readStart)).substr(39), "00 00 00 00");
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(exitCode(), 0);
    const std::string told = errors();
    EXPECT_THAT(told, HasSubstr("ac500-sim: program 2 is loaded\n"));
    EXPECT_THAT(told, HasSubstr("ac500-sim: client 1: program 1 is loaded\n"));
}

TEST_F(Program, AWrongSecondProgramEndsItAtOnce) {
    start({"--symbols", file("plant.json", kPlant), "--port", "0", "--load", folder_.filePath("none.json")});
    EXPECT_EQ(exitCode(), 2);
    EXPECT_THAT(errors(), HasSubstr("none.json: cannot be read: No such file or directory"));
}

TEST_F(Program, ServesOnWhenItsMessagesCannotBeWritten) {
    startRedirected("2>/dev/full", {"--verbose"});
    for (int i = 0; i < 2; ++i) {
        RawClient client(port_);
        EXPECT_EQ(client.handshake().size(), 4U);
    }
    process_.sendSignal(SIGTERM);
    EXPECT_THAT(line(), StartsWith("ac500-sim: ended after 2 connections"));
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Program, ServesOnWhenNobodyReadsItsMessages) {
    startServing({"--verbose"});
    process_.closeErrors();
    for (int i = 0; i < 2; ++i) {
        RawClient client(port_);
        EXPECT_EQ(client.handshake().size(), 4U);
    }
    process_.sendSignal(SIGTERM);
    EXPECT_THAT(line(), StartsWith("ac500-sim: ended after 2 connections"));
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Program, ItsMessagesNeverReachAClientWhenTheirStreamCameClosed) {
    startRedirected("2>&- 0<&-", {"--verbose"});
    RawClient client(port_);
    EXPECT_EQ(client.handshake().size(), 4U);
    EXPECT_EQ(client.receive(1, 200), Bytes());
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Program, AMessageThatCannotBeWrittenDoesNotChangeTheExitCode) {
    process_.start("sh", {"-c", "exec \"$0\" --symbols /nowhere.json 2>/dev/full", test::kSimulatorProgram});
    EXPECT_EQ(exitCode(), 2);
}

TEST_F(Program, AnOutputThatCannotBeWrittenIsFour) {
    for (const char* arguments : {"--port 0", "--help"}) {
        process_.start("sh", {"-c", std::string("exec \"$0\" --symbols \"$1\" ") + arguments + " >/dev/full",
                              test::kSimulatorProgram, file("plant.json", kPlant).toStdString()});
        EXPECT_EQ(exitCode(), 4) << arguments;
        EXPECT_THAT(errors(), EndsWith("ac500-sim: the standard output cannot be written: No space left on device\n"));
    }
}

TEST_F(Program, EndsQuietlyWhenTheReaderOfItsOutputHasGone) {
    startServing({"--quiet"});
    process_.closeOutput();
    process_.sendSignal(SIGTERM);
    EXPECT_EQ(exitCode(), 141);
    EXPECT_EQ(errors(), "");
}

TEST_F(Program, WrongUsageIsOne) {
    start({"--nonsense"});
    EXPECT_EQ(exitCode(), 1);
    EXPECT_THAT(errors(), HasSubstr("--help"));
}

TEST_F(Program, AnUnreadableSymbolFileIsTwo) {
    start({"--symbols", folder_.filePath("missing.json"), "--port", "0"});
    EXPECT_EQ(exitCode(), 2);
    EXPECT_THAT(errors(), HasSubstr("missing.json"));
}

TEST_F(Program, AllProblemsOfASymbolFileAreTold) {
    start({"--symbols", file("bad.json", R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 1, "name": "memory", "bytes": 16}],
    "scopes": [{"name": "Main", "variables": [
        {"name": "a", "type": "WROD", "area": 1, "offset": 0},
        {"name": "b", "type": "WORD", "area": 2, "offset": 0}]}]
})"),
           "--port", "0"});
    EXPECT_EQ(exitCode(), 2);
    const std::string told = errors();
    EXPECT_THAT(told, HasSubstr("bad.json:5:"));
    EXPECT_THAT(told, HasSubstr("bad.json:6:"));
}

TEST_F(Program, ReservedNamesInASymbolFileAreTwo) {
    start({"--symbols", file("nine.json", R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 9, "name": "mine", "bytes": 16}],
    "scopes": [{"name": "Main", "variables": [{"name": "a", "type": "WORD", "area": 9, "offset": 0}]}]
})"),
           "--port", "0"});
    EXPECT_EQ(exitCode(), 2);
    EXPECT_THAT(errors(), HasSubstr("nine.json:3:0: areas: area 9 is reserved for the simulator"));
}

TEST_F(Program, APortInUseIsThree) {
    startServing();
    test::ChildProcess second;
    second.start(test::kSimulatorProgram,
                 plain({"--symbols", folder_.filePath("plant.json"), "--port", QString::number(port_)}));
    ASSERT_TRUE(second.waitForEnd(kLimitMs));
    EXPECT_EQ(second.exitCode(), 3);
    EXPECT_THAT(second.takeErrors(), HasSubstr("choose another --port, or 0 for a free one"));
}

TEST_F(Program, AnAddressThatIsNoneIsThree) {
    start({"--symbols", file("plant.json", kPlant), "--port", "0", "--address", "nowhere"});
    EXPECT_EQ(exitCode(), 3);
    EXPECT_THAT(errors(), HasSubstr("\"nowhere\" is no IP address"));
}

}  // namespace
}  // namespace ac500::sim
