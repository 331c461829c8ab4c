// A connection whose end is told in detail.
#include "tools/doctor/tcp_probe.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ac500::doctor {
namespace {

constexpr ProbeTime kPatience{5000};

// Listens on 127.0.0.1, and answers nothing by itself.
class Listener {
public:
    Listener() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(socket_, plain, size), 0);
        EXPECT_EQ(::listen(socket_, 4), 0);
        EXPECT_EQ(::getsockname(socket_, plain, &size), 0);
        port_ = ntohs(address.sin_port);
    }
    ~Listener() { end(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int accept() const { return ::accept(socket_, nullptr, nullptr); }
    void end() {
        ::close(socket_);
        socket_ = -1;
    }
    std::uint16_t port() const { return port_; }

private:
    int socket_;
    std::uint16_t port_ = 0;
};

class TcpProbeTest : public testing::Test {
protected:
    TcpProbe probe_{[this] { return isGivenUp_; }};
    bool isGivenUp_ = false;
};

TEST_F(TcpProbeTest, APortWhereNobodyListensRefuses) {
    Listener listener;
    const std::uint16_t port = listener.port();
    listener.end();
    const ConnectAnswer answer = probe_.connect("127.0.0.1", port, kPatience);
    EXPECT_EQ(answer.outcome, ConnectOutcome::Refused);
    EXPECT_EQ(answer.reason, "Connection refused");
}

TEST_F(TcpProbeTest, ANetworkWithoutAWayIsUnreachable) {
    EXPECT_FALSE(TcpProbe::route("255.255.255.255", 1201).exists);
    EXPECT_EQ(probe_.connect("255.255.255.255", 1201, kPatience).outcome, ConnectOutcome::Unreachable);
}

TEST_F(TcpProbeTest, TheWayToALoopbackAddressIsLocal) {
    const RouteAnswer route = TcpProbe::route("127.0.0.1", 1201);
    EXPECT_TRUE(route.exists);
    EXPECT_EQ(route.local, "127.0.0.1");
    EXPECT_FALSE(TcpProbe::route("no address", 1201).exists);
}

TEST_F(TcpProbeTest, BytesComeAndAnEndIsToldAfterThem) {
    Listener listener;
    ASSERT_EQ(probe_.connect("127.0.0.1", listener.port(), kPatience).outcome, ConnectOutcome::Connected);
    const int peer = listener.accept();
    EXPECT_EQ(probe_.receive(ProbeTime(0)).outcome, ReceiveOutcome::TimedOut);
    ASSERT_TRUE(probe_.send("ask", kPatience));
    char asked[3];
    EXPECT_EQ(::recv(peer, asked, sizeof asked, MSG_WAITALL), 3);
    EXPECT_EQ(::send(peer, "answer", 6, 0), 6);
    ::close(peer);
    const ReceiveAnswer answer = probe_.receive(kPatience);
    EXPECT_EQ(answer.outcome, ReceiveOutcome::Data);
    EXPECT_EQ(answer.bytes, "answer");
    const ReceiveAnswer end = probe_.receive(kPatience);
    EXPECT_EQ(end.outcome, ReceiveOutcome::Closed);
    EXPECT_EQ(end.reason, "closed by the other side");
}

TEST_F(TcpProbeTest, AWaitEndsInTimeAndAtOnceWhenItIsGivenUp) {
    Listener listener;
    ASSERT_EQ(probe_.connect("127.0.0.1", listener.port(), kPatience).outcome, ConnectOutcome::Connected);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(probe_.receive(ProbeTime(60)).outcome, ReceiveOutcome::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, ProbeTime(60));
    isGivenUp_ = true;
    EXPECT_EQ(probe_.receive(ProbeTime(60000)).outcome, ReceiveOutcome::TimedOut);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, ProbeTime(30000));
}

TEST_F(TcpProbeTest, APeerThatTakesNothingEndsTheSending) {
    Listener listener;
    ASSERT_EQ(probe_.connect("127.0.0.1", listener.port(), kPatience).outcome, ConnectOutcome::Connected);
    EXPECT_FALSE(probe_.send(std::string(64 << 20, 'x'), ProbeTime(100)));
}

TEST(Address, IsToldFromAName) {
    EXPECT_TRUE(isAddress("10.0.0.5"));
    EXPECT_TRUE(isAddress("::1"));
    EXPECT_FALSE(isAddress("localhost"));
    EXPECT_FALSE(isAddress("10.0.0.500"));
    EXPECT_FALSE(isAddress(""));
}

}  // namespace
}  // namespace ac500::doctor
