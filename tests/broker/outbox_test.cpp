#include "tools/broker/outbox.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>

#include "tests/broker/outbox_support.h"

namespace ac500::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// ---- numbers

TEST_F(OutboxTest, NumbersOfANewStoreBeginWithTheTimeInMilliseconds) {
    ASSERT_TRUE(open(1795388400123));

    EXPECT_EQ(outbox_->takeSequence(), 1795388400123);
    EXPECT_EQ(outbox_->takeSequence(), 1795388400124);
}

TEST_F(OutboxTest, NumbersOfANewStoreBeginWithOneWhileTheClockIsNotSet) {
    ASSERT_TRUE(open(5000));

    EXPECT_EQ(outbox_->takeSequence(), 1);
}

TEST_F(OutboxTest, ACleanEndLeavesNoHoleInTheNumbers) {
    ASSERT_TRUE(open(0));
    add();
    add();
    end();

    ASSERT_TRUE(open());
    EXPECT_EQ(add(), 3);
    connect();

    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(1, 2, 3));
}

TEST_F(OutboxTest, AnEndWithoutAFlushUsesNoNumberTwiceAndTellsTheGap) {
    ASSERT_TRUE(open(0));
    add();
    passAndTick(seconds(1));
    add();  // is never flushed

    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(1));

    EXPECT_THAT(gapsIn(sent), ElementsAre("2..1024 ended without being stored"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(1025, 1));
}

TEST_F(OutboxTest, ANumberThatWasTakenAndNeverAddedBecomesAGap) {
    ASSERT_TRUE(open(0));
    outbox_->takeSequence();
    add();
    end();

    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(1));
    EXPECT_THAT(gapsIn(sent), ElementsAre("1..2 ended without being stored"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(3, 2));
}

TEST_F(OutboxTest, GapsAndMessagesOfAPassMayComeInAnyOrder) {
    ASSERT_TRUE(open(0));
    for (int pass = 0; pass < 2; ++pass) {
        const std::int64_t tooLarge = outbox_->takeSequence();
        add();
        ASSERT_TRUE(outbox_->flush(now_));
        outbox_->addGap({tooLarge, tooLarge, kWallMs, kWallMs, "too large"});
        const std::int64_t message = outbox_->takeSequence();
        const std::int64_t following = outbox_->takeSequence();
        outbox_->addGap({following, following, kWallMs, kWallMs, "too large"});
        outbox_->add({"plant/values", textFor(message, 100), message, kWallMs}, now_);
    }
    end();
    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(1));

    EXPECT_THAT(gapsIn(sent), ElementsAre("1..1 too large", "4..5 too large", "8..8 too large"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(9, 10, 11, 2, 3, 6, 7));
}

// ---- memory and store

TEST_F(OutboxTest, WhatIsAcknowledgedWhileConnectedNeverTouchesTheStore) {
    ASSERT_TRUE(open(0));
    connect();
    for (int i = 0; i < 100; ++i) {
        add();
        EXPECT_THAT(sendFor(milliseconds(100)), SizeIs(1));
        EXPECT_EQ(outbox_->status().storeMessages, 0u);
    }

    EXPECT_EQ(outbox_->status().memoryMessages, 0u);
    EXPECT_EQ(outbox_->status().memoryBytes, 0u);
}

TEST_F(OutboxTest, WhatComesWhileApartIsInTheStoreASecondLaterAndNoMoreInMemory) {
    ASSERT_TRUE(open(0));
    add();
    pass(milliseconds(500));
    add();

    passAndTick(milliseconds(499));
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    EXPECT_EQ(outbox_->whenNext(now_), now_ + milliseconds(1));

    passAndTick(milliseconds(1));
    EXPECT_EQ(outbox_->status().storeMessages, 2u);
    EXPECT_EQ(outbox_->status().storeBytes, 224u);  // twice 100 of payload and "plant/values"
    EXPECT_EQ(outbox_->status().memoryMessages, 0u);
    EXPECT_EQ(outbox_->status().memoryBytes, 0u);
}

