// The reference host's session, used by several threads while its own loop thread works.
#include "tools/host/host_session.h"
#include "tests/support/linked_driver.h"
#include "tests/threads/plant.h"
#include "tools/host/value_codec.h"

namespace ac500::test {
namespace {

// Hands each request to the model of a PLC and keeps the reply until it is asked for. Loop thread.
class ModelTransport : public host::Transport {
public:
    explicit ModelTransport(sim::PlcModel& plc) : plc_(plc) {}

    void connect(const host::Endpoint&) override { reply_.clear(); }
    host::ConnectResult waitConnected(host::Milliseconds) override { return {host::ConnectStatus::Connected, {}}; }
    bool send(const QByteArray& bytes) override {
        for (const sim::DeliveryStep& step : plc_.serve(bytes.toStdString()).delivery.steps) {
            reply_.append(step.bytes.data(), static_cast<int>(step.bytes.size()));
        }
        return true;
    }
    host::ReceiveResult receive(host::Milliseconds timeout) override {
        if (!reply_.isEmpty()) {
            return {host::ReceiveStatus::Data, std::exchange(reply_, QByteArray()), {}};
        }
        std::this_thread::sleep_for(timeout);
        return {};
    }
    void close() override { reply_.clear(); }

private:
    sim::PlcModel& plc_;
    QByteArray reply_;
};

class HostSessionThreads : public DriverTest {
protected:
    static host::SessionSettings quickSettings() {
        host::SessionSettings settings;
        settings.loop.cycle = host::Milliseconds(1);
        settings.loop.replyTimeout = host::Milliseconds(20);
        settings.loop.firstBackOff = host::Milliseconds(1);
        settings.loop.longestBackOff = host::Milliseconds(5);
        return settings;
    }

    host::Tag tag(const char* text) const {
        std::string error;
        return table.find(text, &error).value();
    }

    std::int32_t write(const host::Tag& what, int value) {
        std::string error;
        return session.write(what, host::parseValues(what.form, what.elements, std::to_string(value), &error).value());
    }

    template <typename Ended>
    void waitForEnd(Ended ended) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!ended()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            session.waitForChange(host::Milliseconds(5));
        }
    }

    const SymbolFile file = parseSymbolFile(kProgram).file;
    const host::TagTable table{file};
    std::string faultError;
    sim::PlcModel plc{file,
                      {1, {sim::parseFaultRule("silence:every=40,count=5", &faultError).value()}}};  // loop thread
    host::SteadyClock clock;
    host::SessionSettings sessionSettings = quickSettings();
    const host::DriverFunctions driver = test::linkedDriver();
    host::HostSession session{{driver, table, clock, [this] { return std::make_unique<ModelTransport>(plc); }},
                              sessionSettings};
};

TEST_F(HostSessionThreads, EveryOrderOfEveryThreadComesToAnEnd) {
    std::string error;
    ASSERT_TRUE(session.start(&error)) << error;
    const host::Tag beat = tag("Main.beat");
    const host::Tag words = tag("Main.words");
    session.poll({beat, words});

    const auto writer = [&](const char* text) {
        const host::Tag what = tag(text);
        for (int value = 1; value <= 50; ++value) {
            const std::int32_t serial = write(what, what.form.isBit ? value % 2 : value);
            waitForEnd([&] { return host::hasEnded(session.order(serial)->step); });
        }
    };
    const auto reader = [&] {
        for (int round = 0; round < 50; ++round) {
            const std::int32_t serial = session.readOnce(tag("Main.text"));
            waitForEnd([&] { return session.order(serial)->step >= host::OrderStep::Succeeded; });
        }
    };
    const auto watcher = [&] {
        for (int round = 0; round < 200; ++round) {
            session.value(beat);
            session.value(words);
            session.status();
            session.eventsSince(0);
            std::string reason;
            EXPECT_TRUE(session.driverKnows(words, &reason)) << reason;
            session.waitForChange(host::Milliseconds(1));
        }
    };
    const auto chooser = [&] {
        for (int round = 0; round < 50; ++round) {
            session.poll(round % 2 == 0 ? std::vector<host::Tag>{beat} : std::vector<host::Tag>{beat, words});
            session.waitForChange(host::Milliseconds(2));
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(writer, "Main.words[10]");
    threads.emplace_back(writer, "Main.words[20]");
    threads.emplace_back(writer, "Main.flags.b[3]");
    threads.emplace_back(reader);
    threads.emplace_back(watcher);
    threads.emplace_back(chooser);
    for (std::thread& thread : threads) {
        thread.join();
    }
    // The last of each may have failed: some replies never came.
    waitForEnd([&] { return session.status().isOnline; });
    const std::int32_t serial = write(tag("Main.words[10]"), 4660);
    waitForEnd([&] { return host::hasEnded(session.order(serial)->step); });
    EXPECT_EQ(session.order(serial)->step, host::OrderStep::Succeeded);
    session.stop();
    EXPECT_EQ(plc.memory().read({1, 18, 2}), std::string("\x12\x34"));
    EXPECT_GT(plc.counters().faults, 0U);
}

}  // namespace
}  // namespace ac500::test
