// Events: by callback, by descriptor, and their end.
#include <poll.h>
#include <pthread.h>

#include <atomic>
#include <limits>
#include <mutex>

#include "tests/client/client_plant.h"

namespace ac500::test {
namespace {

using testing::HasSubstr;

// What a callback was told, "Main.int=5 fresh" and the like.
struct Diary {
    std::mutex mutex;
    std::vector<std::string> entries;  // mutex
    std::atomic<int> calls{0};
    bool endsItself = false;  // unsubscribes in the first call
    bool closesPlc = false;   // closes the PLC in the first call
    ac500_plc* plc = nullptr;
    std::atomic<bool> blocks{false};  // until it is false again

    bool has(const std::string& entry) {
        const std::lock_guard<std::mutex> lock(mutex);
        return std::find(entries.begin(), entries.end(), entry) != entries.end();
    }
};

void note(void* user, ac500_subscription* subscription, ac500_values* values) {
    auto* diary = static_cast<Diary*>(user);
    ac500_accept_stale(values);
    for (std::size_t i = 0; i < ac500_values_count(values); ++i) {
        ac500_value_info info{};
        ac500_get_value_info(values, i, &info, sizeof info);
        const char* text = "";
        ac500_get_text(values, i, &text);
        const std::lock_guard<std::mutex> lock(diary->mutex);
        diary->entries.push_back(std::string(info.name) + "=" + text + " " + ac500_state_name(info.state));
    }
    ++diary->calls;
    while (diary->blocks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (diary->endsItself) {
        EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
    }
    if (diary->closesPlc) {
        EXPECT_EQ(ac500_close(diary->plc), AC500_OK);
    }
}

class SubscriptionTest : public ClientTest {
protected:
    void subscribe(std::initializer_list<const char*> names, int flags = AC500_ON_CHANGE) {
        const std::vector<const char*> list(names);
        ASSERT_EQ(ac500_subscribe(plc, list.data(), list.size(), flags, note, &diary, &subscription), AC500_OK)
            << error();
    }
    void subscribeForPolling(std::initializer_list<const char*> names) {
        const std::vector<const char*> list(names);
        ASSERT_EQ(ac500_subscribe(plc, list.data(), list.size(), 0, nullptr, nullptr, &subscription), AC500_OK)
            << error();
    }
    bool isReadable(int fd, int waitMs) const {
        pollfd one{fd, POLLIN, 0};
        return poll(&one, 1, waitMs) == 1;
    }

    Diary diary;
    ac500_subscription* subscription = nullptr;
};

TEST_F(SubscriptionTest, ACallbackIsToldOfChangesAndOfAgeing) {
    open();
    subscribe({"Main.int", "Main.mode"});
    EXPECT_TRUE(eventually([&] { return diary.has("Main.int=0 fresh") && diary.has("Main.mode=off fresh"); }));
    simulator.write(1, 4, std::string("\x00\x05", 2));
    EXPECT_TRUE(eventually([&] { return diary.has("Main.int=5 fresh"); }));
    simulator.stop();
    EXPECT_TRUE(eventually([&] { return diary.has("Main.int=5 stale"); }));
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK) << error();
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("this is no subscription"));
}

TEST_F(SubscriptionTest, WithoutChangesThereAreNoEventsUnlessReceptionsAreAskedFor) {
    open();
    subscribe({"Main.int"});
    ASSERT_TRUE(eventually([&] { return diary.calls == 1; }));
    Diary receptions;
    ac500_subscription* every = nullptr;
    const char* const name = "Main.int";
    ASSERT_EQ(ac500_subscribe(plc, &name, 1, AC500_ON_RECEPTION, note, &receptions, &every), AC500_OK) << error();
    EXPECT_TRUE(eventually([&] { return receptions.calls >= 5; }));
    EXPECT_EQ(diary.calls, 1);
    EXPECT_EQ(ac500_unsubscribe(every), AC500_OK);
    const int calls = receptions.calls;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(receptions.calls, calls);
}

TEST_F(SubscriptionTest, ADescriptorIsReadableWhileAnEventWaits) {
    open();
    subscribeForPolling({"Main.int"});
    int fd = -1;
    ASSERT_EQ(ac500_event_fd(subscription, &fd), AC500_OK);
    ASSERT_TRUE(isReadable(fd, 30000));
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_next_event(subscription, 0, &values), AC500_OK) << error();
    std::int64_t number = -1;
    EXPECT_EQ(ac500_get_int64s(values, 0, &number, 1), AC500_OK) << error();
    EXPECT_EQ(number, 0);
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
    EXPECT_FALSE(isReadable(fd, 0));
    EXPECT_EQ(ac500_next_event(subscription, 0, &values), AC500_NOTHING);
    simulator.write(1, 4, std::string("\x00\x07", 2));
    ASSERT_EQ(ac500_next_event(subscription, 30000, &values), AC500_OK) << error();
    EXPECT_EQ(ac500_get_int64s(values, 0, &number, 1), AC500_OK) << error();
    EXPECT_EQ(number, 7);
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
    EXPECT_EQ(ac500_next_event(subscription, 0, &values), AC500_USAGE);
}

