// The connection: lost, back again, refused, and what answers there is no PLC.
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <atomic>
#include <future>

#include "tests/end_to_end/plant.h"
#include "tests/support/places.h"
#include "tests/support/wire.h"

namespace ac500 {

using symbol_file::Area;
using symbol_file::TypeCode;
using symbol_file::Variable;

namespace {

class LinkTest : public PlantTest {};

TEST_F(LinkTest, ValuesAreNeverReceivedThenFreshThenStale) {
    begin({});
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::NeverReceived);
    EXPECT_FALSE(session->value(tag("Main.int")).isKnown);
    EXPECT_FALSE(session->value(tag("Main.int")).age);
    session->poll({tag("Main.int")});
    EXPECT_EQ(read("Main.int"), "0");
    EXPECT_LT(session->value(tag("Main.int")).age->count(), 2000);
    plc.stop();
    EXPECT_TRUE(eventually([&] { return stateOf("Main.int") == host::ValueState::Stale; }));
    EXPECT_TRUE(session->value(tag("Main.int")).isKnown);
}

TEST_F(LinkTest, AValueThatIsNotPolledAnyMoreGrowsStale) {
    begin({"Main.int"});
    read("Main.int");
    session->poll({tag("Main.uint")});
    read("Main.uint");
    EXPECT_TRUE(eventually([&] { return stateOf("Main.int") == host::ValueState::Stale; }));
    EXPECT_GE(session->value(tag("Main.int")).age->count(), 2000);
    EXPECT_EQ(stateOf("Main.uint"), host::ValueState::Fresh);
}

TEST_F(LinkTest, APlcThatRestartsGetsANewHandshakeAndItsNewSessionBytesAreUsed) {
    begin({"Main.int"});
    read("Main.int");
    const auto session1 = plc.identity().session;
    plc.write(1, 4, byteString("01 02"));
    plc.restart();
    ASSERT_NE(plc.identity().session, session1);
    EXPECT_TRUE(eventually([&] { return session->status().statistics.handshakes == 2; })) << lastFailure();
    EXPECT_TRUE(eventually([&] { return read("Main.int") == "258"; }));
    EXPECT_EQ(plc.counters().refused, 0u) << "no request carried bytes of the old session";
    EXPECT_EQ(session->status().statistics.reconnects(), 1);
}

// The driver cannot be told that its session is over; the first order after the loss must not pay for that.
TEST_F(LinkTest, AnOrderAfterAConnectionThatWasLostInIdleTimeSucceeds) {
    begin({});
    write("Main.int", "1");
    plc.dropConnections();
    ASSERT_TRUE(eventually([&] {
        return session->status().statistics.reconnects() == 1 && session->status().state == host::LoopState::Exchanging;
    })) << lastFailure();
    write("Main.int", "2");
    EXPECT_EQ(inPlc(1, 4, 2), "00 02");
}

TEST_F(LinkTest, AConnectionLostAgainAndAgainComesBackEveryTime) {
    begin({"Main.int"});
    for (int i = 1; i <= 10; ++i) {
        read("Main.int");
        plc.dropConnections();
        EXPECT_TRUE(eventually([&] { return session->status().statistics.reconnects() >= i; })) << lastFailure();
    }
    read("Main.int");
    EXPECT_EQ(plc.counters().refused, 0u);
}

TEST_F(LinkTest, AnAreaThatThePlcDoesNotHaveDoesNotStopTheOthers) {
    // The host's symbols know an area 7 that the PLC lacks.
    SymbolFile wider = file;
    Area area;
    area.number = 7;
    area.sizeBytes = 100;
    wider.areas.push_back(area);
    Variable ghost;
    ghost.name = "ghost";
    ghost.code = TypeCode::Int;
    ghost.area = 7;
    wider.scopes[0].variables.push_back(ghost);
    const host::TagTable widerTable(wider);
    std::string error;
    driver = host::DriverLibrary::load(test::kDriver, &error);
    ASSERT_NE(driver, nullptr) << error;
    // 398 words and one more byte leave no room for a second request in a frame, so nothing shares the fate of the ghost.
    settings.maxRequestWords = 399;
    session = std::make_unique<host::HostSession>(
        host::HostSession::Parts{driver->functions(), widerTable, clock,
                                 [] { return std::make_unique<host::TcpTransport>(); }},
        settings);
    ASSERT_TRUE(session->start(&error)) << error;
    const host::Tag ghostTag = *widerTable.find("Main.ghost", &error);
    session->poll({*widerTable.find("Main.many[1..398]", &error), ghostTag, *widerTable.find("Main.left", &error)});
    EXPECT_TRUE(eventually([&] { return anyFailureContains("status word 0x0301"); })) << lastFailure();
    EXPECT_TRUE(eventually([&] { return stateOf("Main.many[1..398]") == host::ValueState::Fresh; })) << lastFailure();
    EXPECT_EQ(session->value(ghostTag).state, host::ValueState::NeverReceived);
    const std::int32_t serial = session->readOnce(ghostTag);
    EXPECT_TRUE(eventually([&] { return session->order(serial)->step == host::OrderStep::Failed; }));
    EXPECT_NE(session->order(serial)->failure.text.find("status word 0x0301"), std::string::npos);
}

TEST_F(LinkTest, NobodyListeningIsAFailureOfTcp) {
    plc.stop();
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_EQ(session->status().lastFailure->failure.kind, host::FailureKind::Tcp);
    EXPECT_NE(lastFailure().find("127.0.0.1:" + std::to_string(plc.port())), std::string::npos);
}

TEST_F(LinkTest, APlcMayBeGivenByItsName) {
    settings.loop.plc.host = "plc.example";
    resolver = [](const std::string& name) {
        EXPECT_EQ(name, "plc.example");
        return host::NameAnswer{{"127.0.0.1"}, {}};
    };
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "0");
}

