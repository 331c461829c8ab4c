// Every fault of the simulated PLC in every state of a connection, over TCP: the driver from disk, the reference host,
// the simulated PLC in a thread of its own.
#include <mutex>

#include "tests/end_to_end/plant.h"
#include "tests/faults/host_rows.h"
#include "tests/support/places.h"

namespace ac500 {
namespace {

using test::HostRow;
using test::Kind;
using test::State;

constexpr char kSmallProgram[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 64}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "level", "type": "WORD", "area": 1, "offset": 8},
    {"name": "setpoint", "type": "WORD", "area": 1, "offset": 16},
    {"name": "valve", "type": "WORD", "area": 1, "offset": 24}]}]})";

// Replies that come at all come at once, so only what never comes is waited for so long.
constexpr int kShortTimeLimitMs = test::paced(300);
constexpr int kLongTimeLimitMs = 20000;

// What passes from the driver to the host, in words. The driver's functions carry no user pointer.
class DriverDiary {
public:
    // Begins anew. REQUIRES: no session uses an earlier result any more.
    static host::DriverFunctions watch(const host::DriverFunctions& driver) {
        text_.clear();
        driver_ = driver;
        host::DriverFunctions watched = driver;
        watched.registerCallbacks = [](VarDoneCallback varDone, CommFailCallback commFail) noexcept {
            varDone_ = varDone;
            commFail_ = commFail;
            driver_.registerCallbacks(
                [](quint32 station, quint32 hostId, quint32 hostSubId, quint32 outcome) {
                    write(outcome == 1 ? "done" : outcome == 2 ? "lost" : "?");
                    return varDone_(station, hostId, hostSubId, outcome);
                },
                [](QList<RW_VAR>* list, quint32 hostId, quint32 one) {
                    write((list->isEmpty() && one == 1 ? "commFail(" : "?(") + std::to_string(hostId) + ")");
                    return commFail_(list, hostId, one);
                });
        };
        watched.takeReply = [](QByteArray* reply, int received) noexcept {
            RW_VAR* result = driver_.takeReply(reply, received);
            if (result->status != 1 && result->status != 100) {
                write(std::to_string(result->status));
            }
            return result;
        };
        return watched;
    }

    static std::string text() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return text_;
    }

private:
    static void write(const std::string& word) {
        const std::lock_guard<std::mutex> lock(mutex_);
        text_ += (text_.empty() ? "" : " ") + word;
    }

    static inline host::DriverFunctions driver_;
    static inline VarDoneCallback varDone_ = nullptr;
    static inline CommFailCallback commFail_ = nullptr;
    static inline std::mutex mutex_;
    static inline std::string text_;
};

bool isTimedOut(Kind fault) {
    return fault == Kind::Silence || fault == Kind::Late || fault == Kind::Truncate || fault == Kind::Length;
}

bool isRetrying(State state) {
    return state >= State::RetryingHello;
}

bool isOfHandshake(State state) {
    return state == State::BeforeHello || state == State::BeforeSymbols || state == State::RetryingHello ||
           state == State::RetryingSymbols;
}

bool isOnce(State state) {
    return state == State::OncePending || state == State::RetryingOnce;
}

bool isWrite(State state) {
    return state == State::WritePending || state == State::RetryingWrite;
}

sim::Service serviceOf(State state) {
    if (state == State::BeforeHello || state == State::RetryingHello) {
        return sim::Service::Hello;
    }
    if (state == State::BeforeSymbols || state == State::RetryingSymbols) {
        return sim::Service::Symbols;
    }
    return isWrite(state) ? sim::Service::Write : sim::Service::Read;
}

sim::FaultRule atReply(std::uint32_t number, State state, Kind kind, int argument = 0) {
    sim::FaultRule rule;
    rule.fault = {kind, argument};
    rule.service = serviceOf(state);
    rule.trigger = sim::FaultRule::Trigger::At;
    rule.number = number;
    rule.count = 1;
    return rule;
}

// The reply to which the first fault of the row happens, counted by service. Handshakes and the first read of a session
// fail the first time; all others go well once before.
std::uint32_t firstFaultyReply(State state) {
    return isOfHandshake(state) || state == State::AfterSymbols ? 1 : 2;
}

