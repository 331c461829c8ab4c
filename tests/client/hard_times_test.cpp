// A PLC that says nothing, a link that goes, handles that are none, memory that runs out, and ends that come early.
#include <cstdlib>
#include <filesystem>
#include <new>

#include "tests/client/client_plant.h"
#include "tests/support/hostile_plc.h"

namespace {

// Allocations of this thread that still succeed; negative: all do. The library uses the program's operator new.
thread_local int allocationsLeft = -1;

}  // namespace

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    if (void* room = std::malloc(size == 0 ? 1 : size)) {
        return room;
    }
    throw std::bad_alloc();
}
void operator delete(void* room) noexcept {
    std::free(room);
}
void operator delete(void* room, std::size_t) noexcept {
    std::free(room);
}

namespace ac500::test {
namespace {

using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

class Stopwatch {
public:
    int milliseconds() const {
        return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun_).count());
    }

private:
    const Clock::time_point begun_ = Clock::now();
};

// What a busy machine may add to a time limit.
constexpr int kGraceMs = paced(1500);

// A handle that was never given out.
template <typename Handle>
Handle* wrongHandle() {
    return reinterpret_cast<Handle*>(static_cast<std::uintptr_t>(0x7FFFFFF1U));
}

using HardTimesTest = ClientTest;

TEST_F(HardTimesTest, ASilentPlcTakesNoLongerThanTheTimeLimit) {
    HostilePlc silent([](HostilePlc::Connection& connection) {
        while (!connection.request().empty()) {
        }
    });
    settings.time_limit_ms = paced(400);
    const std::string address = "127.0.0.1:" + std::to_string(silent.port());
    ASSERT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_OK) << error();
    const Stopwatch reading;
    std::int64_t number = 7;
    EXPECT_NE(ac500_read_int64(plc, "Main.int", &number), AC500_OK);
    EXPECT_GE(reading.milliseconds(), paced(400));
    EXPECT_LT(reading.milliseconds(), paced(400) + kGraceMs);
    EXPECT_THAT(error(), HasSubstr("Main.int: not received within"));
    EXPECT_EQ(number, 7);
    const Stopwatch writing;
    EXPECT_NE(ac500_write_int64(plc, "Main.int", 1), AC500_OK);
    EXPECT_LT(writing.milliseconds(), paced(400) + kGraceMs);
    const Stopwatch waiting;
    EXPECT_NE(ac500_wait_online(plc, paced(100)), AC500_OK);
    EXPECT_LT(waiting.milliseconds(), paced(100) + kGraceMs);
    const Stopwatch closing;
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    EXPECT_LT(closing.milliseconds(), kGraceMs);
}

TEST_F(HardTimesTest, LookingUpNamesIsPartOfTheTimeLimit) {
    settings.time_limit_ms = 1;
    open();
    std::vector<std::string> elements;
    for (int i = 1; i <= 1000; ++i) {
        elements.push_back("Main.many[" + std::to_string(i) + "]");
    }
    std::vector<const char*> names;
    for (std::size_t i = 0; i < 100000; ++i) {
        names.push_back(elements[i % elements.size()].c_str());
    }
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_read(plc, names.data(), names.size(), &values), AC500_REQUEST);
    EXPECT_EQ(error(), "100000 names were not looked up within 1 ms; a longer time limit may help");
    EXPECT_EQ(values, nullptr);
}

TEST_F(HardTimesTest, ANameThatComesAgainIsLookedUpOnce) {
    open();
    const std::vector<const char*> wrong(1000, "Main.nothing");
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_read(plc, wrong.data(), wrong.size(), &values), AC500_NAME);
    EXPECT_EQ(error().find('\n'), std::string::npos) << error();
    const char* const names[] = {"Main.int", "Main.mode", "Main.int"};
    ASSERT_EQ(ac500_read(plc, names, 3, &values), AC500_OK) << error();
    EXPECT_STREQ(infoOf(values, 0).name, "Main.int");
    EXPECT_STREQ(infoOf(values, 1).name, "Main.mode");
    EXPECT_STREQ(infoOf(values, 2).name, "Main.int");
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
}

