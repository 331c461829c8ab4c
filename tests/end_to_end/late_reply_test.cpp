// Nothing on this wire says which request a reply belongs to. Two arrays of equal length are read by turns, one full of
// 1111, the other full of 2222, and one reply comes late: who keeps the connection shows one array's values as the
// other's.
#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

class LateReplyTest : public PlantTest {
protected:
    // Makes each array a request of its own, of 400 bytes.
    LateReplyTest() {
        settings.maxRequestWords = 200;
        settings.loop.replyTimeout = host::Milliseconds(test::paced(150));
        settings.loop.cycle = host::Milliseconds(0);
        fill(2000, "04 57");
        fill(4000, "08 AE");
    }

    void fill(std::uint64_t offset, const char* word) {
        std::string bytes;
        for (int i = 0; i < 200; ++i) {
            bytes += byteString(word);
        }
        plc.write(1, offset, bytes);
    }

    bool isWrong(const std::string& text, std::int64_t right) const {
        const host::TagValue value = session->value(tag(text));
        for (const host::HostValue& element : value.values) {
            if (std::get<std::int64_t>(element) != right) {
                return true;
            }
        }
        return false;
    }
    bool anyValueIsWrong() const { return isWrong("Main.left", 1111) || isWrong("Main.right", 2222); }

    // Arms the fault and watches until `timeouts` more replies have come late; true when a wrong value was shown.
    bool wrongValueSeen(int lateReplies) {
        begin({"Main.left", "Main.right"});
        EXPECT_EQ(read("Main.left").substr(0, 10), "1111, 1111");
        EXPECT_EQ(read("Main.right").substr(0, 10), "2222, 2222");
        for (int i = 1; i <= lateReplies; ++i) {
            plc.inject({sim::FaultKind::Late, test::paced(200)}, 1, sim::Service::Read);
            EXPECT_TRUE(eventually([&] { return session->status().statistics.timeouts >= i; })) << lastFailure();
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(test::paced(400));
            while (std::chrono::steady_clock::now() < end) {
                if (anyValueIsWrong()) {
                    return true;
                }
                session->waitForChange(host::Milliseconds(10));
            }
        }
        return false;
    }
};

TEST_F(LateReplyTest, WithoutTheGuardOneArrayIsShownAsTheOther) {
    settings.loop.guardValues = false;
    EXPECT_TRUE(wrongValueSeen(20));
}

TEST_F(LateReplyTest, WithTheGuardEveryValueIsRightAndTheLoopGoesOn) {
    EXPECT_FALSE(wrongValueSeen(6));
    EXPECT_EQ(read("Main.left").substr(0, 10), "1111, 1111");
    EXPECT_GE(session->status().statistics.reconnects(), 6);
}

}  // namespace
}  // namespace ac500
