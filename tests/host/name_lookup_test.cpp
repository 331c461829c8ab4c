#include "tools/host/name_lookup.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>

namespace ac500::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Milliseconds kLongEnough{60000};

// A system that answers when it is told to.
class SlowSystem {
public:
    ~SlowSystem() { answerNow(); }

    NameLookup::Resolver resolver() {
        return [asked = asked_, gate = gate_.get_future().share()](const std::string& name) {
            ++*asked;
            gate.wait();
            return NameAnswer{{"10.0.0." + std::to_string(name.size())}, {}};
        };
    }
    void answerNow() {
        if (!isOpen_) {
            gate_.set_value();
        }
        isOpen_ = true;
    }

    int asked() const { return *asked_; }

private:
    const std::shared_ptr<std::atomic<int>> asked_ = std::make_shared<std::atomic<int>>(0);  // outlives the test
    std::promise<void> gate_;
    bool isOpen_ = false;
};

TEST(AddressesOf, AnAddressIsItsOwn) {
    EXPECT_THAT(addressesOf("127.0.0.1").addresses, ElementsAre("127.0.0.1"));
    EXPECT_THAT(addressesOf("::1").addresses, ElementsAre("::1"));
}

TEST(AddressesOf, WhatIsNoNameHasNone) {
    const NameAnswer answer = addressesOf(std::string(64, 'x'));  // longer than a label may be, so nobody is asked
    EXPECT_THAT(answer.addresses, IsEmpty());
    EXPECT_NE(answer.failure, "");
}

TEST(NameLookupTest, WaitingEndsInTimeWhileTheSystemThinks) {
    SlowSystem system;
    NameLookup lookup(system.resolver());
    lookup.start("plc");
    EXPECT_FALSE(lookup.wait(Milliseconds(10)));
    EXPECT_FALSE(lookup.wait(Milliseconds(0)));
    system.answerNow();
    const std::optional<NameAnswer> answer = lookup.wait(kLongEnough);
    ASSERT_TRUE(answer);
    EXPECT_THAT(answer->addresses, ElementsAre("10.0.0.3"));
}

TEST(NameLookupTest, ASystemThatThinksIsNotAskedAgain) {
    SlowSystem system;
    NameLookup lookup(system.resolver());
    for (int attempt = 0; attempt < 5; ++attempt) {
        lookup.start("plc");
        EXPECT_FALSE(lookup.wait(Milliseconds(1)));
    }
    system.answerNow();
    EXPECT_TRUE(lookup.wait(kLongEnough));
    EXPECT_EQ(system.asked(), 1);
    lookup.start("plc");
    EXPECT_TRUE(lookup.wait(kLongEnough));
    EXPECT_EQ(system.asked(), 2) << "addresses may change";
}

TEST(NameLookupTest, AnotherNameIsAskedForAtOnce) {
    SlowSystem system;
    NameLookup lookup(system.resolver());
    lookup.start("plc");
    lookup.start("other");
    system.answerNow();
    EXPECT_THAT(lookup.wait(kLongEnough)->addresses, ElementsAre("10.0.0.5"));
}

TEST(NameLookupTest, ALookupThatNobodyWaitsForEndsByItself) {
    std::promise<void> gate;
    std::promise<void> ended;
    {
        NameLookup lookup([opened = gate.get_future().share(), &ended](const std::string&) {
            opened.wait();
            ended.set_value();
            return NameAnswer();
        });
        lookup.start("plc");
    }
    gate.set_value();
    EXPECT_EQ(ended.get_future().wait_for(kLongEnough), std::future_status::ready);
}

}  // namespace
}  // namespace ac500::host