TEST_F(HardTimesTest, WhereNobodyListensTheLayerIsTcp) {
    const std::string address = addressOf(simulator);
    simulator.stop();
    settings.time_limit_ms = paced(300);
    ASSERT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_OK) << error();
    std::int64_t number = 0;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_TCP);
    EXPECT_THAT(error(), HasSubstr(address));
    EXPECT_EQ(ac500_wait_online(plc, 0), AC500_TCP);
    const char* const name = "Main.int";
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_read(plc, &name, 1, &values), AC500_TCP);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(infoOf(values, 0).error, AC500_TCP);
    EXPECT_EQ(infoOf(values, 0).state, AC500_NEVER_RECEIVED);
    EXPECT_EQ(infoOf(values, 0).age_ms, -1);
    EXPECT_EQ(infoOf(values, 0).received_unix_ms, -1);
    EXPECT_THAT(infoOf(values, 0).error_text, HasSubstr(address));
    ac500_free_values(values);
}

TEST_F(HardTimesTest, AReadingOutlivesALostConnection) {
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    simulator.inject({sim::FaultKind::Reset}, 1);
    std::int64_t number = 7;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_OK) << error();
    EXPECT_EQ(number, 0);
}

TEST_F(HardTimesTest, NothingIsSentLaterThanTheCallLasts) {
    settings.time_limit_ms = paced(600);
    settings.reply_timeout_ms = paced(100);
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    simulator.inject({sim::FaultKind::Silence}, 1000, wire::Service::Hello);
    simulator.dropConnections();
    const Stopwatch writing;
    EXPECT_NE(ac500_write_int64(plc, "Main.int", 5), AC500_OK);
    EXPECT_LT(writing.milliseconds(), paced(600) + kGraceMs);
    simulator.inject({sim::FaultKind::None}, 0);
    std::int64_t number = 7;
    ASSERT_TRUE(eventually([&] { return ac500_read_int64(plc, "Main.int", &number) == AC500_OK; }));
    EXPECT_EQ(number, 0);
    EXPECT_EQ(simulator.counters().writes, 0u);
}

// Each is read first and goes by itself, and the PLC takes its time.
TEST_F(HardTimesTest, WritesThatWaitForOthersAreNotSentLaterThanTheCallLasts) {
    settings.time_limit_ms = 4000;
    settings.reply_timeout_ms = 10000;
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    simulator.inject({sim::FaultKind::Delay, 200}, 1000000);
    ac500_writes* writes = nullptr;
    ASSERT_EQ(ac500_new_writes(plc, &writes), AC500_OK);
    constexpr int kWrites = 40;
    for (int i = 0; i < kWrites; ++i) {
        ac500_tag* element = tag(("Main.many[" + std::to_string(i + 1) + "]").c_str());
        ASSERT_EQ(ac500_add_text(writes, element, "7"), AC500_OK) << error();
        ASSERT_EQ(ac500_expect_text(writes, static_cast<std::size_t>(i), "0"), AC500_OK) << error();
        ac500_free_tag(element);
    }
    EXPECT_NE(ac500_send_writes(writes, 0), AC500_OK);
    std::size_t notSent = 0;
    ac500_write_outcome outcome{};
    for (int i = 0; i < kWrites; ++i) {
        ASSERT_EQ(ac500_get_outcome(writes, static_cast<std::size_t>(i), &outcome, sizeof outcome), AC500_OK);
        notSent += outcome.outcome == AC500_NOT_SENT ? 1 : 0;
    }
    EXPECT_STREQ(outcome.error_text, "not sent: its turn did not come before its deadline");
    simulator.inject({sim::FaultKind::None}, 0);
    std::int64_t number = 0;
    EXPECT_TRUE(eventually([&] { return ac500_read_int64(plc, "Main.int", &number) == AC500_OK; })) << error();
    // A write that still waited would go now, before these readings or between them.
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_OK) << error();
    }
    EXPECT_LE(simulator.counters().writes, kWrites - notSent);
    ac500_free_writes(writes);
}