TEST_F(OutboxTest, WhatIsNotAcknowledgedForFiveSecondsIsStoredThoughConnectedAndSurvivesAKill) {
    ASSERT_TRUE(open(0));
    connect();
    const std::int64_t number = add();
    ASSERT_TRUE(outbox_->next(now_));

    passAndTick(milliseconds(4999));
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    passAndTick(milliseconds(1));
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
    EXPECT_EQ(outbox_->status().memoryMessages, 1u);
    EXPECT_EQ(outbox_->next(now_), std::nullopt);  // it is in flight

    ASSERT_TRUE(open());
    connect();
    EXPECT_EQ(numbersOf(sendFor(seconds(1))).back(), number);
}

TEST_F(OutboxTest, AnAcknowledgedMessageLeavesTheStore) {
    ASSERT_TRUE(open(0));
    add();
    add();
    passAndTick(seconds(1));
    connect();
    EXPECT_THAT(numbersOf(sendFor(seconds(2))), ElementsAre(1, 2));
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    EXPECT_EQ(outbox_->status().storeBytes, 0u);

    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(2));
    EXPECT_THAT(gapsIn(sent), ElementsAre("3..1024 ended without being stored"));
    EXPECT_THAT(sent, SizeIs(1));
}

TEST_F(OutboxTest, WithoutAFileAllIsInMemory) {
    settings_.file.clear();
    ASSERT_TRUE(open(0));
    add();
    passAndTick(hours(1));
    connect();

    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(1));
    EXPECT_THAT(told_, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(folder_));
}

TEST_F(OutboxTest, ASlowBrokerDoesNotMakeMemoryGrowAndLosesNothing) {
    settings_.memoryBytes = 64 * 1024;
    settings_.backlogRate = 1000;
    ASSERT_TRUE(open(0));
    connect();
    std::vector<std::int64_t> added;
    std::vector<std::int64_t> inFlight;
    for (int i = 0; i < 2000; ++i) {
        added.push_back(add(200));
        if (inFlight.size() < 20) {
            inFlight.push_back(outbox_->next(now_)->sequence);
        }
        ASSERT_LE(outbox_->status().memoryBytes, 64u * 1024u);
    }
    EXPECT_GT(outbox_->status().storeMessages, 1500u);

    for (const std::int64_t number : inFlight) {
        outbox_->acknowledged(number);
    }
    std::vector<std::int64_t> sent = numbersOf(sendFor(seconds(4)));
    EXPECT_THAT(sent, SizeIs(1980));  // none twice
    sent.insert(sent.end(), inFlight.begin(), inFlight.end());
    std::sort(sent.begin(), sent.end());
    EXPECT_EQ(sent, added);
    EXPECT_EQ(outbox_->status().dropped, 0u);
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
}

// ---- at least once, and the same again

TEST_F(OutboxTest, WhatIsSentAgainIsTheSameToTheByteWithTheSameNumber) {
    const std::string payload = std::string("{\"text\":\"\xC3\xA4 \\u0000 '") + '\0' + "\"}\n";
    ASSERT_TRUE(open(0));
    connect();
    const std::int64_t number = outbox_->takeSequence();
    outbox_->add({"plant/values", payload, number, 1795388400123}, now_);
    ASSERT_EQ(outbox_->next(now_)->payload, payload);

    const auto isTheSame = [&](const std::optional<Message>& message) {
        return message && message->topic == "plant/values" && message->payload == payload &&
               message->sequence == number && message->atMs == 1795388400123;
    };
    disconnect();
    connect();
    EXPECT_TRUE(isTheSame(outbox_->next(now_))) << "from memory";
    disconnect();
    passAndTick(seconds(5));
    connect();
    EXPECT_TRUE(isTheSame(outbox_->next(now_))) << "from the store";
    end();
    ASSERT_TRUE(open());
    connect();
    EXPECT_TRUE(isTheSame(outbox_->next(now_))) << "after a clean end";
    ASSERT_TRUE(open());
    connect();
    EXPECT_TRUE(isTheSame(outbox_->next(now_))) << "after a kill";
}

TEST_F(OutboxTest, AcknowledgementsOfUnknownNumbersAreIgnored) {
    ASSERT_TRUE(open(0));
    add();
    connect();
    outbox_->acknowledged(1);  // was not sent yet
    outbox_->acknowledged(77);

    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(1));
}

