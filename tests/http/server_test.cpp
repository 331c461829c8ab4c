// The server over real sockets, with a site of a few paths.
#include "tools/http/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

#include <netinet/tcp.h>

#include "tests/http/raw_client.h"

namespace ac500::http {
namespace {

using std::chrono::milliseconds;
using test::paced;
using test::RawClient;
using test::Reply;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

// Sends what it is told, to each that asks.
class Announcements {
public:
    void say(const std::string& text) {
        const std::lock_guard<std::mutex> guard(mutex_);
        text_ += text;
    }
    std::string from(std::size_t place) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return text_.substr(place);
    }
    std::atomic<int> listeners{0};
    std::atomic<int> asked{0};
    std::function<void()> whenNothingIsNew;  // once, on the server's thread, before it is told so

private:
    std::mutex mutex_;
    std::string text_;
};

class AnnouncementSource : public BodySource {
public:
    explicit AnnouncementSource(Announcements& announcements) : announcements_(announcements) {
        ++announcements_.listeners;
    }
    ~AnnouncementSource() override { --announcements_.listeners; }
    Next next(std::string* part) override {
        ++announcements_.asked;
        *part = announcements_.from(place_);
        place_ += part->size();
        if (part->empty() && announcements_.whenNothingIsNew) {
            std::exchange(announcements_.whenNothingIsNew, nullptr)();
        }
        return part->empty() ? Next::Later : Next::Part;
    }

private:
    Announcements& announcements_;
    std::size_t place_ = 0;
};

class EndlessSource : public BodySource {
public:
    explicit EndlessSource(std::atomic<int>& open) : open_(open) { ++open_; }
    ~EndlessSource() override { --open_; }
    Next next(std::string* part) override {
        part->assign(10000, 'x');
        return Next::Part;
    }

private:
    std::atomic<int>& open_;
};

class FailingSource : public BodySource {
public:
    Next next(std::string* part) override {
        if (isBegun_) {
            throw std::runtime_error("secret");
        }
        isBegun_ = true;
        *part = "begun";
        return Next::Part;
    }

private:
    bool isBegun_ = false;
};

class TestSite : public Site {
public:
    Admission admit(const Request& head) override {
        if (head.path == "/refused") {
            return {errorAnswer(403, "no", "go away"), false};
        }
        return {std::nullopt, head.path == "/slow"};
    }
    Response answer(const Request& request) override {
        Response response;
        response.contentType = "text/plain";
        response.body = request.method + " " + request.path + " from " + request.address;
        for (const auto& parameter : request.query) {
            response.body += " " + parameter.first + "=" + parameter.second;
        }
        if (!request.body.empty()) {
            response.body += " with " + std::to_string(request.body.size()) + " bytes";
        }
        if (request.path == "/stream") {
            response.source = std::make_shared<AnnouncementSource>(announcements);
        } else if (request.path == "/endless") {
            response.source = std::make_shared<EndlessSource>(endless);
        } else if (request.path == "/fails") {
            response.source = std::make_shared<FailingSource>();
        } else if (request.path == "/slow") {
            std::unique_lock<std::mutex> lock(mutex);
            mayGoOn.wait(lock, [this] { return isReleased; });
        } else if (request.path == "/throws") {
            throw std::runtime_error("secret");
        }
        return response;
    }

    Announcements announcements;
    std::atomic<int> endless{0};
    std::mutex mutex;
    std::condition_variable mayGoOn;
    bool isReleased = false;
};

class ServerTest : public testing::Test {
protected:
    void start(const ServerSettings& settings = {}) {
        std::string error;
        std::unique_ptr<Listener> listener = Listener::open("127.0.0.1", 0, &error);
        ASSERT_NE(listener, nullptr) << error;
        port = listener->port();
        server = Server::start(std::move(listener), settings, site, &error);
        ASSERT_NE(server, nullptr) << error;
    }
    void release() {
        const std::lock_guard<std::mutex> guard(site.mutex);
        site.isReleased = true;
        site.mayGoOn.notify_all();
    }
    Reply get(const std::string& path) { return RawClient(port).ask("GET " + path + " HTTP/1.1\r\nHost: a\r\n\r\n"); }
    static bool becomes(const std::atomic<int>& number, int expected, int timeMs = paced(5000)) {
        const auto end = std::chrono::steady_clock::now() + milliseconds(timeMs);
        while (number != expected && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(milliseconds(5));
        }
        return number == expected;
    }

