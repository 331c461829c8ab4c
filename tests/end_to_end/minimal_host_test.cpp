// The smallest host of examples/, against the simulator and against PLCs that mean no good: what people copy is to do
// what the host guide asks for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>

#include "tests/support/child_process.h"
#include "tests/support/hostile_plc.h"
#include "tests/support/pace.h"
#include "tests/support/places.h"

namespace ac500 {
namespace {

using test::byteString;
using test::ChildProcess;
using test::HostilePlc;
using testing::HasSubstr;
using testing::StartsWith;
using Connection = HostilePlc::Connection;
using Texts = std::vector<std::string>;

constexpr int kPatienceMs = 60000;
constexpr int kReplyTimeoutMs = 2000;        // of the host
constexpr int kSlackMs = test::paced(1500);  // for a loaded machine

class MinimalHostTest : public testing::Test {
protected:
    // Runs the host to its end; `readings` and a speed to write are its arguments behind the address.
    void run(
        int port, const Texts& arguments, const std::function<void()>& whenStarted = [] {}) {
        const auto start = std::chrono::steady_clock::now();
        ChildProcess host;
        Texts all{"127.0.0.1", std::to_string(port)};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ASSERT_TRUE(host.start(test::kMinimalHostProgram, all));
        whenStarted();
        EXPECT_TRUE(host.waitForEnd(kPatienceMs));
        exitCode = host.exitCode();
        out = host.takeOutput();
        errors = host.takeErrors();
        tookMs = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count());
    }

    int exitCode = -1;
    int tookMs = 0;
    std::string out;
    std::string errors;
};

// ---- the simulator

class MinimalHostAndSimulatorTest : public MinimalHostTest {
protected:
    void startSimulator(const Texts& faults = {}) {
        Texts arguments{"--symbols", test::projectFile("examples/plant.json"), "--port", "0", "--quiet"};
        for (const std::string& fault : faults) {
            arguments.insert(arguments.end(), {"--fault", fault});
        }
        ASSERT_TRUE(simulator_.start(test::kSimulatorProgram, arguments));
        const std::string line = simulator_.takeLine(kPatienceMs);
        port = std::atoi(line.substr(line.rfind(':') + 1).c_str());
        ASSERT_GT(port, 0) << line << simulator_.takeErrors();
    }

    void TearDown() override {
        if (simulator_.isRunning()) {
            simulator_.sendSignal(SIGTERM);
            EXPECT_TRUE(simulator_.waitForEnd(kPatienceMs));
        }
    }