TEST_F(SubscriptionTest, LatestKnowsWhatIsSubscribedWithoutAsking) {
    open();
    subscribeForPolling({"Main.int"});
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_next_event(subscription, 30000, &values), AC500_OK) << error();
    ac500_free_values(values);
    ac500_tag* tags[] = {tag("Main.int"), tag("Main.lreal")};
    ASSERT_EQ(ac500_latest(plc, tags, 2, &values), AC500_OK) << error();
    EXPECT_EQ(infoOf(values, 0).state, AC500_FRESH);
    EXPECT_EQ(infoOf(values, 1).state, AC500_NEVER_RECEIVED);
    double number = 7;
    EXPECT_EQ(ac500_get_doubles(values, 1, &number, 1), AC500_REQUEST);
    EXPECT_EQ(error(), "Main.lreal: never received");
    EXPECT_EQ(number, 7);
    ac500_free_values(values);
    simulator.stop();
    ASSERT_TRUE(eventually([&] {
        ac500_latest(plc, tags, 1, &values);
        const bool isStale = infoOf(values, 0).state == AC500_STALE;
        if (!isStale) {
            ac500_free_values(values);
        }
        return isStale;
    }));
    EXPECT_EQ(ac500_get_doubles(values, 0, &number, 1), AC500_REQUEST);
    EXPECT_THAT(error(), HasSubstr("stale"));
    EXPECT_EQ(ac500_accept_stale(values), AC500_OK);
    EXPECT_EQ(ac500_get_doubles(values, 0, &number, 1), AC500_OK) << error();
    EXPECT_EQ(number, 0);
    ac500_free_values(values);
    ac500_free_tag(tags[0]);
    ac500_free_tag(tags[1]);
}

TEST_F(SubscriptionTest, MayEndItselfInItsCallback) {
    open();
    diary.endsItself = true;
    subscribe({"Main.int"}, AC500_ON_RECEPTION);
    ASSERT_TRUE(eventually([&] { return diary.calls == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(diary.calls, 1);
}

TEST_F(SubscriptionTest, ThePlcMayBeClosedInACallback) {
    open();
    diary.closesPlc = true;
    diary.plc = plc;
    subscribe({"Main.int"}, AC500_ON_RECEPTION);
    ac500_status status{};
    ASSERT_TRUE(eventually([&] { return ac500_get_status(plc, &status, sizeof status) == AC500_USAGE; }));
    EXPECT_EQ(diary.calls, 1);
    EXPECT_EQ(ac500_close(plc), AC500_USAGE);
}

TEST_F(SubscriptionTest, ACallbackThatTakesForEverHoldsUpNobodyForLonger) {
    settings.time_limit_ms = paced(200);
    open();
    diary.blocks = true;
    subscribe({"Main.int"});
    ASSERT_TRUE(eventually([&] { return diary.calls == 1; }));
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_REQUEST);
    EXPECT_THAT(error(), HasSubstr("still runs"));
    std::int64_t number = -1;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &number), AC500_OK) << error();
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    diary.blocks = false;
    std::this_thread::sleep_for(std::chrono::milliseconds(paced(20)));
}

TEST_F(SubscriptionTest, ClosingWaitsASecondForACallbackThatRuns) {
    settings.time_limit_ms = 60000;
    open();
    diary.blocks = true;
    subscribe({"Main.int"});
    ASSERT_TRUE(eventually([&] { return diary.calls == 1; }));
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(30));
    diary.blocks = false;
    std::this_thread::sleep_for(std::chrono::milliseconds(paced(20)));
}

// No stack that large fits into the memory of a process.
class NoNewThreads {
public:
    NoNewThreads() {
        EXPECT_EQ(pthread_getattr_default_np(&before_), 0);
        pthread_attr_t huge;
        EXPECT_EQ(pthread_attr_init(&huge), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&huge, std::numeric_limits<std::size_t>::max() - (1U << 24)), 0);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
    }
    ~NoNewThreads() {
        EXPECT_EQ(pthread_setattr_default_np(&before_), 0);
        pthread_attr_destroy(&before_);
    }
    NoNewThreads(const NoNewThreads&) = delete;
    NoNewThreads& operator=(const NoNewThreads&) = delete;