    TestSite site;
    std::uint16_t port = 0;
    std::unique_ptr<Server> server;  // ends before its site
};

TEST_F(ServerTest, AnswersWithPathQueryBodyAndAddress) {
    start();
    EXPECT_EQ(get("/a?tag=1&tag=2%263").body, "GET /a from 127.0.0.1 tag=1 tag=2&3");
    const Reply posted =
        RawClient(port, "127.0.0.7").ask("POST /b HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\n12345");
    EXPECT_EQ(posted.status, 200);
    EXPECT_EQ(posted.body, "POST /b from 127.0.0.7 with 5 bytes");
}

TEST_F(ServerTest, EveryAnswerHasTheHeadersThatKeepABrowserCareful) {
    ServerSettings settings;
    settings.bodyBytes = 10;
    start(settings);
    const Reply tooLarge = RawClient(port).ask("POST /b HTTP/1.1\r\nHost: a\r\nContent-Length: 11\r\n\r\n12345678901");
    for (const Reply& reply : {get("/a"), get("/refused"), get("/throws"), get("/stream"), tooLarge}) {
        SCOPED_TRACE(reply.head);
        EXPECT_EQ(reply.header("Content-Security-Policy"),
                  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
                  "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
        EXPECT_EQ(reply.header("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(reply.header("X-Frame-Options"), "DENY");
        EXPECT_EQ(reply.header("Referrer-Policy"), "no-referrer");
        EXPECT_EQ(reply.header("Cross-Origin-Opener-Policy"), "same-origin");
        EXPECT_EQ(reply.header("Cross-Origin-Resource-Policy"), "same-origin");
        EXPECT_EQ(reply.header("Cache-Control"), "no-store");
    }
}

TEST_F(ServerTest, ARefusalByTheHeadDoesNotWaitForTheBody) {
    start();
    const Reply reply = RawClient(port).ask("POST /refused HTTP/1.1\r\nHost: a\r\nContent-Length: 5000\r\n\r\n");
    EXPECT_EQ(reply.status, 403);
    EXPECT_EQ(reply.body, "{\"error\":{\"what\":\"no\",\"next\":\"go away\"}}\n");
}

TEST_F(ServerTest, WhatIsThrownIsNotShown) {
    start();
    const Reply reply = get("/throws");
    EXPECT_EQ(reply.status, 500);
    EXPECT_THAT(reply.body, Not(HasSubstr("secret")));
}

TEST_F(ServerTest, ABodyThatFailsOnItsWayEndsItsConnectionAndNoOther) {
    start();
    RawClient client(port);
    client.send("GET /fails HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_TRUE(client.receiveUntil("begun"));
    EXPECT_TRUE(client.isClosedWithin(paced(2000)));
    EXPECT_THAT(client.received(), Not(HasSubstr("\r\n0\r\n")));  // it does not pass for a whole one
    EXPECT_EQ(get("/a").status, 200);
}

// As one does whose network is gone: what is sent is not acknowledged.
TEST(ListenerTest, AClientThatAcknowledgesNothingIsGivenUpAfterTwentySeconds) {
    std::string error;
    const std::unique_ptr<Listener> listener = Listener::open("127.0.0.1", 0, &error);
    ASSERT_NE(listener, nullptr) << error;
    const RawClient client(listener->port());
    pollfd waiting{listener->descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&waiting, 1, paced(2000)), 1);
    const int accepted = accept4(listener->descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    ASSERT_GE(accepted, 0);
    unsigned timeMs = 0;
    socklen_t length = sizeof timeMs;
    EXPECT_EQ(getsockopt(accepted, IPPROTO_TCP, TCP_USER_TIMEOUT, &timeMs, &length), 0);
    EXPECT_EQ(timeMs, 20000U);
    close(accepted);
}

TEST_F(ServerTest, ABodyThatIsTooLargeIsRefusedAnnouncedOrNot) {
    ServerSettings settings;
    settings.bodyBytes = 1000;
    start(settings);
    const std::string head = "POST /b HTTP/1.1\r\nHost: a\r\n";
    EXPECT_EQ(RawClient(port).ask(head + "Content-Length: 1000\r\n\r\n" + std::string(1000, 'x')).status, 200);
    EXPECT_EQ(RawClient(port).ask(head + "Content-Length: 1001\r\n\r\n").status, 413);
    EXPECT_EQ(RawClient(port).ask(head + "Content-Length: 99999999999999999999\r\n\r\n").status, 413);
    EXPECT_EQ(RawClient(port)
                  .ask(head + "Transfer-Encoding: chunked\r\n\r\n3e9\r\n" + std::string(1001, 'x') + "\r\n0\r\n\r\n")
                  .status,
              413);
}

TEST_F(ServerTest, AHeadThatIsTooLargeIsRefused) {
    start();
    const std::string line = "X: " + std::string(900, 'x') + "\r\n";
    std::string head = "GET /a HTTP/1.1\r\nHost: a\r\n";
    for (int count = 0; count < 30; ++count) {
        head += line;
    }
    const Reply reply = RawClient(port).ask(head + "\r\n");
    EXPECT_EQ(reply.status, 431);
    EXPECT_EQ(get("/a").status, 200);
}

TEST_F(ServerTest, AHeadOf8192BytesIsTakenAndNotOneByteMore) {
    start();
    const std::string begin = "GET /a HTTP/1.1\r\nHost: a\r\nX: ";
    const std::string end = "\r\n\r\n";
    const std::string filling(8192 - begin.size() - end.size(), 'x');
    EXPECT_EQ(RawClient(port).ask(begin + filling + end).status, 200);
    EXPECT_EQ(RawClient(port).ask(begin + filling + "x" + end).status, 431);
    EXPECT_EQ(RawClient(port).ask(begin + filling + filling.substr(0, 4000) + end).status, 431);
}

TEST_F(ServerTest, ARequestThatTricklesInEndsAfterItsTimeHoweverManyBytesCome) {
    ServerSettings settings;
    settings.requestTime = milliseconds(paced(500));
    start(settings);
    RawClient client(port);
    client.send("GET /a HTTP/1.1\r\nHost: a\r\n");
    const auto begin = std::chrono::steady_clock::now();
    while (client.send("X") && !client.isClosedWithin(50) &&
           std::chrono::steady_clock::now() - begin < milliseconds(paced(4000))) {
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(paced(2000)));
    EXPECT_EQ(client.received(), "");
    // Nor does a body, nor the next request on a connection.
    RawClient second(port);
    EXPECT_EQ(second.ask("GET /a HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
    second.send("POST /b HTTP/1.1\r\nHost: a\r\nContent-Length: 100\r\n\r\nabc");
    EXPECT_TRUE(second.isClosedWithin(paced(2000)));
}

TEST_F(ServerTest, SilentConnectionsEndAndMakeRoom) {
    ServerSettings settings;
    settings.connections = 3;
    settings.requestTime = milliseconds(paced(300));
    start(settings);
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int count = 0; count < 6; ++count) {
        silent.push_back(std::make_unique<RawClient>(port));
    }
    EXPECT_EQ(get("/a").status, 200);
}

TEST_F(ServerTest, OneAddressGetsNoMoreThanItsConnections) {
    ServerSettings settings;
    settings.connectionsPerAddress = 2;
    start(settings);
    RawClient first(port);
    RawClient second(port);
    EXPECT_EQ(first.ask("GET /a HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
    EXPECT_EQ(second.ask("GET /a HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
    EXPECT_TRUE(RawClient(port).isClosedWithin(paced(2000)));
    EXPECT_EQ(RawClient(port, "127.0.0.2").ask("GET /a HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
}

TEST_F(ServerTest, AStreamSendsWhenItIsWokenAndHoldsNoThreadMeanwhile) {
    start();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int count = 0; count < 20; ++count) {
        clients.push_back(std::make_unique<RawClient>(port));
        clients.back()->send("GET /stream HTTP/1.1\r\nHost: a\r\n\r\n");
        ASSERT_EQ(clients.back()->reply().status, 200);
    }
    EXPECT_EQ(get("/a").status, 200);
    ASSERT_TRUE(becomes(site.announcements.asked, 20));
    std::this_thread::sleep_for(milliseconds(200));
    EXPECT_EQ(site.announcements.asked, 20);  // nobody asks over and over
    site.announcements.say("hello");
    server->wakeStreams();
    for (const auto& client : clients) {
        EXPECT_TRUE(client->receiveUntil("hello"));
    }
}

TEST_F(ServerTest, NoWakingIsLostBetweenALookAndTheWait) {
    start();
    site.announcements.whenNothingIsNew = [this] {
        site.announcements.say("just then");
        server->wakeStreams();
    };
    RawClient client(port);
    client.send("GET /stream HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_TRUE(client.receiveUntil("just then"));
}

TEST_F(ServerTest, TheSourceOfAClientThatHasLeftEndsSoonThoughNobodyWakesIt) {
    start();
    {
        RawClient client(port);
        client.send("GET /stream HTTP/1.1\r\nHost: a\r\n\r\n");
        ASSERT_EQ(client.reply().status, 200);
        EXPECT_EQ(site.announcements.listeners, 1);
    }
    EXPECT_TRUE(becomes(site.announcements.listeners, 0, paced(1000)));
}

TEST_F(ServerTest, AClientThatTakesNothingOfAStreamIsGoneAfterItsTime) {
    ServerSettings settings;
    settings.answerTime = milliseconds(paced(500));
    start(settings);
    RawClient stalled(port, "127.0.0.1", 4096);
    stalled.send("GET /endless HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_TRUE(becomes(site.endless, 1));
    EXPECT_TRUE(becomes(site.endless, 0));
    EXPECT_TRUE(stalled.isClosedWithin(paced(2000)));
}

TEST_F(ServerTest, AClientThatReadsSlowlyStays) {
    ServerSettings settings;
    settings.answerTime = milliseconds(paced(1500));
    start(settings);
    RawClient slow(port, "127.0.0.1", 4096);
    slow.send("GET /endless HTTP/1.1\r\nHost: a\r\n\r\n");
    char bytes[20000];
    for (int count = 0; count < 30; ++count) {
        std::this_thread::sleep_for(milliseconds(paced(75)));
        ASSERT_GT(recv(slow.descriptor(), bytes, sizeof bytes, 0), 0);
    }
    EXPECT_EQ(site.endless, 1);
}

TEST_F(ServerTest, AnEndlessAnswerEndsWithTheServer) {
    start();
    RawClient stalled(port, "127.0.0.1", 4096);
    RawClient waiting(port);
    stalled.send("GET /endless HTTP/1.1\r\nHost: a\r\n\r\n");
    waiting.send("GET /stream HTTP/1.1\r\nHost: a\r\n\r\n");
    ASSERT_EQ(waiting.reply().status, 200);
    ASSERT_TRUE(becomes(site.endless, 1));
    server.reset();
    EXPECT_EQ(site.endless, 0);
    EXPECT_EQ(site.announcements.listeners, 0);
}

TEST_F(ServerTest, WhatIsSlowHoldsNobodyElseUp) {
    start();
    RawClient slow(port);
    slow.send("GET /slow HTTP/1.1\r\nHost: a\r\n\r\n");
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(get("/a").status, 200);
    EXPECT_EQ(slow.received(), "");
    release();
    EXPECT_EQ(slow.reply().body, "GET /slow from 127.0.0.1");
}

TEST_F(ServerTest, SlowAnswersThatWaitAreGivenWhenTheServerEnds) {
    start();
    RawClient first(port);
    RawClient second(port);
    for (RawClient* client : {&first, &second}) {
        client->send("GET /slow HTTP/1.1\r\nHost: a\r\n\r\n");
    }
    std::this_thread::sleep_for(milliseconds(50));
    std::thread releasing([this] {
        std::this_thread::sleep_for(milliseconds(50));
        release();
    });
    server.reset();
    releasing.join();
    EXPECT_TRUE(first.isClosedWithin(paced(2000)));
    EXPECT_TRUE(second.isClosedWithin(paced(2000)));
}

TEST_F(ServerTest, ARequestWithoutAHostIsRefused) {
    start();
    EXPECT_EQ(RawClient(port).ask("GET /a HTTP/1.1\r\n\r\n").status, 400);
}

TEST(Listener, KnowsWhetherOthersReachIt) {
    std::string error;
    EXPECT_TRUE(Listener::open("127.0.0.1", 0, &error)->isLoopback());
    EXPECT_TRUE(Listener::open("localhost", 0, &error)->isLoopback());
    const std::unique_ptr<Listener> open = Listener::open("0.0.0.0", 0, &error);
    EXPECT_FALSE(open->isLoopback());
    EXPECT_TRUE(open->isEveryAddress());
    EXPECT_EQ(Listener::open("203.0.113.1", 1, &error), nullptr);
    EXPECT_EQ(error, "203.0.113.1:1: Cannot assign requested address");
}

}  // namespace
}  // namespace ac500::http
