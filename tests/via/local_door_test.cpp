// What clients of the socket do that are not ours.
#include <sys/resource.h>
#include <sys/stat.h>

#include <ctime>

#include "tests/via/door_plant.h"

namespace ac500 {
namespace {

using test::RawClient;
using testing::HasSubstr;
using via::Json;

class LocalDoorTest : public test::DoorTest {
protected:
    // Is a client that behaves served as before?
    void expectServed() const {
        RawClient client(path());
        EXPECT_EQ(client.hear()["ac500_gateway"], 1);
        ASSERT_TRUE(client.say("{\"id\":1,\"do\":\"find\",\"tags\":[\"Main.int\",\"Main.nothing\"]}\n"));
        const Json answer = client.hear();
        EXPECT_EQ(answer["id"], 1);
        ASSERT_EQ(answer["problems"].size(), 1U);
        EXPECT_THAT(answer["problems"][0].get<std::string>(), HasSubstr("\"nothing\""));
    }
};

TEST_F(LocalDoorTest, TheFirstLineSaysWhoItIs) {
    settings.audit = folder.path() + "/audit.jsonl";
    openDoor();
    RawClient client(path());
    const Json hello = client.hear();
    EXPECT_EQ(hello["ac500_gateway"], 1);
    EXPECT_EQ(hello["build"], "1.2.3");
    EXPECT_EQ(hello["plc"], settings.session.loop.plc.text());
    EXPECT_EQ(hello["symbols"], settings.symbols);
    EXPECT_EQ(hello["fingerprint"], plant->fingerprint());
    EXPECT_EQ(hello["audit"], settings.audit);
    EXPECT_EQ(hello["settings"]["cycle_ms"], 10);
}

TEST_F(LocalDoorTest, GarbageIsAnsweredAndItsSenderLetGo) {
    openDoor();
    for (const std::string& garbage :
         {std::string("GET / HTTP/1.1\n"), std::string("{}\n"), std::string("\n"), std::string("[1]\n"),
          std::string("\0\xff\x80\n", 4), std::string("{\"id\":\"1\",\"do\":\"news\"}\n")}) {
        RawClient client(path());
        client.hear();
        ASSERT_TRUE(client.say(garbage));
        EXPECT_THAT(client.hear().dump(), HasSubstr("a line is no request")) << garbage;
        EXPECT_TRUE(client.isLetGo()) << garbage;
    }
    expectServed();
}

TEST_F(LocalDoorTest, ALineThatDoesNotEndIsCutOff) {
    openDoor();
    RawClient client(path());
    client.hear();
    client.say(std::string(via::kLongestRequest + 70000, 'x'));
    EXPECT_TRUE(client.isLetGo());
    expectServed();
}

TEST_F(LocalDoorTest, ADeeplyNestedLineIsNoRequest) {
    openDoor();
    constexpr std::size_t kDepth = via::kLongestRequest / 2 - 20;
    const std::string nest = std::string(kDepth, '[') + std::string(kDepth, ']');
    for (const std::string& line : {nest, "{\"id\":" + nest + "}", "{\"id\":1,\"do\":" + nest + "}"}) {
        RawClient client(path());
        client.hear();
        client.say(line + "\n");
        EXPECT_THAT(client.hear().dump(), HasSubstr("a line is no request"));
        EXPECT_TRUE(client.isLetGo());
    }
    expectServed();
}

TEST_F(LocalDoorTest, AReadingOfWhatIsNoTagEndsWithItsReason) {
    openDoor();
    RawClient client(path());
    client.hear();
    ASSERT_TRUE(
        client.say("{\"id\":1,\"do\":\"read\",\"order\":7,\"tag\":\"Main.nothing\"}\n{\"id\":2,\"do\":\"news\"}\n"));
    Json news = client.hear();
    for (int id = 3; !news.contains("ended") && id < 20; ++id) {
        ASSERT_TRUE(client.say("{\"id\":" + std::to_string(id) + ",\"do\":\"news\"}\n"));
        news = client.hear();
    }
    ASSERT_EQ(news["ended"].size(), 1U);
    EXPECT_EQ(news["ended"][0]["order"], 7);
    EXPECT_THAT(news["ended"][0]["failure"]["text"].dump(), HasSubstr("Main.nothing"));
    EXPECT_FALSE(news["ended"][0].contains("value"));
}

TEST_F(LocalDoorTest, ValuesThatAreToldCountAsPublished) {
    openDoor();
    RawClient client(path());
    client.hear();
    const std::uint64_t before = plant->valueCounts().published;
    ASSERT_TRUE(client.say("{\"id\":1,\"do\":\"watch\",\"tags\":[\"Main.int\",\"Main.on\"]}\n"));
    client.hear();
    std::size_t told = 0;
    for (int id = 2; told < 2 && id < 100; ++id) {
        ASSERT_TRUE(client.say("{\"id\":" + std::to_string(id) + ",\"do\":\"news\"}\n"));
        const Json news = client.hear();
        told += news.contains("values") ? news["values"].size() : 0;
    }
    EXPECT_GE(told, 2U);
    EXPECT_EQ(plant->valueCounts().published - before, told);
}

TEST_F(LocalDoorTest, MoreWritesThanMayWaitAreRefused) {
    openDoor();
    RawClient client(path());
    client.hear();
    // Nobody asks for the news of how they ended; half of them are of no tag, and end at once.
    std::string requests;
    for (int order = 0; order < 257; ++order) {
        requests += "{\"id\":" + std::to_string(1000 + order) + ",\"do\":\"write\",\"order\":" + std::to_string(order) +
                    ",\"tag\":\"" + (order % 2 == 0 ? "Main.int" : "Main.nothing") + "\",\"values\":\"1\"}\n";
    }
    ASSERT_TRUE(client.say(requests));
    const Json refusal = client.hear();
    EXPECT_EQ(refusal["id"], 1256);
    EXPECT_EQ(refusal["error"]["what"], "more than 256 writes wait already");
    // Once they are told of there is room again.
    std::size_t told = 0;
    for (int id = 1; told < 256 && id < 1000; ++id) {
        ASSERT_TRUE(client.say("{\"id\":" + std::to_string(id) + ",\"do\":\"news\"}\n"));
        const Json news = client.hear();
        ASSERT_EQ(news["id"], id);
        told += news.contains("writes") ? news["writes"].size() : 0;
    }
    EXPECT_EQ(told, 256U);
    ASSERT_TRUE(
        client.say("{\"id\":2000,\"do\":\"write\",\"order\":1,\"tag\":\"Main.int\",\"values\":\"2\"}\n{\"id\":2001,"
                   "\"do\":\"find\"}\n"));
    EXPECT_EQ(client.hear()["id"], 2001);
}

TEST_F(LocalDoorTest, WhatWasSentWaitsWhileTheAnswersAreNotTaken) {
    openDoor();
    RawClient client(path());
    client.hear();
    // They come in a few pieces, and their answers are more than may wait.
    constexpr int kRequests = 2500;
    std::string requests;
    for (int i = 0; i < kRequests; ++i) {
        requests += "{\"id\":1,\"do\":\"latency\"}\n";
    }
    ASSERT_TRUE(
        client.say(requests + "{\"id\":2,\"do\":\"write\",\"order\":1,\"tag\":\"Main.int\",\"values\":\"7\"}\n"));
    expectServed();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_NE(shown("Main.int"), "fresh 7");
    for (int i = 0; i < kRequests; ++i) {
        ASSERT_EQ(client.hear()["id"], 1) << i;
    }
    EXPECT_TRUE(eventuallyShown("Main.int", "fresh 7"));
}

TEST_F(LocalDoorTest, WhileNoDescriptorIsLeftItWaitsAndThenLetsIn) {
    settings.session.loop.cycle = host::Milliseconds(100);
    settings.session.loop.replyTimeout = host::Milliseconds(60000);
    openDoor();
    RawClient first(path());
    first.hear();
    // A session that is still connecting takes descriptors and gives them back.
    ASSERT_TRUE(test::eventually([&] { return plant->status().isOnline; }));
    std::string error;
    const std::optional<sockaddr_un> address = via::socketAddress(path(), &error);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few{static_cast<rlim_t>(descriptor) + 16, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    std::vector<int> taken;
    for (int one = ::dup(descriptor); one >= 0; one = ::dup(descriptor)) {
        taken.push_back(one);
    }
    const int connected = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    const double seconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    const std::size_t clients = door->clients();
    for (const int one : taken) {
        ::close(one);
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(connected, 0);
    EXPECT_EQ(clients, 1U);
    EXPECT_LT(seconds, 0.3) << "of the processor's time within a second";
    EXPECT_TRUE(test::eventually([&] { return door->clients() == 2; }));
    ::close(descriptor);
    expectServed();
}

TEST_F(LocalDoorTest, AnUnknownRequestIsAnErrorAndTheConnectionGoesOn) {
    openDoor();
    RawClient client(path());
    client.hear();
    ASSERT_TRUE(
        client.say("{\"id\":7,\"do\":\"dance\"}\n{\"id\":8,\"do\":\"read\",\"order\":1,\"tag\":3}\n"
                   "{\"id\":9,\"do\":\"read\",\"tag\":\"Main.int\"}\n{\"id\":10,\"do\":\"find\"}\n"));
    EXPECT_EQ(client.hear()["error"]["what"], "there is no request \"dance\"");
    EXPECT_EQ(client.hear()["error"]["what"], "the name of a tag is no text");
    EXPECT_EQ(client.hear()["error"]["what"], "a reading needs an order number of its own");
    EXPECT_EQ(client.hear()["problems"], Json::array());
}

TEST_F(LocalDoorTest, NewsComeWhenThereAreSomeAndTheLatestValueAlone) {
    openDoor();
    put("Main.int", 5);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 5"));
    RawClient client(path());
    client.hear();
    ASSERT_TRUE(client.say("{\"id\":1,\"do\":\"watch\",\"tags\":[\"Main.int\"]}\n{\"id\":2,\"do\":\"news\"}\n"));
    EXPECT_EQ(client.hear()["id"], 1);
    const Json first = client.hear();
    EXPECT_EQ(first["id"], 2);
    EXPECT_EQ(first["watch"], 1);
    ASSERT_EQ(first["values"].size(), 1U);
    EXPECT_EQ(first["values"][0]["values"], "5");
    EXPECT_EQ(first["values"][0]["state"], "fresh");
    for (const int value : {6, 7, 8}) {
        put("Main.int", value);
        ASSERT_TRUE(eventuallyShown("Main.int", "fresh " + std::to_string(value)));
    }
    ASSERT_TRUE(client.say("{\"id\":3,\"do\":\"news\"}\n"));
    const Json second = client.hear();
    ASSERT_EQ(second["values"].size(), 1U);
    EXPECT_EQ(second["values"][0]["values"], "8");
}

TEST_F(LocalDoorTest, WhoVanishesLeavesNothingBehind) {
    settings.tags = {"Main.int"};
    openDoor();
    for (int i = 0; i < 50; ++i) {
        RawClient client(path());
        client.say(
            "{\"id\":1,\"do\":\"watch\",\"tags\":[\"Pump.speed\"]}\n{\"id\":2,\"do\":\"news\"}\n"
            "{\"id\":3,\"do\":\"read\",\"order\":1,\"tag\":\"Main.real\"}\n");
    }
    EXPECT_TRUE(test::eventually([&] { return RawClient(path()).hear().contains("ac500_gateway"); }));
    EXPECT_TRUE(test::eventually([&] { return door->clients() == 0; }));
    expectServed();
}

TEST_F(LocalDoorTest, OneMoreThanThereIsRoomForIsToldSo) {
    doorSettings.clients = 2;
    openDoor();
    RawClient first(path());
    RawClient second(path());
    first.hear();
    second.hear();
    RawClient third(path());
    EXPECT_EQ(third.hear()["error"]["what"], "2 programs use it already, which is the most");
    EXPECT_TRUE(third.isLetGo());
    const test::HostOutcome outcome = hostVia({"read", "Main.int"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error, "tcp: the gateway at " + path() +
                                 ": 2 programs use it already, which is the most; end one of them, and try again\n");
    first.leave();
    ASSERT_TRUE(test::eventually([&] { return door->clients() == 1; }));
    expectServed();
}

TEST_F(LocalDoorTest, WhoTakesNothingIsLetGoAndHoldsUpNobody) {
    doorSettings.untilStalled = host::Milliseconds(300);
    openDoor();
    RawClient client(path());
    std::string requests;
    for (int i = 0; i < 20000; ++i) {
        requests += "{\"id\":1,\"do\":\"latency\"}\n";
    }
    EXPECT_FALSE(client.say(requests));
    expectServed();
    EXPECT_TRUE(test::eventually([&] { return door->clients() == 0; }));
}

TEST_F(LocalDoorTest, WhoAsksForNothingIsLetGo) {
    doorSettings.untilIdle = host::Milliseconds(200);
    openDoor();
    RawClient client(path());
    EXPECT_TRUE(client.isLetGo());
}

TEST_F(LocalDoorTest, TheFileHasTheModeOfTheSettingsAndGoesWithTheDoor) {
    doorSettings.mode = 0600;
    openDoor();
    struct stat found {};
    ASSERT_EQ(::stat(path().c_str(), &found), 0);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
    EXPECT_EQ(found.st_mode & 07777U, 0600U);
    door->close();
    EXPECT_NE(::stat(path().c_str(), &found), 0);
}

TEST_F(LocalDoorTest, ASocketThatWasLeftBehindIsReplacedAndNothingElse) {
    openDoor();
    host::Failure failure;
    gateway::LocalDoor second(*plant, doorSettings);
    EXPECT_FALSE(second.open(&failure));
    EXPECT_EQ(failure.text, path() + ": another process listens there; give each gateway a socket of its own");
    RawClient(path()).hear();
    gateway::LocalDoorSettings onFile = doorSettings;
    onFile.path = settings.symbols;
    gateway::LocalDoor third(*plant, onFile);
    EXPECT_FALSE(third.open(&failure));
    EXPECT_EQ(failure.text,
              settings.symbols + ": something else than a socket is there, and is left alone; name another path");
    gateway::LocalDoorSettings onLong = doorSettings;
    onLong.path = folder.path() + "/" + std::string(100, 'x');
    gateway::LocalDoor fourth(*plant, onLong);
    EXPECT_FALSE(fourth.open(&failure));
    EXPECT_THAT(failure.text, HasSubstr("the path of a socket has at most 107 bytes, this one "));

    const std::string left = folder.path() + "/left.sock";
    std::string error;
    const std::optional<sockaddr_un> address = via::socketAddress(left, &error);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
    ::close(descriptor);
    gateway::LocalDoorSettings onLeft = doorSettings;
    onLeft.path = left;
    gateway::LocalDoor fifth(*plant, onLeft);
    EXPECT_TRUE(fifth.open(&failure)) << failure.text;
}

TEST_F(LocalDoorTest, ASocketThatAProcessIsTooBusyToAnswerOnIsLeftAlone) {
    start();
    std::string error;
    const std::optional<sockaddr_un> address = via::socketAddress(path(), &error);
    const auto connect = [&](int type) {
        const int descriptor = ::socket(AF_UNIX, type | SOCK_NONBLOCK, 0);
        if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
            ::close(descriptor);
            return -1;
        }
        return descriptor;
    };
    const auto bound = [&](int type) {
        const int descriptor = ::socket(AF_UNIX, type, 0);
        EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
        return descriptor;
    };
    const auto problem = [&] {
        host::Failure failure;
        gateway::LocalDoor refused(*plant, doorSettings);
        EXPECT_FALSE(refused.open(&failure));
        struct stat found {};
        EXPECT_EQ(::stat(path().c_str(), &found), 0) << "it is still there";
        return failure.text;
    };
    const int busy = bound(SOCK_STREAM);
    ASSERT_EQ(::listen(busy, 0), 0);
    std::vector<int> waiting;
    for (int one = connect(SOCK_STREAM); one >= 0; one = connect(SOCK_STREAM)) {
        waiting.push_back(one);
    }
    EXPECT_EQ(problem(), path() + ": another process listens there; give each gateway a socket of its own");
    waiting.push_back(busy);
    for (const int one : waiting) {
        ::close(one);
    }
    ::unlink(path().c_str());
    const int datagrams = bound(SOCK_DGRAM);
    EXPECT_THAT(problem(), HasSubstr("whether another process listens there cannot be told: Protocol wrong type"));
    ::close(datagrams);
}

}  // namespace
}  // namespace ac500