private:
    pthread_attr_t before_;
};

TEST_F(SubscriptionTest, WithoutAThreadForItNothingIsChanged) {
    open();
    const char* const name = "Main.int";
    Diary untold;
    ac500_subscription* none = nullptr;
    {
        const NoNewThreads full;
        EXPECT_EQ(ac500_subscribe(plc, &name, 1, AC500_ON_RECEPTION, note, &untold, &none), AC500_MEMORY) << error();
    }
    EXPECT_EQ(none, nullptr);
    subscribe({"Main.mode"});
    EXPECT_TRUE(eventually([&] { return diary.has("Main.mode=off fresh"); }));
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK) << error();
    EXPECT_EQ(untold.calls, 0);
}

TEST_F(SubscriptionTest, ATagIsReadUntilItsLastSubscriptionEnds) {
    open();
    subscribe({"Main.int", "Main.int"}, AC500_ON_RECEPTION);
    ac500_subscription* other = nullptr;
    const char* const names[] = {"Main.int", "Main.mode"};
    ASSERT_EQ(ac500_subscribe(plc, names, 2, AC500_ON_CHANGE, nullptr, nullptr, &other), AC500_OK) << error();
    const auto isReadOn = [&] {
        const int calls = diary.calls;
        return eventually([&] { return diary.calls > calls + 2; });
    };
    ASSERT_TRUE(isReadOn());
    EXPECT_EQ(ac500_unsubscribe(other), AC500_OK);
    EXPECT_TRUE(isReadOn());
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
    EXPECT_TRUE(eventually([&] {
        const std::uint64_t reads = simulator.counters().reads;
        std::this_thread::sleep_for(std::chrono::milliseconds(paced(50)));
        return simulator.counters().reads == reads;
    }));
}

TEST_F(SubscriptionTest, ADescriptorIsReadableFromTheEndOnAndWakesWhoPolls) {
    open();
    subscribeForPolling({"Main.int"});
    int fd = -1;
    ASSERT_EQ(ac500_event_fd(subscription, &fd), AC500_OK);
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_next_event(subscription, 30000, &values), AC500_OK) << error();
    EXPECT_EQ(ac500_free_values(values), AC500_OK);
    bool isWoken = false;
    std::thread waiter([&] { isWoken = isReadable(fd, 10000); });
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    waiter.join();
    EXPECT_TRUE(isWoken);
    EXPECT_EQ(ac500_next_event(subscription, 0, &values), AC500_CLOSED);
    EXPECT_TRUE(isReadable(fd, 0));
    EXPECT_EQ(ac500_next_event(subscription, 0, &values), AC500_CLOSED);
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
}

TEST_F(SubscriptionTest, WhoeverWaitsForAnEventGoesOnWhenThePlcIsClosed) {
    open();
    subscribeForPolling({"Main.int"});
    ac500_values* values = nullptr;
    ASSERT_EQ(ac500_next_event(subscription, 30000, &values), AC500_OK) << error();
    ac500_free_values(values);
    ac500_result result = AC500_OK;
    std::thread waiter([&] { result = ac500_next_event(subscription, 60000, &values); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(ac500_close(plc), AC500_OK);
    waiter.join();
    EXPECT_EQ(result, AC500_CLOSED);
    EXPECT_EQ(ac500_unsubscribe(subscription), AC500_OK);
}

TEST_F(SubscriptionTest, WhatItDoesNotTakeIsRefused) {
    open();
    const char* const wrong = "Main.nothing";
    EXPECT_EQ(ac500_subscribe(plc, &wrong, 1, 0, note, &diary, &subscription), AC500_NAME);
    const char* const name = "Main.int";
    EXPECT_EQ(ac500_subscribe(plc, &name, 1, 2, note, &diary, &subscription), AC500_USAGE);
    EXPECT_EQ(ac500_subscribe(plc, &name, 1, 0, note, &diary, nullptr), AC500_USAGE);
    subscribe({"Main.int"});
    int fd = -1;
    ac500_values* values = nullptr;
    EXPECT_EQ(ac500_event_fd(subscription, &fd), AC500_USAGE);
    EXPECT_EQ(ac500_next_event(subscription, 0, &values), AC500_USAGE);
    EXPECT_EQ(error(), "the events of this subscription go to its callback");
}

}  // namespace
}  // namespace ac500::test