    int port = 0;

private:
    ChildProcess simulator_;
};

std::ptrdiff_t linesOf(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

TEST_F(MinimalHostAndSimulatorTest, ReadsAVariableAndAMemberOfAStructure) {
    startSimulator();
    run(port, {"3"});
    EXPECT_EQ(exitCode, 0);
    EXPECT_THAT(out, StartsWith("Main.counter = "));
    EXPECT_THAT(out, HasSubstr(", Dosing.mixer.speed = 0\n"));
    EXPECT_EQ(linesOf(out), 3);
    EXPECT_EQ(errors, "");
}

TEST_F(MinimalHostAndSimulatorTest, WritesAndTellsTheReportAndReadsWhatThePlcHas) {
    startSimulator();
    run(port, {"3", "-240"});
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(linesOf(out), 4);
    const std::string::size_type report = out.find("Dosing.mixer.speed was written\n");
    ASSERT_NE(report, std::string::npos) << out;
    EXPECT_THAT(out.substr(0, report), HasSubstr("Dosing.mixer.speed = 0\n"));
    EXPECT_THAT(out.substr(report), HasSubstr("Dosing.mixer.speed = -240\n"));
}

TEST_F(MinimalHostAndSimulatorTest, ARefusedWriteIsToldAsRefused) {
    startSimulator({"status:value=0x0304,service=write"});
    run(port, {"2", "240"});
    EXPECT_EQ(exitCode, 1);
    EXPECT_EQ(errors,
              "the PLC refuses a request with status word 0x0304\n"
              "Dosing.mixer.speed was not written: the PLC refused it\n");
    EXPECT_EQ(linesOf(out), 2);
}

TEST_F(MinimalHostAndSimulatorTest, AWriteWhoseReplyIsLostMayHaveArrived) {
    startSimulator({"reset:service=write,at=1"});
    run(port, {"2", "240"});
    EXPECT_EQ(exitCode, 1);
    EXPECT_THAT(errors, HasSubstr("Dosing.mixer.speed was not written: the PLC may or may not have it\n"));
    EXPECT_THAT(out, HasSubstr("Dosing.mixer.speed = 240\n")) << "it had";
}

TEST_F(MinimalHostAndSimulatorTest, SurvivesALinkThatFailsNowAndThen) {
    startSimulator({"reset:service=read,every=4", "glue:service=read,every=5", "status:service=read,every=6",
                    "reset:service=hello,at=2"});
    run(port, {"12"});
    EXPECT_EQ(exitCode, 0) << errors;
    EXPECT_EQ(linesOf(out), 12);
    EXPECT_THAT(errors, HasSubstr("connecting anew"));
    EXPECT_THAT(errors, HasSubstr("the PLC refuses a request with status word 0x0F01"));
}

// ---- PLCs that mean no good

// The good answer to a request of this host: Main.counter is 0x1234, Dosing.mixer.speed is -2.
std::string goodReply(const std::string& request) {
    if (request[6] == '\x3C') {
        return test::writeReply().toStdString();
    }
    std::string payload(6, '\0');
    for (std::size_t item = 12; item + 10 <= request.size() - 4; item += 10) {
        payload += request[item + 1] == 1 ? byteString("00 12 34") : byteString("00 FF FE");
    }
    return test::envelope(payload);
}

void beGood(Connection& connection) {
    if (connection.handshake()) {
        for (std::string request = connection.request(); !request.empty(); request = connection.request()) {
            connection.send(goodReply(request));
        }
    }
}

class MinimalHostAndHostilePlcTest : public MinimalHostTest {
protected:
    // A PLC that is bad on the first connections and good on all later ones.
    void meet(const HostilePlc::Behaviour& behaviour, int badConnections = 1, const Texts& arguments = {"1"}) {
        int number = 0;
        const auto serve = [&](Connection& connection) {
            if (++number <= badConnections) {
                behaviour(connection);
            } else {
                beGood(connection);
            }
        };
        // The host is started before the PLC has its thread: under the emulator a process that has threads may not get its
        // children going.
        HostilePlc plc(serve, 0, HostilePlc::Serving::Later);
        ASSERT_NE(plc.port(), 0);
        run(plc.port(), arguments, [&] { plc.begin(); });
        connections = plc.connections();
    }

    // The same, bad from the first read on.
    void meetAtRead(const std::function<void(Connection&)>& answer) {
        meet([answer](Connection& connection) {
            if (connection.handshake() && !connection.request().empty()) {
                answer(connection);
                connection.waitForEnd();
            }
        });
    }

    void expectRecovery(const std::string& complaint) const {
        EXPECT_EQ(exitCode, 0);
        EXPECT_EQ(out, "Main.counter = 4660, Dosing.mixer.speed = -2\n");
        EXPECT_EQ(errors, complaint + "; connecting anew\n");
        EXPECT_EQ(connections, 2);
    }
    void expectOneTimeLimit() const {
        EXPECT_GE(tookMs, kReplyTimeoutMs);
        EXPECT_LT(tookMs, kReplyTimeoutMs + kSlackMs);
    }
    void expectNoTimeLimit() const { EXPECT_LT(tookMs, kSlackMs); }

    int connections = 0;
};

TEST_F(MinimalHostAndHostilePlcTest, ATrickleCostsOneTimeLimit) {
    meetAtRead([](Connection& connection) {
        connection.send(byteString("BB BB 00 00 FF FF"));
        while (connection.send(std::string(1, '\0')) && connection.sleep(10)) {
        }
    });
    expectRecovery("no whole reply in time");
    expectOneTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, SilenceCostsOneTimeLimit) {
    meetAtRead([](Connection&) {});
    expectRecovery("no whole reply in time");
    expectOneTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, AnotherMagicEndsTheConnectionAtOnce) {
    meetAtRead([](Connection& connection) { connection.send("HT"); });
    expectRecovery("what answers is no PLC of this kind");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, AFloodIsCutOff) {
    meetAtRead([](Connection& connection) {
        while (connection.send(std::string(65536, '\xBB'))) {
        }
    });
    expectRecovery("more than a reply came");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, AReplyOfAnotherLengthIsNone) {
    meetAtRead([](Connection& connection) { connection.send(test::zeroReply(13).toStdString()); });
    expectRecovery("the reply is not the answer");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, AReplyWithoutAWholeStatusWordIsNone) {
    meetAtRead([](Connection& connection) { connection.send(byteString("BB BB 00 00 00 01 00")); });
    expectRecovery("the reply is not the answer");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, AnEndInTheMiddleOfAReply) {
    meet([](Connection& connection) {
        if (connection.handshake() && !connection.request().empty()) {
            connection.send(byteString("BB BB 00 00 00 09 00"));
        }
    });
    expectRecovery("the connection was lost before the reply");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, BytesThatNobodyAskedForEndTheConnection) {
    meet(
        [](Connection& connection) {
            if (connection.handshake()) {
                connection.send(goodReply(connection.request()) + "x");
                connection.waitForEnd();
            }
        },
        1);
    expectRecovery("more than a reply came");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, APeerThatOpensNoSession) {
    meet([](Connection& connection) {
        connection.request();
        connection.send(test::zeroReply(10).toStdString());
        connection.waitForEnd();
    });
    expectRecovery("the peer opens no session");
    expectNoTimeLimit();
}

TEST_F(MinimalHostAndHostilePlcTest, APlcThatClosesAtOnceIsNotBesieged) {
    meet([](Connection&) {}, 4);
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(connections, 5);
    EXPECT_GE(tookMs, 100 + 200 + 400 + 800);
    EXPECT_LT(tookMs, 100 + 200 + 400 + 800 + kSlackMs);
}

TEST_F(MinimalHostAndHostilePlcTest, AHandshakeAloneDoesNotShortenThePauses) {
    meet(
        [](Connection& connection) {
            if (connection.handshake()) {
                connection.request();
            }
        },
        4);
    EXPECT_EQ(connections, 5);
    EXPECT_GE(tookMs, 100 + 200 + 400 + 800);
}

TEST_F(MinimalHostAndHostilePlcTest, ARefusedReadKeepsTheConnectionAndIsNotRepeatedAtOnce) {
    int refused = 0;
    meet(
        [&](Connection& connection) {
            // A request that is refused ends the driver's session, not the connection.
            for (; refused < 3; ++refused) {
                if (!connection.handshake() || connection.request().empty()) {
                    return;
                }
                connection.send(byteString("BB BB 00 00 00 02 03 01"));
            }
            beGood(connection);
        },
        1);
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(out, "Main.counter = 4660, Dosing.mixer.speed = -2\n");
    const std::string line = "the PLC refuses a request with status word 0x0301\n";
    EXPECT_EQ(errors, line + line + line);
    EXPECT_EQ(connections, 1);
    EXPECT_GE(tookMs, 100 + 200 + 400);
}

TEST_F(MinimalHostAndHostilePlcTest, AWriteReplyThatIsNotEightBytesLongIsNone) {
    meet(
        [](Connection& connection) {
            for (std::string request = connection.handshake() ? connection.request() : ""; !request.empty();
                 request = connection.request()) {
                connection.send(request[6] == '\x3C' ? byteString("BB BB 00 00 00 06 00 00 00 00 00 01")
                                                     : goodReply(request));
            }
        },
        1, {"2", "7"});
    EXPECT_EQ(exitCode, 1);
    EXPECT_EQ(errors,
              "the reply is not the answer; connecting anew\n"
              "Dosing.mixer.speed was not written: the PLC may or may not have it\n");
    EXPECT_EQ(connections, 2);
}

// The driver has the write in flight when the connection goes: it is not sent on the next one.
TEST_F(MinimalHostAndHostilePlcTest, AWriteDoesNotOutliveItsConnection) {
    std::atomic<int> writes{0};
    const auto serve = [&](Connection& connection) {
        for (std::string request = connection.handshake() ? connection.request() : ""; !request.empty();
             request = connection.request()) {
            if (request[6] == '\x3C') {
                ++writes;
                return;
            }
            connection.send(goodReply(request));
        }
    };
    HostilePlc plc(serve, 0, HostilePlc::Serving::Later);
    run(plc.port(), {"3", "7"}, [&] { plc.begin(); });
    EXPECT_EQ(exitCode, 1);
    EXPECT_THAT(errors, HasSubstr("Dosing.mixer.speed was not written: the PLC may or may not have it\n"));
    EXPECT_EQ(plc.connections(), 2);
    EXPECT_EQ(linesOf(out), 3);
    EXPECT_EQ(writes, 1);
}

}  // namespace
}  // namespace ac500