std::vector<sim::FaultRule> rulesOf(const HostRow& row) {
    std::uint32_t reply = firstFaultyReply(row.state);
    std::vector<sim::FaultRule> rules;
    if (isRetrying(row.state)) {
        rules.push_back(atReply(reply++, row.state, isOfHandshake(row.state) ? Kind::Silence : Kind::Status));
    }
    const int lateMs = kShortTimeLimitMs + 50;
    rules.push_back(atReply(reply, row.state, row.fault,
                            row.fault == Kind::Delay    ? 20
                            : row.fault == Kind::Late   ? lateMs
                            : row.fault == Kind::Repeat ? test::paced(100)
                                                        : 0));
    return rules;
}

int timeLimitOf(const HostRow& row) {
    const bool waits = isTimedOut(row.fault) || (isRetrying(row.state) && isOfHandshake(row.state));
    // The first handshake reply takes 206 ms byte by byte.
    const int fragmentsMs = row.fault == Kind::Fragments ? test::paced(600) : 0;
    return waits ? kShortTimeLimitMs + fragmentsMs : kLongTimeLimitMs;
}

class HostFaultsTest : public testing::TestWithParam<HostRow> {
protected:
    HostFaultsTest() {
        plc.write(1, 8, byteString("1234"));
        plc.write(1, 16, byteString("5678"));
        settings.loop.plc.port = plc.port();
        settings.loop.replyTimeout = host::Milliseconds(timeLimitOf(GetParam()));
        settings.loop.cycle = host::Milliseconds(10);
        settings.loop.firstBackOff = host::Milliseconds(5);
        settings.retryLimit = 1;
        settings.writeDeadline = host::Milliseconds(60000);
    }

    void SetUp() override {
        std::string error;
        driver = host::DriverLibrary::load(test::kDriver, &error);
        ASSERT_NE(driver, nullptr) << error;
        functions = DriverDiary::watch(driver->functions());
        session = std::make_unique<host::HostSession>(
            host::HostSession::Parts{functions, table, clock, [] { return std::make_unique<host::TcpTransport>(); }},
            settings);
        ASSERT_TRUE(session->start(&error)) << error;
    }

    host::Tag tag(const char* text) const {
        std::string error;
        return table.find(text, &error).value();
    }