// ---- the order

TEST_F(OutboxTest, LiveMessagesGoFirstAndTheBacklogIsThrottledAndInOrder) {
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 120; ++i) {
        add();
    }
    passAndTick(seconds(1));
    for (int i = 0; i < 5; ++i) {
        add();  // is in memory still
    }
    connect();
    std::vector<std::int64_t> backlog;
    for (std::int64_t live = 126; live <= 127; ++live) {
        ASSERT_EQ(add(), live);
        const std::vector<std::int64_t> sent = numbersOf(sendFor(seconds(1)));
        EXPECT_EQ(sent.front(), live);
        EXPECT_EQ(sent.size(), 51u);  // and 50 a second
        backlog.insert(backlog.end(), sent.begin() + 1, sent.end());
    }
    const std::vector<std::int64_t> rest = numbersOf(sendFor(seconds(1)));
    backlog.insert(backlog.end(), rest.begin(), rest.end());

    std::vector<std::int64_t> expected(125);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(backlog, expected);
    EXPECT_EQ(outbox_->status().backlog, 0u);
}

TEST_F(OutboxTest, TheBacklogIsSentWhenItIsDueAndNotAsked) {
    ASSERT_TRUE(open(0));
    add();
    add();
    outbox_->flush(now_);
    connect();
    ASSERT_TRUE(outbox_->next(now_));

    EXPECT_EQ(outbox_->next(now_), std::nullopt);
    EXPECT_EQ(outbox_->whenNext(now_), now_ + milliseconds(20));
    EXPECT_EQ(outbox_->whenNext(now_, false), now_ + hours(0) + seconds(60)) << "when ages are looked at";
    pass(milliseconds(20));
    EXPECT_TRUE(outbox_->next(now_));
}

TEST_F(OutboxTest, APauseOfTheDoorMakesNoBurstOfTheBacklog) {
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 50; ++i) {
        add();
    }
    connect();
    pass(seconds(10));

    int atOnce = 0;
    while (outbox_->next(now_)) {
        ++atOnce;
    }
    EXPECT_EQ(atOnce, 6);  // a tenth of a second at 50 a second, and the one that is due
}

TEST_F(OutboxTest, WhatWasInFlightWhenTheConnectionWentIsBacklogThen) {
    ASSERT_TRUE(open(0));
    connect();
    add();
    add();
    ASSERT_EQ(outbox_->next(now_)->sequence, 1);
    disconnect();
    EXPECT_EQ(outbox_->next(now_), std::nullopt);
    EXPECT_EQ(outbox_->status().inFlight, 0u);
    EXPECT_EQ(outbox_->status().backlog, 2u);
    connect();
    add();

    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(3, 1, 2));
}

// ---- bounds

TEST_F(OutboxTest, AFullStoreDropsTheOldestAndOneGapRecordTellsThem) {
    settings_.storeBytes = 1024 * 1024;
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 6000; ++i) {
        add(400, kWallMs + i);
        if (i % 50 == 0) {
            passAndTick(seconds(1));
            ASSERT_LE(std::filesystem::file_size(settings_.file), 1024u * 1024u);
        }
    }
    end();
    EXPECT_LE(std::filesystem::file_size(settings_.file), 1024u * 1024u);
    settings_.backlogRate = 10000;
    ASSERT_TRUE(open());
    const std::size_t kept = outbox_->status().storeMessages;
    EXPECT_GT(kept * 412, 768u * 1024u) << "three quarters of the file are messages";
    connect();
    const std::vector<Message> sent = sendFor(seconds(2));

    const std::int64_t dropped = 6000 - static_cast<std::int64_t>(kept);
    EXPECT_THAT(gapsIn(sent), ElementsAre("1.." + std::to_string(dropped) + " store full"));
    EXPECT_EQ(sent[0].sequence, 6001);
    EXPECT_EQ(sent[0].atMs, kWallMs + dropped - 1) << "until when";
    std::vector<std::int64_t> expected(kept);
    std::iota(expected.begin(), expected.end(), dropped + 1);
    std::vector<std::int64_t> numbers = numbersOf(sent);
    numbers.erase(numbers.begin());
    EXPECT_EQ(numbers, expected);
}

