// A gateway with all its doors open: browsers, programs at the socket, a broker and its commands, and who asks the plant, all
// at once, while one door after the other closes under their feet.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/broker/mosquitto_process.h"
#include "tests/broker/mqtt_subscriber.h"
#include "tests/http/raw_client.h"
#include "tests/support/places.h"
#include "tests/threads/model_plc.h"
#include "tools/gateway/broker_door.h"
#include "tools/gateway/local_door.h"
#include "tools/gateway/page_door.h"
#include "tools/gateway/plant.h"
#include "tools/host/via/via_session.h"
#include "tools/text/utc.h"

namespace ac500::test {
namespace {

using gateway::BrokerDoor;
using gateway::LocalDoor;
using gateway::PageDoor;
using gateway::Plant;
using host::Milliseconds;

constexpr char kManyWords[] = R"~({
  "format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 4096}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "level", "type": "INT", "area": 1, "offset": 0, "unit": "m", "scale": {"factor": 0.01}},
    {"name": "count", "type": "INT", "area": 1, "offset": 2},
    {"name": "text", "type": "STRING(10)", "area": 1, "offset": 10},
    {"name": "words", "type": "INT", "area": 1, "offset": 100, "array": [[1, 200]]}]}]})~";

class GatewayThreadsTest : public testing::Test {
protected:
    // Done over and over on a thread of its own until the end.
    void atOnce(std::function<void(int round)> work) {
        threads_.emplace_back([this, work = std::move(work)] {
            for (int round = 1; !isOver_; ++round) {
                work(round);
            }
        });
    }
    void end() {
        isOver_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }
    ~GatewayThreadsTest() override { end(); }

    void openPlant() {
        gateway::PlantSettings settings;
        settings.name = "Plant 1";
        settings.symbols = folder.file("plant.json", kManyWords);
        settings.driver = kDriver;
        settings.tags = {"Main"};
        settings.writableTags = {"Main"};
        settings.keptTags = {"Main.level", "Main.count"};
        settings.audit = folder.path() + "/audit.jsonl";
        settings.record.memoryBytes = 1 << 20;
        settings.session.loop.plc = {"127.0.0.1", plc.port()};
        settings.session.loop.cycle = Milliseconds(5);
        settings.session.loop.replyTimeout = Milliseconds(60000);
        host::Failure failure;
        plant = Plant::open(settings, &failure);
        ASSERT_NE(plant, nullptr) << failure.text;
        ASSERT_TRUE(plant->start(&failure)) << failure.text;
        ASSERT_TRUE(eventually([&] { return plant->status().isOnline; }));
    }
    void openPage() {
        gateway::PageSettings settings;
        settings.port = 0;
        std::string error;
        page = PageDoor::open({*plant, settings, "", [](events::EventId, const std::string&) {},
                               [this] { return local->clients(); }, [this] { return broker->figures(); }},
                              &error);
        ASSERT_NE(page, nullptr) << error;
        pagePort = page->port();
    }
    void openLocal() {
        gateway::LocalDoorSettings settings;
        settings.path = folder.path() + "/plant.sock";
        settings.build = "1.2.3";
        local = std::make_unique<LocalDoor>(*plant, settings);
        host::Failure failure;
        ASSERT_TRUE(local->open(&failure)) << failure.text;
    }
    void openBroker() {
        atBroker.servers = {{"127.0.0.1", mosquitto.port(), false}};
        atBroker.client = "gateway";
        atBroker.topic = "plant";
        atBroker.keep.file = folder.path() + "/store";
        atBroker.commandTags = {"Main.count"};
        host::Failure failure;
        broker = BrokerDoor::open(
            {*plant, atBroker, "c0ffee", "1.2.3", [this](events::EventId, const std::string&) { ++told; }}, &failure);
        ASSERT_NE(broker, nullptr) << failure.text;
    }

