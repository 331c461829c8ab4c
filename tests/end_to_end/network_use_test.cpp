// Whom the programs talk to: every network call that they make, as the system sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <QtCore/QTemporaryDir>

#include "tests/support/child_process.h"
#include "tests/support/places.h"

namespace {

using ac500::test::ChildProcess;
using ac500::test::kDriver;
using ac500::test::kHostProgram;
using ac500::test::kSimulatorProgram;
using ac500::test::projectFile;
using testing::ElementsAre;
using testing::HasSubstr;

using Texts = std::vector<std::string>;
using Calls = std::set<std::string>;

constexpr int kTracedMs = 60000;

// The addresses of the internet in the lines of a trace, with the calls that name them: "connect 127.0.0.1:1201".
//     4711  connect(8, {sa_family=AF_INET, sin_port=htons(1201), sin_addr=inet_addr("127.0.0.1")}, 16) = 0
Calls callsIn(const std::string& trace) {
    const std::regex call(
        R"re((\w+)\(.*sa_family=AF_INET6?, sin6?_port=htons\((\d+)\).*inet_(?:addr\(|pton\(AF_INET6, )"([^"]+)")re");
    Calls calls;
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);) {
        std::smatch parts;
        if (std::regex_search(line, parts, call)) {
            calls.insert(parts[1].str() + " " + parts[3].str() + ":" + parts[2].str());
        }
    }
    return calls;
}

// Programs under strace, in an environment that names a proxy. The tracer stands aside as a grandchild, so that signals
// reach the program.
class NetworkUse : public testing::Test {
protected:
    std::string trace(const char* name) const { return folder_.filePath(name).toStdString(); }

    // The leak checker of a sanitized program would trace it, too.
    Texts traced(const std::string& program, const std::string& trace, const Texts& arguments) const {
        Texts all{"ASAN_OPTIONS=detect_leaks=0",
                  "all_proxy=socks5://127.0.0.3:9",
                  "http_proxy=http://127.0.0.3:9",
                  "strace",
                  "-D",
                  "-f",
                  "-e",
                  "trace=connect,bind,sendto,sendmsg,sendmmsg",
                  "-o",
                  trace,
                  program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }

    // The trace is whole when it tells of the end of the process.
    static Calls finishedCalls(const std::string& trace, pid_t process) {
        const std::regex end("(^|\n)" + std::to_string(process) +
                             " +\\+\\+\\+ exited with");  // short numbers are padded
        for (int i = 0; i < kTracedMs / 10; ++i) {
            std::ifstream file(trace);
            const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            if (std::regex_search(text, end)) {
                return callsIn(trace);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "no end of the program in " << trace << "; is strace installed, and allowed to trace?";
        return {};
    }

    // Its address goes to `plc_`.
    void startSimulator(const Texts& options = {}) {
        Texts arguments{"--symbols", projectFile("examples/plant.json"), "--port", "0", "--quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        ASSERT_TRUE(simulator_.start("env", traced(kSimulatorProgram, trace("simulator"), arguments)));
        const std::string line = simulator_.takeLine(kTracedMs);
        ASSERT_THAT(line, HasSubstr("listening on ")) << simulator_.takeErrors();
        plc_ = line.substr(line.rfind(' ') + 1);
    }

    Calls simulatorCalls() {
        const pid_t process = simulator_.id();
        simulator_.sendSignal(SIGTERM);
        EXPECT_TRUE(simulator_.waitForEnd(kTracedMs));
        EXPECT_EQ(simulator_.exitCode(), 0);
        return finishedCalls(trace("simulator"), process);
    }

    Calls hostCalls(const Texts& options, int exitCode) const {
        Texts arguments{"--driver", kDriver, "--symbols", projectFile("examples/plant.json")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.insert(arguments.end(), {"read", "Main.setpoint"});
        ChildProcess host;
        EXPECT_TRUE(host.start("env", traced(kHostProgram, trace("host"), arguments)));
        const pid_t process = host.id();
        EXPECT_TRUE(host.waitForEnd(kTracedMs));
        EXPECT_TRUE(exitCode < 0 || host.exitCode() == exitCode) << host.exitCode() << ": " << host.takeErrors();
        return finishedCalls(trace("host"), process);
    }

    QTemporaryDir folder_;
    ChildProcess simulator_;
    std::string plc_;
};

TEST_F(NetworkUse, TheSimulatorListensOnLoopbackAndConnectsNowhere) {
    startSimulator();
    EXPECT_THAT(hostCalls({"--plc", plc_}, 0), ElementsAre("connect " + plc_));
    EXPECT_THAT(simulatorCalls(), ElementsAre("bind 127.0.0.1:0"));
}

TEST_F(NetworkUse, TheSimulatorListensWhereItIsToldToAndNowhereElse) {
    startSimulator({"--address", "127.0.0.2"});
    EXPECT_THAT(plc_, HasSubstr("127.0.0.2:"));
    EXPECT_THAT(hostCalls({"--plc", plc_}, 0), ElementsAre("connect " + plc_));
    EXPECT_THAT(simulatorCalls(), ElementsAre("bind 127.0.0.2:0"));
}

// Whether somebody listens there is not this test's business.
TEST_F(NetworkUse, TheHostConnectsToLoopbackUnlessItIsToldOtherwise) {
    EXPECT_THAT(hostCalls({"--wait", "300", "--timeout", "300"}, -1), ElementsAre("connect 127.0.0.1:1201"));
}

}  // namespace