TEST_F(OutboxTest, ABatchThatTheStoreCannotHoldLosesItsOldest) {
    settings_.storeBytes = 256 * 1024;
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 60; ++i) {
        add(10000);
    }
    ASSERT_TRUE(outbox_->flush(now_));
    EXPECT_LE(std::filesystem::file_size(settings_.file), 256u * 1024u);
    const auto dropped = static_cast<std::int64_t>(outbox_->status().dropped);
    EXPECT_GT(dropped, 30);
    EXPECT_LT(dropped, 55);
    connect();
    const std::vector<Message> sent = sendFor(seconds(3));

    EXPECT_THAT(gapsIn(sent), ElementsAre("1.." + std::to_string(dropped) + " store full"));
    EXPECT_THAT(sent, SizeIs(static_cast<std::size_t>(61 - dropped)));
    EXPECT_EQ(sent[1].sequence, dropped + 1);
}

TEST_F(OutboxTest, WhatIsOlderThanAWeekIsDroppedAndTold) {
    ASSERT_TRUE(open(0));
    add(100, kWallMs);
    add(100, kWallMs + 1000);
    passAndTick(hours(24));
    add(100, kWallMs + 2000);
    passAndTick(hours(6 * 24) - seconds(1));
    EXPECT_EQ(outbox_->status().dropped, 0u);
    EXPECT_EQ(outbox_->status().oldestMs, kWallMs);

    passAndTick(seconds(61));
    EXPECT_EQ(outbox_->status().dropped, 2u);
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
    EXPECT_EQ(outbox_->status().oldestMs, kWallMs + 2000);
    connect();
    const std::vector<Message> sent = sendFor(seconds(1));

    EXPECT_THAT(gapsIn(sent), ElementsAre("1..2 too old"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(4, 3));
}

TEST_F(OutboxTest, WhatIsInFlightAndStoredAndTooOldKeepsNobodyBusy) {
    settings_.largestAge = seconds(10);
    ASSERT_TRUE(open(0));
    connect();
    add();
    ASSERT_TRUE(outbox_->next(now_));
    passAndTick(seconds(5));
    ASSERT_EQ(outbox_->status().storeMessages, 1u);

    passAndTick(seconds(6));
    EXPECT_EQ(outbox_->next(now_), std::nullopt);
    EXPECT_EQ(outbox_->whenNext(now_), now_ + seconds(54));
    passAndTick(seconds(54));
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    EXPECT_EQ(outbox_->status().memoryMessages, 0u);
    EXPECT_THAT(gapsIn(sendFor(seconds(11))), ElementsAre("1..1 too old"));
}

TEST_F(OutboxTest, AgesGoOnAfterARestartFromWhereTheyWere) {
    ASSERT_TRUE(open(0));
    add();
    passAndTick(hours(6 * 24));
    end();
    now_ = Time(0);  // the clock of another run of the machine
    ASSERT_TRUE(open());
    passAndTick(hours(23));
    EXPECT_EQ(outbox_->status().storeMessages, 1u);

    passAndTick(hours(2));
    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    EXPECT_EQ(outbox_->status().dropped, 1u);
}

TEST_F(OutboxTest, MemoryWithoutAStoreIsBoundedInBytesAndAge) {
    settings_.file.clear();
    settings_.memoryBytes = 10 * (100 + 12 + broker::kMessageOverhead);
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 14; ++i) {
        add();
    }
    EXPECT_EQ(outbox_->status().memoryMessages, 10u);
    passAndTick(hours(24 * 7));
    EXPECT_EQ(outbox_->status().memoryMessages, 10u);
    passAndTick(milliseconds(1));
    EXPECT_EQ(outbox_->status().memoryMessages, 0u);
    connect();

    EXPECT_THAT(gapsIn(sendFor(seconds(1))), ElementsAre("1..4 memory full", "5..14 too old"));
}

TEST_F(OutboxTest, LimitsCanBeRenewed) {
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 100; ++i) {
        add();
    }
    OutboxSettings renewed = settings_;
    renewed.file = folder_ + "/other.db";
    renewed.backlogRate = 10;
    renewed.largestAge = std::chrono::minutes(1);
    outbox_->setLimits(renewed);
    connect();

    EXPECT_THAT(sendFor(seconds(1)), SizeIs(10));
    passAndTick(seconds(120));
    EXPECT_EQ(outbox_->status().dropped, 90u);
    EXPECT_FALSE(exists("other.db"));
}