TEST_F(HardTimesTest, WhoeverWaitsGoesOnWhenThePlcIsClosed) {
    HostilePlc silent([](HostilePlc::Connection& connection) {
        while (!connection.request().empty()) {
        }
    });
    settings.time_limit_ms = 60000;
    settings.reply_timeout_ms = 60000;
    const std::string address = "127.0.0.1:" + std::to_string(silent.port());
    ASSERT_EQ(ac500_open(file.path(), address.c_str(), &settings, &plc), AC500_OK) << error();
    ac500_result read = AC500_OK;
    ac500_result write = AC500_OK;
    ac500_result online = AC500_OK;
    ac500_tag* number = tag("Main.int");
    std::thread reader([&] {
        std::int64_t value = 0;
        read = ac500_read_int64(plc, "Main.int", &value);
    });
    std::thread writer([&] { write = ac500_write_int64(plc, "Main.int", 1); });
    std::thread waiter([&] { online = ac500_wait_online(plc, 60000); });
    std::this_thread::sleep_for(std::chrono::milliseconds(paced(300)));
    const Stopwatch closing;
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    reader.join();
    writer.join();
    waiter.join();
    EXPECT_LT(closing.milliseconds(), kGraceMs);
    EXPECT_EQ(read, AC500_CLOSED);
    EXPECT_EQ(write, AC500_CLOSED);
    EXPECT_EQ(online, AC500_CLOSED);
    EXPECT_EQ(ac500_close(plc), AC500_USAGE);
    ac500_tag_info info{};
    EXPECT_EQ(ac500_get_tag_info(number, &info, sizeof info), AC500_OK);
    EXPECT_STREQ(info.name, "Main.int");
    EXPECT_EQ(ac500_free_tag(number), AC500_OK);
}

