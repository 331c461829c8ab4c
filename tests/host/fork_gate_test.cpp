#include "tools/host/fork_gate.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "tests/support/pace.h"

namespace ac500::host {
namespace {

constexpr std::chrono::milliseconds kGlance(50);  // in which what must wait has shown that it does
constexpr std::chrono::milliseconds kEnough(test::paced(10000));

// A thread closes all gates, as who forks does, and opens them when it is told to.
class Forking {
public:
    Forking()
        : thread_([this] {
              ForkGate::closeAll();
              closed_.set_value();
              mayOpen_.get_future().wait();
              ForkGate::openAll();
          }) {}
    ~Forking() {
        open();
        thread_.join();
    }
    Forking(const Forking&) = delete;
    Forking& operator=(const Forking&) = delete;

    bool isClosedWithin(std::chrono::milliseconds time) {
        return isClosed_.wait_for(time) == std::future_status::ready;
    }
    void open() {
        if (!isOpen_) {
            isOpen_ = true;
            mayOpen_.set_value();
        }
    }

private:
    std::promise<void> closed_;
    std::future<void> isClosed_ = closed_.get_future();
    std::promise<void> mayOpen_;
    bool isOpen_ = false;
    std::thread thread_;
};

// A thread that is inside a gate until it is told to leave.
class Visit {
public:
    explicit Visit(ForkGate& gate)
        : thread_([this, &gate] {
              const ForkGate::Stay stay = gate.enter();
              inside_.set_value();
              mayLeave_.get_future().wait();
          }) {
        inside_.get_future().wait();
    }
    void leave() {
        mayLeave_.set_value();
        thread_.join();
    }

private:
    std::promise<void> inside_;
    std::promise<void> mayLeave_;
    std::thread thread_;
};

TEST(ForkGate, WhoForksWaitsForWhoIsInsideAnyOfThem) {
    ForkGate first;
    ForkGate second;
    Visit inFirst(first);
    Visit inSecond(second);
    Forking forking;
    EXPECT_FALSE(forking.isClosedWithin(kGlance));
    inFirst.leave();
    EXPECT_FALSE(forking.isClosedWithin(kGlance));
    inSecond.leave();
    EXPECT_TRUE(forking.isClosedWithin(kEnough));
}

TEST(ForkGate, NobodyComesInUntilTheForkIsOver) {
    ForkGate gate;
    Forking forking;
    ASSERT_TRUE(forking.isClosedWithin(kEnough));
    std::future<void> visit = std::async(std::launch::async, [&] { gate.enter(); });
    EXPECT_EQ(visit.wait_for(kGlance), std::future_status::timeout);
    forking.open();
    EXPECT_EQ(visit.wait_for(kEnough), std::future_status::ready);
}

// Else a session that has work all the time could come back first, again and again.
TEST(ForkGate, WhoComesLaterLetsWhoWaitsForTheGatesGoFirst) {
    ForkGate gates[2];  // closed in this order
    Visit inFirst(gates[0]);
    Forking forking;
    EXPECT_FALSE(forking.isClosedWithin(kGlance));
    std::future<void> visit = std::async(std::launch::async, [&] { gates[1].enter(); });
    EXPECT_EQ(visit.wait_for(kGlance), std::future_status::timeout);
    inFirst.leave();
    EXPECT_TRUE(forking.isClosedWithin(kEnough));
    EXPECT_EQ(visit.wait_for(kGlance), std::future_status::timeout);
    forking.open();
    EXPECT_EQ(visit.wait_for(kEnough), std::future_status::ready);
}

}  // namespace
}  // namespace ac500::host