// ---- gap records

TEST_F(OutboxTest, WhatTheDoorCannotSendIsToldWithItsReason) {
    ASSERT_TRUE(open(0));
    connect();
    const std::int64_t number = outbox_->takeSequence();
    outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
    const std::int64_t following = outbox_->takeSequence();
    outbox_->addGap({following, following, kWallMs, kWallMs, "too large"});

    EXPECT_THAT(sendFor(seconds(10)), IsEmpty()) << "what is dropped within ten seconds makes one record";
    EXPECT_THAT(gapsIn(sendFor(seconds(1))), ElementsAre("1..2 too large"));
    EXPECT_EQ(outbox_->status().gapRecords, 0u);
}

TEST_F(OutboxTest, GapsThatGoOnAreToldEveryTenSecondsNevertheless) {
    ASSERT_TRUE(open(0));
    connect();
    std::size_t told = 0;
    for (int second = 0; second < 60; ++second) {
        const std::int64_t number = outbox_->takeSequence();
        outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
        told += gapsIn(sendFor(seconds(1))).size();
    }
    EXPECT_GE(told, 4u);
    EXPECT_LE(told, 6u);
}

TEST_F(OutboxTest, GapsBesideMessagesThatAreHeldAreBounded) {
    ASSERT_TRUE(open(0));
    for (int pass = 0; pass < 5000; ++pass) {
        add();
        const std::int64_t number = outbox_->takeSequence();
        outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
    }
    EXPECT_EQ(outbox_->status().gapRecords, 256u);
    EXPECT_EQ(outbox_->status().dropped, 5000u);
}

TEST_F(OutboxTest, AGapRecordStaysTheSameUntilItIsAcknowledged) {
    ASSERT_TRUE(open(0));
    const std::int64_t number = outbox_->takeSequence();
    outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
    connect();
    const Message told = *outbox_->next(now_);
    EXPECT_EQ(told.payload, "gap 1..1 too large");
    disconnect();
    const std::int64_t following = outbox_->takeSequence();
    outbox_->addGap({following, following, kWallMs, kWallMs, "too large"});

    ASSERT_TRUE(open()) << "after a kill";
    connect();
    const Message again = *outbox_->next(now_);
    EXPECT_EQ(again.sequence, told.sequence);
    EXPECT_EQ(again.payload, told.payload);
    EXPECT_EQ(again.atMs, told.atMs);
    EXPECT_EQ(outbox_->next(now_)->payload, "gap 3..1024 ended without being stored");
}

TEST_F(OutboxTest, AGapRecordThatCannotBeSentWaitsForAnotherConnection) {
    ASSERT_TRUE(open(0));
    const std::int64_t number = outbox_->takeSequence();
    outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
    connect();
    const Message told = *outbox_->next(now_);
    EXPECT_EQ(told.payload, "gap 1..1 too large");
    EXPECT_TRUE(outbox_->isGapRecord(told.sequence));
    outbox_->drop(told.sequence, told.atMs, "the packet is larger than the broker takes");

    EXPECT_THAT(sendFor(seconds(60)), IsEmpty()) << "nothing stands for it but itself";
    EXPECT_EQ(outbox_->status().inFlight, 0u);
    EXPECT_EQ(outbox_->status().gapRecords, 1u);
    EXPECT_EQ(outbox_->status().dropped, 1u);
    EXPECT_GT(outbox_->whenNext(now_).value_or(now_ + seconds(1)), now_) << "nobody is kept busy";

    disconnect();
    connect();
    EXPECT_THAT(gapsIn(sendFor(seconds(1))), ElementsAre("1..2 too large")) << "its own number has not come either";
    EXPECT_EQ(outbox_->status().gapRecords, 0u);
}