TEST_F(LinkTest, TheAddressesOfANameAreTriedInTurn) {
    settings.loop.plc.host = "plc.example";
    resolver = [](const std::string&) { return host::NameAnswer{{"127.0.0.2", "127.0.0.3", "127.0.0.1"}, {}}; };
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "0");
    EXPECT_FALSE(session->status().lastFailure)
        << "an address that does not answer is no failure yet: " << lastFailure();
}

TEST_F(LinkTest, WhenNoAddressOfANameAnswersTheReasonIsThatOfTheLast) {
    settings.loop.plc.host = "plc.example";
    resolver = [](const std::string&) { return host::NameAnswer{{"127.0.0.2", "127.0.0.3"}, {}}; };
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_NE(lastFailure().find("no connection to plc.example:" + std::to_string(plc.port()) + ": Connection refused"),
              std::string::npos)
        << lastFailure();
}

TEST_F(LinkTest, ANameThatNobodyKnowsIsAFailureOfTcp) {
    settings.loop.plc.host = "plc.example";
    resolver = [](const std::string&) { return host::NameAnswer{{}, "Name or service not known"}; };
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_EQ(session->status().lastFailure->failure.kind, host::FailureKind::Tcp);
    EXPECT_NE(lastFailure().find("Name or service not known"), std::string::npos) << lastFailure();
}

TEST_F(LinkTest, ASystemThatDoesNotAnswerForANameCostsOneTimeLimitAndHoldsNobodyUp) {
    std::promise<void> atTheEnd;
    settings.loop.plc.host = "plc.example";
    settings.loop.connectTimeout = host::Milliseconds(200);
    resolver = [gate = atTheEnd.get_future().share()](const std::string&) {
        gate.wait();
        return host::NameAnswer{{"127.0.0.1"}, {}};
    };
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_NE(lastFailure().find("within 200 ms"), std::string::npos) << lastFailure();
    session->stop();
    atTheEnd.set_value();
}

// Accepts connections on a free port and answers whatever comes with `answer`.
class OtherPeer {
public:
    explicit OtherPeer(QByteArray answer) : answer_(std::move(answer)), thread_([this] { run(); }) {
        while (port_ == 0) {
            std::this_thread::yield();
        }
    }
    ~OtherPeer() {
        stop_ = true;
        thread_.join();
    }
    std::uint16_t port() const { return port_; }

private:
    void run() {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost, 0);
        port_ = server.serverPort();
        while (!stop_) {
            if (!server.waitForNewConnection(20)) {
                continue;
            }
            const std::unique_ptr<QTcpSocket> client(server.nextPendingConnection());
            while (!stop_ && client->state() == QAbstractSocket::ConnectedState) {
                if (client->waitForReadyRead(20)) {
                    client->readAll();
                    client->write(answer_);
                    client->waitForBytesWritten(100);
                }
            }
        }
    }

    const QByteArray answer_;
    std::atomic<std::uint16_t> port_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

TEST_F(LinkTest, SomethingElseThatAnswersIsAFailureOfTheHandshake) {
    const OtherPeer web("HTTP/1.1 400 Bad Request\r\n\r\n");
    settings.loop.plc.port = web.port();
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_EQ(session->status().lastFailure->failure.kind, host::FailureKind::Handshake);
    EXPECT_NE(lastFailure().find("begins with 4854 instead of bbbb"), std::string::npos) << lastFailure();
    EXPECT_EQ(session->status().statistics.handshakes, 0);
}

TEST_F(LinkTest, SomethingThatSaysNothingIsAFailureOfTheHandshake) {
    const OtherPeer silent((QByteArray()));
    settings.loop.plc.port = silent.port();
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_EQ(session->status().lastFailure->failure.kind, host::FailureKind::Handshake);
    EXPECT_NE(lastFailure().find("no reply within " + std::to_string(test::paced(400)) + " ms"), std::string::npos)
        << lastFailure();
}

TEST_F(LinkTest, AHandshakeReplyThatIsTooSmallIsAFailureOfTheHandshake) {
    const OtherPeer small(test::writeReply());
    settings.loop.plc.port = small.port();
    begin({"Main.int"});
    EXPECT_TRUE(eventually([&] { return session->status().lastFailure.has_value(); }));
    EXPECT_EQ(session->status().lastFailure->failure.kind, host::FailureKind::Handshake);
    EXPECT_NE(lastFailure().find("has 8 bytes, at least 206 were expected"), std::string::npos) << lastFailure();
}

TEST_F(LinkTest, ASecondSessionInTheProcessIsRefused) {
    begin({"Main.int"});
    host::HostSession second({driver->functions(), table, clock, [] { return std::make_unique<host::TcpTransport>(); }},
                             settings);
    std::string error;
    EXPECT_FALSE(second.start(&error));
    EXPECT_NE(error.find("another session"), std::string::npos);
}

TEST_F(LinkTest, AnotherSessionAfterTheFirstStartsCleanly) {
    begin({"Main.int"});
    read("Main.int");
    session.reset();
    plc.write(1, 4, byteString("00 07"));
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "7");
    EXPECT_EQ(plc.counters().refused, 0u);
}

}  // namespace
}  // namespace ac500
