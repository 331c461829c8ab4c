// Nothing on this wire says which request a reply belongs to. Two arrays of equal length are read by turns, one full of
// 1111, the other full of 2222. One reply comes late: who keeps the connection shows one array's values as the other's.
// Or one reply comes twice: who believes a reply before the line was quiet does the same.
#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

class LateReplyTest : public PlantTest {
protected:
    // Makes each array a request of its own, of 400 bytes.
    explicit LateReplyTest(const std::vector<std::string>& faults = {}) : PlantTest(faults) {
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

// Every reply to a read takes a while, and every eleventh comes once more while the next one is awaited. Shortly before that, so
// that of the quiet look, which is as long as a reply takes, most is left for the delays of a busy machine.
class RepeatedReplyTest : public LateReplyTest {
protected:
    RepeatedReplyTest()
        : LateReplyTest({"repeat:every=11,service=read,ms=" + std::to_string(test::paced(36)),
                         "delay:service=read,ms=" + std::to_string(test::paced(40))}) {
        settings.loop.replyTimeout = host::Milliseconds(test::paced(2000));
    }

    std::int64_t repeatsNoticed() const { return session->status().statistics.badReplies; }

    // The end of a one-shot read: false when it failed.
    bool isRead(std::int32_t serial) {
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
        return stepOf(serial) == host::OrderStep::Succeeded;
    }

    // The first of an array: a write that was not reported done has not always arrived.
    std::int64_t wordInPlc(std::int64_t offset) const {
        return std::stoi(inPlc(1, offset, 2).erase(2, 1), nullptr, 16);
    }

    void writeAll(const std::string& text, std::int64_t word) {
        const std::int32_t serial = session->write(tag(text), host::HostValues(200, word));
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    }
};

TEST_F(RepeatedReplyTest, NoArrayIsEverShownAsTheOtherNeitherFreshNorStale) {
    begin({"Main.left", "Main.right", "Main.many"});
    EXPECT_TRUE(eventually([&] {
        EXPECT_FALSE(anyValueIsWrong());
        return HasFailure() || repeatsNoticed() >= 8;
    })) << lastFailure();
    EXPECT_EQ(read("Main.left").substr(0, 10), "1111, 1111");
    EXPECT_EQ(read("Main.right").substr(0, 10), "2222, 2222");
}

TEST_F(RepeatedReplyTest, AOneShotReadThatIsDoneHasItsOwnValue) {
    begin({});
    int done = 0;
    int failed = 0;
    while (repeatsNoticed() < 4 && !HasFailure()) {
        const std::int32_t left = session->readOnce(tag("Main.left"));
        const std::int32_t right = session->readOnce(tag("Main.right"));
        const std::int32_t leftAgain = session->readOnce(tag("Main.left"));
        for (const std::int32_t serial : {left, right, leftAgain}) {
            ++(isRead(serial) ? done : failed);
            EXPECT_FALSE(anyValueIsWrong());
        }
    }
    EXPECT_GT(done, 0);
    EXPECT_GT(failed, 0);
}

TEST_F(RepeatedReplyTest, WhatIsReadBackAfterAWriteIsWhatThePlcHas) {
    begin({});
    int done = 0;
    for (std::int64_t word = 1; repeatsNoticed() < 4 && !HasFailure(); ++word) {
        writeAll("Main.left", word);
        writeAll("Main.right", 1000 + word);
        const std::int32_t left = session->readOnce(tag("Main.left"));
        const std::int32_t right = session->readOnce(tag("Main.right"));
        if (isRead(left)) {
            EXPECT_FALSE(isWrong("Main.left", wordInPlc(2000)));
            ++done;
        }
        if (isRead(right)) {
            EXPECT_FALSE(isWrong("Main.right", wordInPlc(4000)));
        }
    }
    EXPECT_GT(done, 0);
}

TEST_F(RepeatedReplyTest, ABitIsWrittenIntoTheBitsOfItsOwnVariable) {
    plc.write(1, 6, byteString("55 55"));
    begin({"Main.uint"});
    for (int round = 1; repeatsNoticed() < 4 && !HasFailure(); ++round) {
        const std::int32_t serial = order("Main.word.b[3]", round % 2 == 1 ? "1" : "0");
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
        const std::string word = inPlc(1, 8, 2);
        EXPECT_TRUE(word == "00 00" || word == "00 08") << word << " after round " << round;
    }
}

}  // namespace
}  // namespace ac500
