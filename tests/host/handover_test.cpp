#include "tools/host/handover.h"

#include <gtest/gtest.h>

#include <thread>

namespace ac500::host {
namespace {

constexpr Milliseconds kForEver{60000};

std::string textsSince(const SharedWork& work, std::size_t first) {
    std::string texts;
    for (const SessionEvent& event : work.eventsSince(first)) {
        texts += event.failure.text + " ";
    }
    return texts;
}

TEST(SharedWork, EventsAreCountedAndToldFromANumberOn) {
    SharedWork work(200);
    EXPECT_EQ(textsSince(work, 0), "");
    for (const char* text : {"a", "b", "c"}) {
        work.addEvent({Time(0), {FailureKind::Tcp, text}});
    }
    EXPECT_EQ(textsSince(work, 0), "a b c ");
    EXPECT_EQ(textsSince(work, 2), "c ");
    EXPECT_EQ(textsSince(work, 3), "");
    EXPECT_EQ(textsSince(work, 99), "");
    EXPECT_EQ(work.status.events, 3u);
    EXPECT_EQ(work.status.lastFailure->failure.text, "c");
}

TEST(SharedWork, TheLatestThousandEventsAreKeptAndNumbersStay) {
    SharedWork work(200);
    for (int i = 0; i < 1002; ++i) {
        work.addEvent({Time(0), {FailureKind::Tcp, std::to_string(i)}});
    }
    EXPECT_EQ(work.eventsSince(0).size(), 1000u);
    EXPECT_EQ(work.eventsSince(0).front().failure.text, "2");
    EXPECT_EQ(work.eventsSince(2).front().failure.text, "2");
    EXPECT_EQ(textsSince(work, 1001), "1001 ");
}

TEST(Handover, WorkThatCameBeforeTheWaitEndsItAtOnce) {
    Handover handover(200);
    handover.wakeLoop();
    EXPECT_TRUE(handover.waitForWork(kForEver));
}

TEST(Handover, WorkEndsAWaitThatIsUnderway) {
    Handover handover(200);
    std::thread caller([&] {
        handover.access()->newTags = std::vector<Tag>(1);
        handover.wakeLoop();
    });
    EXPECT_TRUE(handover.waitForWork(kForEver));
    EXPECT_TRUE(handover.access()->newTags.has_value());
    caller.join();
}

TEST(Handover, TheEndOfTheSessionIsToldAlsoWithoutWaiting) {
    Handover handover(200);
    EXPECT_TRUE(handover.waitForWork(Milliseconds(0)));
    handover.access()->isStopping = true;
    EXPECT_FALSE(handover.waitForWork(Milliseconds(0)));
    handover.wakeLoop();
    EXPECT_FALSE(handover.waitForWork(kForEver));
}

TEST(Handover, AChangeWakesACaller) {
    Handover handover(200);
    std::thread loop([&] {
        // Until the caller is seen to have gone on: its wait may begin after a change.
        while (!handover.access()->isStopping) {
            handover.wakeCallers();
        }
    });
    handover.waitForChange(kForEver);
    handover.access()->isStopping = true;
    loop.join();
}

}  // namespace
}  // namespace ac500::host