TEST_F(HardTimesTest, NullAndWrongHandlesAreRefusedByEveryFunction) {
    open();
    ac500_tag* number = tag("Main.int");
    auto* plcOfAnotherKind = reinterpret_cast<ac500_plc*>(number);
    const char* const name = "Main.int";
    ac500_values* values = nullptr;
    std::int64_t whole = 0;
    for (ac500_plc* wrong : {static_cast<ac500_plc*>(nullptr), wrongHandle<ac500_plc>(), plcOfAnotherKind}) {
        ac500_status status{};
        ac500_tag* found = nullptr;
        ac500_tag_list* list = nullptr;
        ac500_writes* writes = nullptr;
        ac500_subscription* subscription = nullptr;
        EXPECT_EQ(ac500_close(wrong), AC500_USAGE);
        EXPECT_EQ(ac500_wait_online(wrong, 0), AC500_USAGE);
        EXPECT_EQ(ac500_get_status(wrong, &status, sizeof status), AC500_USAGE);
        EXPECT_EQ(ac500_find_tag(wrong, name, &found), AC500_USAGE);
        EXPECT_EQ(ac500_browse(wrong, nullptr, &list), AC500_USAGE);
        EXPECT_EQ(ac500_read(wrong, &name, 1, &values), AC500_USAGE);
        EXPECT_EQ(ac500_read_tags(wrong, &number, 1, &values), AC500_USAGE);
        EXPECT_EQ(ac500_latest(wrong, &number, 1, &values), AC500_USAGE);
        EXPECT_EQ(ac500_read_int64(wrong, name, &whole), AC500_USAGE);
        EXPECT_EQ(ac500_write_int64(wrong, name, 1), AC500_USAGE);
        EXPECT_EQ(ac500_write_text(wrong, name, "1"), AC500_USAGE);
        EXPECT_EQ(ac500_new_writes(wrong, &writes), AC500_USAGE);
        EXPECT_EQ(ac500_subscribe(wrong, &name, 1, 0, nullptr, nullptr, &subscription), AC500_USAGE);
    }
    EXPECT_EQ(ac500_free_tag(nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_free_tag(wrongHandle<ac500_tag>()), AC500_USAGE);
    EXPECT_EQ(ac500_free_tag_list(wrongHandle<ac500_tag_list>()), AC500_USAGE);
    EXPECT_EQ(ac500_tag_list_count(nullptr), 0u);
    EXPECT_EQ(ac500_values_count(nullptr), 0u);
    EXPECT_EQ(ac500_writes_count(nullptr), 0u);
    EXPECT_EQ(ac500_get_int64s(wrongHandle<ac500_values>(), 0, &whole, 1), AC500_USAGE);
    EXPECT_EQ(ac500_accept_stale(nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_free_writes(nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_send_writes(wrongHandle<ac500_writes>(), 0), AC500_USAGE);
    EXPECT_EQ(ac500_add_int64s(nullptr, number, &whole, 1), AC500_USAGE);
    EXPECT_EQ(ac500_expect_text(nullptr, 0, "1"), AC500_USAGE);
    EXPECT_EQ(ac500_unsubscribe(nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_next_event(wrongHandle<ac500_subscription>(), 0, &values), AC500_USAGE);

    EXPECT_EQ(ac500_settings_init(nullptr, sizeof settings), AC500_USAGE);
    EXPECT_EQ(ac500_settings_init(&settings, 3), AC500_USAGE);
    EXPECT_EQ(ac500_open(nullptr, nullptr, nullptr, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_find_tag(plc, nullptr, &number), AC500_USAGE);
    EXPECT_EQ(ac500_find_tag(plc, name, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_read(plc, nullptr, 1, &values), AC500_USAGE);
    EXPECT_EQ(ac500_read(plc, &name, 1, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_read(plc, &name, static_cast<std::size_t>(-1), &values), AC500_USAGE);
    const char* const noName = nullptr;
    EXPECT_EQ(ac500_read(plc, &noName, 1, &values), AC500_USAGE);
    EXPECT_EQ(ac500_read_int64(plc, name, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_write_string(plc, "Main.name", nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_write_text(plc, name, nullptr), AC500_USAGE);
    EXPECT_EQ(values, nullptr);
    EXPECT_EQ(ac500_read(plc, nullptr, 0, &values), AC500_OK) << error();
    EXPECT_EQ(ac500_values_count(values), 0u);
    EXPECT_EQ(ac500_get_int64s(values, 0, &whole, 1), AC500_USAGE);
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
    EXPECT_EQ(ac500_free_tag(number), AC500_OK);
}

// Every allocation of a call fails once. The call says so, or does without; and the next one works.
TEST_F(HardTimesTest, MemoryThatRunsOutIsToldAndHarmless) {
    open();
    ASSERT_EQ(ac500_wait_online(plc, 10000), AC500_OK) << error();
    ac500_tag* recipe = tag("Main.recipe");
    const char* const names[] = {"Main.int", "Main.name", "Main.recipe[2..4]"};
    int failures = 0;
    bool isDone = false;
    for (int allocations = 0; !isDone; allocations += sized(10) == 10 ? 1 : 7) {
        ac500_tag* found = nullptr;
        ac500_values* values = nullptr;
        ac500_values* latest = nullptr;
        allocationsLeft = allocations;
        const ac500_result finding = ac500_find_tag(plc, "Main.level", &found);
        const ac500_result looking = ac500_latest(plc, &recipe, 1, &latest);
        const ac500_result reading = ac500_read(plc, names, 3, &values);
        isDone = allocationsLeft > 0;
        allocationsLeft = -1;
        for (const ac500_result result : {finding, looking, reading}) {
            EXPECT_TRUE(result == AC500_OK || result == AC500_MEMORY) << ac500_result_name(result) << ": " << error();
            failures += result == AC500_MEMORY ? 1 : 0;
        }
        if (found != nullptr) {
            ac500_free_tag(found);
        }
        for (ac500_values* given : {values, latest}) {
            if (given != nullptr) {
                ac500_free_values(given);
            }
        }
    }
    EXPECT_GT(failures, 10);
    std::int64_t number = 7;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_OK) << error();
    EXPECT_EQ(number, 0);
    ac500_free_tag(recipe);
}

TEST_F(HardTimesTest, OpeningAndClosingLeavesNothingBehind) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto threads = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                             std::filesystem::directory_iterator());
    };
    open();
    ac500_close(plc);
    const auto descriptorsBefore = descriptors();
    const auto threadsBefore = threads();
    for (int round = 0; round < 5; ++round) {
        open();
        std::int64_t number = 0;
        EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_OK) << error();
        EXPECT_EQ(ac500_close(plc), AC500_OK);
    }
    // The simulator, in the same process, hears a little later that its client has gone.
    EXPECT_TRUE(eventually([&] { return descriptors() <= descriptorsBefore; })) << descriptors() - descriptorsBefore;
    // A thread that was joined is in the system's list until it is gone from its processor.
    EXPECT_TRUE(eventually([&] { return threads() <= threadsBefore; })) << threads() - threadsBefore;
}

TEST_F(HardTimesTest, NoMorePlcsThanThereIsRoomFor) {
    std::vector<ac500_plc*> all(64);
    for (ac500_plc*& one : all) {
        ASSERT_EQ(ac500_open(file.path(), "127.0.0.1:1", &settings, &one), AC500_OK) << error();
    }
    EXPECT_EQ(ac500_open(file.path(), "127.0.0.1:1", &settings, &plc), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("64 sessions are open, which is the most"));
    for (ac500_plc* one : all) {
        EXPECT_EQ(ac500_close(one), AC500_OK);
    }
}

}  // namespace
}  // namespace ac500::test