    Reply ask(const std::string& method, const std::string& path, const std::string& body = "") const {
        const std::string own = "127.0.0.1:" + std::to_string(pagePort);
        return RawClient(pagePort).ask(method + " " + path + " HTTP/1.1\r\nHost: " + own + "\r\nOrigin: http://" + own +
                                       "\r\nSec-Fetch-Site: same-origin\r\nContent-Type: application/json\r\n" +
                                       "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    std::size_t number(const std::string& tag) const { return plant->numberOf(tag).value_or(0); }

    // What each of them does. False once its door is closed.
    bool lookAtPage() {
        for (const char* path :
             {"/", "/metrics", "/api/plant", "/api/events", "/api/timeline", "/api/latency", "/api/plan.svg"}) {
            if (ask("GET", path).status != 200) {
                return false;
            }
        }
        const std::string range = "tag=" + std::to_string(number("Main.level")) + "&from=0&to=1000000";
        return ask("GET", "/api/trend?" + range + "&columns=10").status == 200 &&
               ask("GET", "/api/trend.csv?" + range).status == 200;
    }
    bool watchStream() {
        RawClient stream(pagePort, "127.0.0.2");
        const std::string own = "127.0.0.1:" + std::to_string(pagePort);
        stream.send("GET /api/stream HTTP/1.1\r\nHost: " + own + "\r\n\r\n");
        if (!stream.receiveUntil("\"stream\":\"") || !stream.receiveUntil("\"utc\"")) {
            return false;
        }
        const std::size_t begin = stream.received().find("\"stream\":\"") + 10;
        const std::string id = stream.received().substr(begin, stream.received().find('"', begin) - begin);
        const std::string tags = std::to_string(number("Main.words")) + "," + std::to_string(number("Main.count"));
        ask("POST", "/api/watch", R"({"stream":")" + id + R"(","tags":[)" + tags + "]}");
        return stream.receiveUntil("event: picture") && stream.receiveUntil("event: changes");
    }
    void useSocket(int round) {
        host::SteadyClock clock;
        host::Failure failure;
        const std::unique_ptr<via::ViaSession> session =
            via::ViaSession::connect(folder.path() + "/plant.sock", clock, Milliseconds(5000), &failure);
        if (session == nullptr || !session->begin(plant->symbols(), Milliseconds(20000), &failure)) {
            return;
        }
        const host::Tag words = plant->tags()[number("Main.words")].tag;
        session->poll({words});
        host::WriteRequest request;
        request.tag = plant->tags()[number("Main.level")].tag;
        request.values = {std::int64_t{round % 1000}};
        const host::WriteTicket ticket = session->order(request);
        const std::int32_t reading = session->readOnce(words);
        const auto hasEnded = [&] {
            return session->report(ticket)->outcome != host::WriteOutcome::Pending &&
                   host::hasEnded(session->order(reading)->step);
        };
        EXPECT_TRUE(eventually(hasEnded));
        session->latencies();
        writesBySocket += session->report(ticket)->outcome == host::WriteOutcome::Done ? 1 : 0;
    }
    void writeHere(int round) {
        host::Failure failure;
        const std::optional<host::WriteTicket> ticket = plant->write(
            {number("Main.words"), host::HostValues(200, std::int64_t{round % 1000}), {}, {}, "", "anna"}, &failure);
        ASSERT_TRUE(ticket) << failure.text;
        EXPECT_TRUE(eventually([&] { return plant->report(*ticket)->outcome != host::WriteOutcome::Pending; }));
        EXPECT_EQ(plant->report(*ticket)->outcome, host::WriteOutcome::Done) << plant->report(*ticket)->failure.text;
        ++writesHere;
    }
    static std::string command(int id) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const nlohmann::json command{{"id", std::to_string(id)},
                                     {"tag", "Main.count"},
                                     {"value", id % 100},
                                     {"issued", text::utcTextOf(std::chrono::duration_cast<Milliseconds>(now).count())},
                                     {"expires", 60000}};
        return command.dump();
    }
    void lookAtPlant() {
        const std::size_t series = plant->tags()[number("Main.level")].series;
        const Milliseconds now = std::chrono::duration_cast<Milliseconds>(plant->now());
        plant->trend().samples(series, {Milliseconds(0), now}, 1000);
        plant->latencies();
        plant->valueCounts();
        plant->countByState();
        plant->auditProblems();
        plant->takeRecorderMessages();
        plant->eventsSince(0);
        EXPECT_EQ(plant->changedSince(0, {number("Main.words")}).size(), 1U);
    }

    const TemporaryFolder folder;
    ModelPlc plc{symbol_file::parseSymbolFile(kManyWords).file};
    MosquittoProcess mosquitto;
    broker::BrokerSettings atBroker;
    std::unique_ptr<Plant> plant;
    std::unique_ptr<LocalDoor> local;
    std::unique_ptr<BrokerDoor> broker;
    std::unique_ptr<PageDoor> page;
    std::uint16_t pagePort = 0;
    std::atomic<int> told{0};
    std::atomic<int> looks{0};
    std::atomic<int> pictures{0};
    std::atomic<int> writesBySocket{0};
    std::atomic<int> writesHere{0};
    std::atomic<int> reloads{0};
    std::atomic<bool> isBrokerOpen{true};

private:
    std::atomic<bool> isOver_{false};
    std::vector<std::thread> threads_;
};

TEST_F(GatewayThreadsTest, AllDoorsAreUsedAtOnceAndCloseOneAfterTheOther) {
    ASSERT_TRUE(mosquitto.start());
    MqttSubscriber subscriber(mosquitto.port(), "plant/#");
    openPlant();
    openLocal();
    openBroker();
    openPage();
    if (HasFatalFailure()) {
        return;
    }
    atOnce([this](int) { looks += lookAtPage() ? 1 : 0; });
    atOnce([this](int) { pictures += watchStream() ? 1 : 0; });
    atOnce([this](int round) { useSocket(round); });
    atOnce([this](int round) { useSocket(round); });
    atOnce([this](int round) { writeHere(round); });
    atOnce([this](int) { lookAtPlant(); });
    atOnce([this](int round) {
        if (isBrokerOpen) {
            broker::BrokerSettings changed = atBroker;
            changed.report = {{{"Main.count"}, {static_cast<double>(round % 5), Milliseconds(0), Milliseconds(0)}}};
            host::Failure failure;
            EXPECT_TRUE(broker->reload(changed, "", &failure) || !isBrokerOpen) << failure.text;
            ++reloads;
        }
        std::this_thread::sleep_for(Milliseconds(5));
    });
    // Nobody is told when the broker has taken the gateway's subscription: a command before it is lost.
    atOnce([&](int round) {
        const std::size_t before = subscriber.on("plant/outcome").size();
        subscriber.publish("plant/command", command(round));
        for (int look = 0; look < 200 && subscriber.on("plant/outcome").size() == before; ++look) {
            std::this_thread::sleep_for(Milliseconds(5));
        }
    });
    const auto hasOutcomes = [&] { return subscriber.on("plant/outcome").size() >= 3; };
    const auto hasAll = [&] {
        return looks >= 3 && pictures >= 3 && writesBySocket >= 6 && writesHere >= 10 && reloads >= 10 && hasOutcomes();
    };
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!hasAll() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(Milliseconds(20));
    }
    EXPECT_TRUE(hasAll()) << looks << " looks, " << pictures << " pictures, " << writesBySocket << " and " << writesHere
                          << " writes, " << reloads << " reloads, " << subscriber.on("plant/outcome").size()
                          << " commands";
    EXPECT_EQ(subscriber.last("plant/outcome", "outcome"), "done") << subscriber.last("plant/outcome", "text");
    local->close();
    page.reset();
    isBrokerOpen = false;
    broker->end();
    end();
    EXPECT_GT(told, 0);
    EXPECT_EQ(broker->figures().isConnected, false);
    broker.reset();
    plant->stop();
}

}  // namespace
}  // namespace ac500::test