    template <typename Condition>
    void waitFor(const char* what, Condition condition) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << what << " did not happen; " << statistics();
            session->waitForChange(host::Milliseconds(5));
        }
    }

    std::string statistics() const {
        const host::Statistics all = session->status().statistics;
        const auto plural = [](std::int64_t count, const char* what) {
            return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
        };
        std::string text = plural(all.connections, "connection") + ", " + plural(all.handshakes, "handshake");
        const std::pair<const char*, std::int64_t> failures[] = {{"timeouts", all.timeouts},
                                                                 {"refusals", all.refusals},
                                                                 {"bad replies", all.badReplies},
                                                                 {"retries", all.retries},
                                                                 {"abandoned", all.abandoned}};
        for (const auto& [name, count] : failures) {
            text += count == 0 ? "" : std::string(", ") + name + " " + std::to_string(count);
        }
        return text;
    }

    // The three below: one order, to its end. "done" or "failed".
    std::string readOnce() const {
        const std::int32_t serial = session->readOnce(tag("Main.setpoint"));
        const auto step = [&] { return session->order(serial)->step; };
        waitFor("the end of a one-shot read",
                [&] { return step() == host::OrderStep::Succeeded || step() == host::OrderStep::Failed; });
        return step() == host::OrderStep::Succeeded ? "done" : "failed";
    }

    std::string write(const char* value) const {
        const host::Tag valve = tag("Main.valve");
        std::string error;
        const std::int32_t serial =
            session->write(valve, host::parseValues(valve.form, valve.elements, value, &error).value());
        const auto step = [&] { return session->order(serial)->step; };
        waitFor("the end of a write", [&] { return host::hasEnded(step()); });
        return step() == host::OrderStep::Succeeded ? "done" : "failed";
    }

    std::string order(const char* value) const { return isWrite(GetParam().state) ? write(value) : readOnce(); }

    std::string inPlc(std::int64_t offset) const { return hex(plc.read({1, offset, 2})); }

    std::string shown(const char* text) const {
        const host::TagValue value = session->value(tag(text));
        return value.isKnown ? host::formatValues(tag(text).form, value.values) : "unknown";
    }

    // Until the repeat of a reply has cost the connection and the next one is at work.
    void waitForRepeat() const {
        waitFor("the repeat", [&] { return session->status().statistics.badReplies == 1; });
        waitFor("the next session", [&] {
            const host::SessionStatus status = session->status();
            return status.statistics.handshakes == 2 && status.isOnline;
        });
    }

    // Reads in every cycle until the faults are over and two more passes went well.
    void pollThroughTheFault() {
        session->poll({tag("Main.level")});
        const std::uint64_t faults = rulesOf(GetParam()).size();
        waitFor("the fault", [&] { return plc.counters().faults == faults; });
        if (GetParam().fault == Kind::Repeat) {
            waitForRepeat();
        }
        const std::uint64_t reads = plc.counters().reads;
        waitFor("the next read", [&] { return plc.counters().reads > reads + 2 && session->status().isOnline; });
        waitFor("the value", [&] { return session->value(tag("Main.level")).state == host::ValueState::Fresh; });
        EXPECT_EQ(shown("Main.level"), "0x1234");
    }

    void orderThroughTheFault() {
        EXPECT_EQ(order("1"), "done") << "before the fault";
        EXPECT_EQ(order("2"), GetParam().outcome);
        if (GetParam().fault == Kind::Repeat) {
            session->poll({tag("Main.level")});
            waitForRepeat();
        }
        if (isWrite(GetParam().state)) {
            EXPECT_EQ(inPlc(24), "00 02") << "what the PLC has done, it has done";
        }
        EXPECT_EQ(order("3"), "done") << "after the fault";
        EXPECT_EQ(isWrite(GetParam().state) ? inPlc(24) : inPlc(16), isWrite(GetParam().state) ? "00 03" : "56 78");
    }

    const SymbolFile file = programOf(kSmallProgram);
    sim::EmbeddedSimulator plc{file, {1, rulesOf(GetParam())}};
    const host::TagTable table{file};
    host::SteadyClock clock;
    host::SessionSettings settings;
    std::unique_ptr<host::DriverLibrary> driver;
    host::DriverFunctions functions;
    std::unique_ptr<host::HostSession> session;  // last: ends before what it uses
};

std::string nameOfRow(const testing::TestParamInfo<HostRow>& info) {
    return test::nameOf(info.param.state) + "_" + test::nameOf(info.param.fault);
}

TEST(HostFaultTable, HasEveryFaultInEveryState) {
    EXPECT_EQ(test::gapsIn(test::kHostRows,
                           {State::BeforeHello, State::BeforeSymbols, State::AfterSymbols, State::CyclicPending,
                            State::OncePending, State::WritePending, State::RetryingHello, State::RetryingSymbols,
                            State::RetryingCyclic, State::RetryingOnce, State::RetryingWrite}),
              "");
}

INSTANTIATE_TEST_SUITE_P(Rows, HostFaultsTest, testing::ValuesIn(test::kHostRows), nameOfRow);

TEST_P(HostFaultsTest, Row) {
    const HostRow& row = GetParam();
    if (isOnce(row.state) || isWrite(row.state)) {
        orderThroughTheFault();
    } else {
        pollThroughTheFault();
    }
    EXPECT_EQ(statistics(), row.statistics);
    EXPECT_EQ(DriverDiary::text(), row.driver);
    EXPECT_EQ(plc.counters().faults, isRetrying(row.state) ? 2U : 1U);
    EXPECT_EQ(plc.counters().refused, 0U) << "the PLC did not take a request";
}

}  // namespace

namespace test {
void PrintTo(const HostRow& row, std::ostream* out) {
    *out << nameOf(row.state) << "_" << nameOf(row.fault);
}
}  // namespace test

}  // namespace ac500