TEST_F(OutboxTest, AGapRecordThatCannotBeSentHoldsUpNothingElse) {
    ASSERT_TRUE(open(0));
    const std::int64_t number = outbox_->takeSequence();
    outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
    connect();
    outbox_->drop(outbox_->next(now_)->sequence, kWallMs, "the packet is larger than the broker takes");
    const std::int64_t other = outbox_->takeSequence();
    outbox_->addGap({other, other, kWallMs, kWallMs, "invalid"});
    const std::int64_t live = add();
    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(live));
    EXPECT_THAT(gapsIn(sendFor(seconds(10))), ElementsAre("3..3 invalid"));
}

TEST_F(OutboxTest, GapRecordsThatCannotBeSentAreBounded) {
    ASSERT_TRUE(open(0));
    connect();
    std::size_t tries = 0;
    for (int time = 0; time < 600; ++time) {
        add();
        const std::int64_t number = outbox_->takeSequence();
        outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
        passAndTick(seconds(11));
        while (const std::optional<Message> message = outbox_->next(now_)) {
            if (outbox_->isGapRecord(message->sequence)) {
                ++tries;
                outbox_->drop(message->sequence, message->atMs, "the packet is larger than the broker takes");
            } else {
                outbox_->acknowledged(message->sequence);
            }
        }
    }
    EXPECT_EQ(tries, 256u) << "each once";
    EXPECT_EQ(outbox_->status().gapRecords, 256u);
    EXPECT_EQ(outbox_->status().dropped, 600u);
}

TEST_F(OutboxTest, AMessageThatCannotBeSentIsToldByAGap) {
    ASSERT_TRUE(open(0));
    connect();
    const std::int64_t number = add();
    EXPECT_EQ(outbox_->next(now_)->sequence, number);
    EXPECT_FALSE(outbox_->isGapRecord(number));
    outbox_->drop(number, kWallMs, "too large");
    EXPECT_EQ(outbox_->status().inFlight, 0u);
    EXPECT_EQ(outbox_->status().dropped, 1u);
    EXPECT_THAT(gapsIn(sendFor(seconds(11))), ElementsAre("1..1 too large"));
}

// ---- clocks

TEST_F(OutboxTest, AClockThatStepsNeitherEmptiesTheStoreNorKeepsMessagesForEver) {
    ASSERT_TRUE(open(5000)) << "not set at the start";
    constexpr std::int64_t kTenYearsMs = 10LL * 365 * 24 * 3600 * 1000;
    for (const std::int64_t wallMs : {std::int64_t{5000}, kWallMs, kWallMs + kTenYearsMs, kWallMs - kTenYearsMs}) {
        add(100, wallMs);
        passAndTick(seconds(60));
    }
    for (const std::int64_t wallMs : {kWallMs + kTenYearsMs, std::int64_t{0}, kWallMs}) {
        end();
        ASSERT_TRUE(open(wallMs)) << "not set, or stepped, at a restart";
        passAndTick(seconds(120));
        EXPECT_EQ(outbox_->status().storeMessages, 4u);
        EXPECT_EQ(outbox_->status().dropped, 0u);
    }
    passAndTick(hours(24 * 7));

    EXPECT_EQ(outbox_->status().storeMessages, 0u);
    EXPECT_EQ(outbox_->status().dropped, 4u);
    connect();
    EXPECT_THAT(gapsIn(sendFor(seconds(1))), ElementsAre("1..4 too old"));
}

// ---- a second process

TEST_F(OutboxTest, ASecondProcessIsRefused) {
    ASSERT_TRUE(open(0));
    add();
    ASSERT_TRUE(outbox_->flush(now_));
    const pid_t child = ::fork();
    if (child == 0) {
        host::Failure failure;
        const auto gapMessage = [](const Gap&, std::int64_t) { return Message(); };
        const auto second = Outbox::open(
            settings_, now_, 0, gapMessage, [](const std::string&) {}, &failure);
        const bool isRefused = second == nullptr && failure.kind == host::FailureKind::File &&
                               failure.text.find("another process") != std::string::npos;
        ::_exit(isRefused ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);

    EXPECT_FALSE(exists("store.db.damaged-1"));
    add();
    EXPECT_TRUE(outbox_->flush(now_));
    EXPECT_EQ(outbox_->status().storeMessages, 2u);
}

}  // namespace
}  // namespace ac500::test
