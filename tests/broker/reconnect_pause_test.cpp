#include "tools/broker/reconnect_pause.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace ac500::broker {
namespace {

using host::Milliseconds;
using testing::ElementsAre;

constexpr ReconnectPause::Limits kLimits{Milliseconds(1000), Milliseconds(6000), Milliseconds(10000)};

// The most that was asked for, each time; the pause is what `choose` makes of it.
class PauseTest : public testing::Test {
protected:
    std::vector<long> pauses(int count) {
        std::vector<long> taken;
        for (int i = 0; i < count; ++i) {
            taken.push_back(static_cast<long>(pause.next().count()));
        }
        return taken;
    }

    std::uint64_t part = 100;  // of a hundred
    ReconnectPause pause{kLimits, [this](std::uint64_t most) { return most * part / 100; }};
};

TEST_F(PauseTest, ItsLimitDoublesUpToTheLargest) {
    EXPECT_THAT(pauses(5), ElementsAre(1000, 2000, 4000, 6000, 6000));
}

TEST_F(PauseTest, ItIsAnythingFromNothingToTheLimit) {
    part = 0;
    EXPECT_THAT(pauses(2), ElementsAre(0, 0));
    part = 50;
    EXPECT_THAT(pauses(2), ElementsAre(2000, 3000));
}

TEST_F(PauseTest, AGoodConnectionMakesTheNextFailureAFirstOne) {
    pauses(3);
    pause.connectionLasted(Milliseconds(10000));
    EXPECT_THAT(pauses(2), ElementsAre(1000, 2000));
}

TEST_F(PauseTest, AShortConnectionDoesNot) {
    pauses(3);
    pause.connectionLasted(Milliseconds(9999));
    EXPECT_THAT(pauses(1), ElementsAre(6000));
}

TEST_F(PauseTest, AFirstLimitAboveTheLargestIsTheLargest) {
    ReconnectPause low({Milliseconds(9000), Milliseconds(500), Milliseconds(1)},
                       [](std::uint64_t most) { return most; });
    EXPECT_EQ(low.next(), Milliseconds(500));
    low.connectionLasted(Milliseconds(1));
    EXPECT_EQ(low.next(), Milliseconds(500));
}

// Gateways that lost one broker at the same moment do not come back in a wave: of a thousand, a tenth of the time sees about
// a tenth of them.
TEST(PauseOfManyTest, TheyComeBackSpreadOverTheWholePause) {
    std::vector<int> tenths(10);
    for (int gateway = 0; gateway < 1000; ++gateway) {
        ReconnectPause pause({Milliseconds(999), Milliseconds(60000), Milliseconds(10000)});
        ++tenths[static_cast<std::size_t>(pause.next().count() / 100)];
    }
    EXPECT_GT(*std::min_element(tenths.begin(), tenths.end()), 40);  // further off than six deviations
    EXPECT_LT(*std::max_element(tenths.begin(), tenths.end()), 160);
}

}  // namespace
}  // namespace ac500::broker
