#include "tools/host/order_book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kRequestBytes = 200;
const Failure kNoLink{FailureKind::Tcp, "not sent: no connection"};
const Failure kExpired{FailureKind::Request, "not sent: its time was over"};
const Failure kGivenUp{FailureKind::Request, "given up"};

Time ms(int time) {
    return Milliseconds(time);
}

Tag wordAt(std::int64_t address) {
    Tag tag;
    tag.text = "Main.word";
    tag.prefix = tag.text;
    tag.form = {TypeCode::Int, false};
    tag.area = 1;
    tag.address = address;
    return tag;
}

Tag bitOfWordAt(std::int64_t address) {
    Tag tag = wordAt(address);
    tag.form = {TypeCode::Word, true};
    return tag;
}

Tag wordsOf(int elements) {
    Tag tag = wordAt(0);
    tag.elements = elements;
    tag.rowExtent = elements;
    return tag;
}

Tag stringInArray() {
    Tag tag;
    tag.form = {TypeCode::String, false};
    tag.elements = 1;
    tag.rowExtent = 3;
    tag.area = 1;
    return tag;
}

class OrderBookTest : public testing::Test {
protected:
    std::int32_t orderWord(int address, int time = 0) {
        return book_.orderWrite(wordAt(address), {std::int64_t{7}}, ms(time));
    }
    std::int32_t orderBit(int address) { return book_.orderWrite(bitOfWordAt(address), {true}, ms(0)); }
    std::int32_t orderReadOf(int words) { return book_.orderRead(wordsOf(words), ms(0)); }

    static std::int32_t serialOf(const Order* order) { return order == nullptr ? 0 : order->serial; }
    // What the link was down for.
    void failWaiting(Time now, Milliseconds limit, const Failure& reason) {
        book_.failOverdueWrites(now, limit, reason);
        book_.expireWrites(now, kExpired);
    }
    // 0: none may go
    std::int32_t nextWrite() const { return serialOf(book_.nextWrite()); }
    std::int32_t nextRead() const { return serialOf(book_.nextRead()); }
    // Hands the reading over that a bit write needs; returns its serial.
    std::int32_t handOverReading() {
        const std::int32_t reading = nextRead();
        book_.handedOver(reading, ms(1));
        return reading;
    }
    const Order* endWell(std::int32_t serial, int time) {
        book_.answered(serial, ms(time));
        return book_.succeeded(serial);
    }
    OrderStep stepOf(std::int32_t serial) const { return book_.find(serial)->step; }
    WriteView::Kind viewAt(std::int64_t address, std::optional<Time> oldest, Time now) const {
        return book_.view({{1, address, 2}}, oldest, now).kind;
    }

    OrderBook book_{kRequestBytes};
};

TEST_F(OrderBookTest, WritesGoInTheOrderOfTheOrders) {
    const std::int32_t first = orderWord(0);
    const std::int32_t second = orderWord(2);
    EXPECT_NE(first, second);
    EXPECT_EQ(nextWrite(), first);
    book_.handedOver(first, ms(1));
    EXPECT_EQ(nextWrite(), second);
    book_.handedOver(second, ms(1));
    EXPECT_EQ(nextWrite(), 0);
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::WithDriver), ElementsAre(first, second));
}

TEST_F(OrderBookTest, ABitWriteWaitsForWhatIsUnderwayAndHoldsBackWhatFollows) {
    const std::int32_t word = orderWord(0);
    const std::int32_t bit = orderBit(0);
    const std::int32_t later = orderWord(2);
    book_.handedOver(word, ms(1));
    EXPECT_EQ(nextWrite(), 0);
    endWell(word, 1);
    EXPECT_EQ(nextWrite(), bit);
    book_.readFirst(bit, ms(1));
    EXPECT_EQ(nextWrite(), 0);
    book_.handedOver(bit, ms(1));
    EXPECT_EQ(nextWrite(), 0);
    endWell(bit, 2);
    EXPECT_EQ(nextWrite(), later);
}

TEST_F(OrderBookTest, AFailedBitWriteLetsTheNextOneGo) {
    const std::int32_t first = orderBit(0);
    const std::int32_t second = orderBit(0);
    book_.readFirst(first, ms(1));
    book_.failed(first, kNoLink, ms(1));
    EXPECT_EQ(nextWrite(), second);
}

TEST_F(OrderBookTest, EveryWriteEndsOnce) {
    const std::int32_t serial = orderWord(0);
    book_.handedOver(serial, ms(1));
    EXPECT_TRUE(book_.anyUrgent());
    endWell(serial, 5);
    EXPECT_FALSE(book_.anyUrgent());
    book_.failed(serial, kNoLink, ms(6));
    EXPECT_EQ(stepOf(serial), OrderStep::Succeeded);
    EXPECT_EQ(book_.find(serial)->ended, ms(5));
    endWell(4711, 7);
    EXPECT_EQ(book_.find(4711), nullptr);
}

TEST_F(OrderBookTest, WaitingWritesFailAfterTheDeadlineEachWithTheReason) {
    const std::int32_t early = orderWord(0, 0);
    const std::int32_t late = orderWord(2, 600);
    failWaiting(ms(1000), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(early), OrderStep::Waiting);
    failWaiting(ms(1001), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(early), OrderStep::Failed);
    EXPECT_EQ(book_.find(early)->failure.text, "not sent: no connection");
    EXPECT_EQ(stepOf(late), OrderStep::Waiting);
    EXPECT_EQ(nextWrite(), late);
}

TEST_F(OrderBookTest, AWriteThatWaitsForOthersHasNoDeadlineButItsExpiry) {
    WriteTerms brief;
    brief.expiry = ms(5000);
    const std::int32_t patient = orderWord(0, 0);
    const std::int32_t hasty = book_.orderWrite(wordAt(2), {std::int64_t{7}}, ms(0), brief);
    book_.expireWrites(ms(100000), kExpired);
    EXPECT_EQ(stepOf(patient), OrderStep::Waiting);
    EXPECT_EQ(stepOf(hasty), OrderStep::Failed);
}

TEST_F(OrderBookTest, AWriteWithAnExpiryFailsWhenItHasComeAndTheOthersWait) {
    WriteTerms brief;
    brief.expiry = ms(500);
    const std::int32_t first = book_.orderWrite(wordAt(0), {std::int64_t{7}}, ms(0), brief);
    const std::int32_t second = book_.orderWrite(wordAt(2), {std::int64_t{7}}, ms(0), brief);
    const std::int32_t patient = orderWord(4);
    book_.failed(first, kGivenUp, ms(1));
    failWaiting(ms(499), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(second), OrderStep::Waiting);
    failWaiting(ms(500), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(second), OrderStep::Failed);
    EXPECT_EQ(book_.find(second)->failure.text, "not sent: its time was over");
    EXPECT_EQ(stepOf(patient), OrderStep::Waiting);
}

TEST_F(OrderBookTest, AWriteWhoseTimeIsOverWhileItIsReadFirstFailsWithItsReading) {
    WriteTerms brief;
    brief.expiry = ms(500);
    const std::int32_t write = book_.orderWrite(bitOfWordAt(0), {true}, ms(0), brief);
    book_.readFirst(write, ms(1));
    const std::int32_t reading = nextRead();
    failWaiting(ms(499), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(write), OrderStep::ReadingFirst);
    failWaiting(ms(500), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(write), OrderStep::Failed);
    EXPECT_EQ(book_.find(write)->failure.text, "not sent: its time was over");
    EXPECT_EQ(stepOf(reading), OrderStep::Failed);
}

TEST_F(OrderBookTest, WhatHasEndedIsTakenOnce) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    endWell(handOverReading(), 2);
    book_.failed(bit, kGivenUp, ms(3));
    book_.failed(orderWord(2, 7), kNoLink, ms(8));
    const std::vector<EndedOrder> ended = book_.takeEnded();
    ASSERT_EQ(ended.size(), 3u);
    EXPECT_EQ(ended[0].kind, OrderKind::Read);
    EXPECT_TRUE(ended[0].isForWrite);
    EXPECT_FALSE(ended[0].failure.occurred());
    EXPECT_EQ(ended[1].kind, OrderKind::Write);
    EXPECT_FALSE(ended[1].isForWrite);
    EXPECT_EQ(ended[1].failure.text, "given up");
    EXPECT_EQ(ended[2].tag, "Main.word");
    EXPECT_EQ(ended[2].ordered, ms(7));
    EXPECT_FALSE(ended[2].isForWrite);
    EXPECT_THAT(book_.takeEnded(), IsEmpty());
}

TEST_F(OrderBookTest, TheOrdersAtAStepComeInTheOrderOfTheirTimes) {
    const std::int32_t later = orderWord(0, 5);
    const std::int32_t earlier = orderWord(2, 3);
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::Waiting), ElementsAre(earlier, later));
}

TEST_F(OrderBookTest, ManyOrdersAtAStepComeInTheOrderOfTheirTimesAndOfOneTimeInThatOfTheirSerials) {
    for (int i = 0; i < 100; ++i) {
        orderWord(0, 50 - i / 2);
    }
    std::vector<std::int32_t> expected;
    for (int i = 98; i >= 0; i -= 2) {
        expected.push_back(i + 1);
        expected.push_back(i + 2);
    }
    EXPECT_EQ(book_.at(OrderKind::Write, OrderStep::Waiting), expected);
}

TEST_F(OrderBookTest, BehindTheLargestSerialTheyBeginWithOneAgainAndTheOrderHolds) {
    OrderBook book(kRequestBytes, 2147483646);
    EXPECT_EQ(book.orderWrite(wordAt(0), {std::int64_t{7}}, ms(1)), 2147483647);
    EXPECT_EQ(book.orderWrite(wordAt(2), {std::int64_t{7}}, ms(2)), 1);
    EXPECT_EQ(book.orderWrite(wordAt(4), {std::int64_t{7}}, ms(3)), 2);
    EXPECT_THAT(book.at(OrderKind::Write, OrderStep::Waiting), ElementsAre(2147483647, 1, 2));
}

TEST_F(OrderBookTest, WhatTheDriverHoldsDoesNotExpireButBecomesOverdue) {
    const std::int32_t serial = orderWord(0, 0);
    EXPECT_FALSE(book_.anyWriteOverdue(ms(5000), Milliseconds(1000)));
    book_.handedOver(serial, ms(1));
    failWaiting(ms(5000), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(serial), OrderStep::WithDriver);
    EXPECT_FALSE(book_.anyWriteOverdue(ms(1000), Milliseconds(1000)));
    EXPECT_TRUE(book_.anyWriteOverdue(ms(1001), Milliseconds(1000)));
}

TEST_F(OrderBookTest, AValueIsPendingUntilItWasReadAfterTheWrite) {
    const std::int32_t serial = orderWord(10);
    EXPECT_EQ(viewAt(10, ms(1), ms(2)), WriteView::Kind::Pending);
    book_.handedOver(serial, ms(1));
    EXPECT_EQ(viewAt(10, ms(1), ms(2)), WriteView::Kind::Pending);
    endWell(serial, 5);
    EXPECT_EQ(viewAt(10, ms(4), ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, ms(5), ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, std::nullopt, ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, ms(6), ms(6)), WriteView::Kind::None);
}

TEST_F(OrderBookTest, OnlyTagsThatShareAByteAreConcerned) {
    orderWord(10);
    EXPECT_EQ(viewAt(11, ms(1), ms(2)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(12, ms(1), ms(2)), WriteView::Kind::None);
    EXPECT_EQ(viewAt(8, ms(1), ms(2)), WriteView::Kind::None);
}

TEST_F(OrderBookTest, AWriteOfAnotherTagHidesNone) {
    orderWord(10);
    orderWord(20);
    orderWord(30);
    EXPECT_EQ(viewAt(10, ms(1), ms(2)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(20, ms(1), ms(2)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(30, ms(1), ms(2)), WriteView::Kind::Pending);
}

TEST_F(OrderBookTest, AFailureIsShownForTenSecondsAndUntilTheValueIsReadAgain) {
    const std::int32_t serial = orderWord(10);
    book_.failed(serial, kNoLink, ms(5));
    EXPECT_EQ(viewAt(10, ms(6), ms(7)), WriteView::Kind::Failed);
    EXPECT_EQ(viewAt(10, ms(6), ms(10004)), WriteView::Kind::Failed);
    EXPECT_EQ(viewAt(10, ms(6), ms(10005)), WriteView::Kind::None);
    EXPECT_EQ(viewAt(10, ms(4), ms(99999)), WriteView::Kind::Failed);
}

TEST_F(OrderBookTest, TheLatestWriteOfATagDecides) {
    const std::int32_t first = orderWord(10);
    book_.failed(first, kNoLink, ms(5));
    const std::int32_t second = orderWord(10, 6);
    EXPECT_EQ(viewAt(10, ms(4), ms(7)), WriteView::Kind::Pending);
    book_.handedOver(second, ms(1));
    endWell(second, 8);
    EXPECT_EQ(viewAt(10, ms(9), ms(10)), WriteView::Kind::None);
}

TEST_F(OrderBookTest, TheLatestWriteOfATagDecidesBehindTheLargestSerialToo) {
    OrderBook book(kRequestBytes, 2147483646);
    book.failed(book.orderWrite(wordAt(10), {std::int64_t{7}}, ms(1)), kNoLink, ms(2));
    EXPECT_EQ(book.orderWrite(wordAt(10), {std::int64_t{7}}, ms(3)), 1);
    EXPECT_EQ(book.view({{1, 10, 2}}, ms(0), ms(4)).kind, WriteView::Kind::Pending);
}

TEST_F(OrderBookTest, AForgottenWriteIsShownNoMore) {
    book_.failed(orderWord(10), kNoLink, ms(1));
    EXPECT_EQ(viewAt(10, std::nullopt, ms(2)), WriteView::Kind::Failed);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(viewAt(10, std::nullopt, ms(2)), WriteView::Kind::Failed);
        book_.failed(orderWord(20), kNoLink, ms(1));
    }
    EXPECT_EQ(viewAt(10, std::nullopt, ms(2)), WriteView::Kind::None);
    EXPECT_EQ(viewAt(20, std::nullopt, ms(2)), WriteView::Kind::Failed);
}

TEST_F(OrderBookTest, OldRecordsAreForgottenButNeverOnesThatHaveNotEnded) {
    const std::int32_t waiting = orderWord(0);
    std::int32_t firstEnded = 0;
    for (int i = 0; i < 1002; ++i) {
        const std::int32_t serial = orderWord(2);
        firstEnded = firstEnded == 0 ? serial : firstEnded;
        book_.failed(serial, kNoLink, ms(1));
    }
    EXPECT_EQ(book_.find(firstEnded), nullptr);
    EXPECT_EQ(book_.find(firstEnded + 1), nullptr);
    EXPECT_NE(book_.find(firstEnded + 2), nullptr);
    EXPECT_EQ(stepOf(waiting), OrderStep::Waiting);
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::WithDriver), IsEmpty());
}

// ---------------------------------------------------------------------------------------------------------------------
// One-shot reads
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(OrderBookTest, AReadGoesToTheDriverAndEndsOnce) {
    const std::int32_t serial = orderReadOf(1);
    EXPECT_FALSE(book_.anyUrgent());
    EXPECT_EQ(nextRead(), serial);
    EXPECT_EQ(nextWrite(), 0);
    book_.handedOver(serial, ms(1));
    EXPECT_TRUE(book_.anyUrgent());
    EXPECT_EQ(nextRead(), 0);
    EXPECT_EQ(book_.find(serial)->handedOver, ms(1));
    EXPECT_EQ(endWell(serial, 2), nullptr);
    EXPECT_FALSE(book_.anyUrgent());
    book_.failed(serial, kGivenUp, ms(3));
    EXPECT_EQ(stepOf(serial), OrderStep::Succeeded);
    EXPECT_EQ(book_.find(serial)->ended, ms(2));
}

TEST_F(OrderBookTest, AReadAndAWriteNeverShareASerial) {
    const std::int32_t write = orderWord(0);
    const std::int32_t read = orderReadOf(1);
    EXPECT_NE(write, read);
    EXPECT_EQ(book_.find(write)->kind, OrderKind::Write);
    EXPECT_EQ(book_.find(read)->kind, OrderKind::Read);
}

TEST_F(OrderBookTest, NoMoreIsHandedOverThanTheDriverQueues) {
    // 60 000 bytes: at most 301 requests of 200 bytes
    std::vector<std::int32_t> serials;
    for (int i = 0; i < 4; ++i) {
        serials.push_back(orderReadOf(30000));
    }
    EXPECT_EQ(book_.find(serials[0])->requests, 301);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(nextRead(), serials[static_cast<std::size_t>(i)]);
        book_.handedOver(serials[static_cast<std::size_t>(i)], ms(1));
    }
    EXPECT_EQ(nextRead(), 0);
    endWell(serials[1], 2);
    EXPECT_EQ(nextRead(), serials[3]);
}

TEST_F(OrderBookTest, TheDriversQueueIsFilledToTheLastPlace) {
    // 102 200 bytes: at most 512 requests of 200 bytes, half of what the driver queues
    const std::int32_t first = orderReadOf(51100);
    const std::int32_t second = orderReadOf(51100);
    const std::int32_t third = orderReadOf(1);
    EXPECT_EQ(book_.find(first)->requests, 512);
    book_.handedOver(first, ms(1));
    EXPECT_EQ(nextRead(), second);
    book_.handedOver(second, ms(1));
    EXPECT_EQ(nextRead(), 0);
    endWell(first, 2);
    EXPECT_EQ(nextRead(), third);
}

TEST_F(OrderBookTest, AReadThatNeverFitsIsOfferedSoThatItCanFail) {
    const std::int32_t serial = orderReadOf(200000);
    EXPECT_EQ(nextRead(), serial);
    EXPECT_GT(book_.nextRead()->requests, 1024);
}

TEST_F(OrderBookTest, AReadThatFillsTheWholeQueueWaitsUntilItIsEmpty) {
    // 204 600 bytes: at most 1024 requests of 200 bytes
    const std::int32_t small = orderReadOf(1);
    const std::int32_t large = orderReadOf(102300);
    EXPECT_EQ(book_.find(large)->requests, 1024);
    book_.handedOver(small, ms(1));
    EXPECT_EQ(nextRead(), 0);
    endWell(small, 2);
    EXPECT_EQ(nextRead(), large);
}

TEST_F(OrderBookTest, AReadThatFailsIsTakenWithItsReason) {
    book_.failed(orderReadOf(1), kNoLink, ms(2));
    const std::vector<EndedOrder> ended = book_.takeEnded();
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0].kind, OrderKind::Read);
    EXPECT_EQ(ended[0].failure.text, "not sent: no connection");
}

TEST_F(OrderBookTest, AReadByAddressTakesNoPlaceInTheDriversQueueAndIsNotUrgent) {
    const std::int32_t serial = book_.orderRead(stringInArray(), ms(0));
    EXPECT_EQ(book_.find(serial)->requests, 0);
    book_.handedOver(serial, ms(1));
    EXPECT_FALSE(book_.anyUrgent());
}

TEST_F(OrderBookTest, TheReadsAtAStepComeOldestFirst) {
    const std::int32_t first = orderReadOf(1);
    const std::int32_t second = orderReadOf(1);
    const std::int32_t third = orderReadOf(1);
    const std::int32_t fourth = orderReadOf(1);
    book_.handedOver(second, ms(1));
    book_.handedOver(first, ms(2));
    EXPECT_THAT(book_.at(OrderKind::Read, OrderStep::WithDriver), ElementsAre(first, second));
    EXPECT_THAT(book_.at(OrderKind::Read, OrderStep::Waiting), ElementsAre(third, fourth));
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::Waiting), IsEmpty());
}

TEST_F(OrderBookTest, ManyReadsDoNotMakeAWriteForgotten) {
    const std::int32_t write = orderWord(10);
    book_.failed(write, kNoLink, ms(1));
    for (int i = 0; i < 1001; ++i) {
        book_.failed(orderReadOf(1), kGivenUp, ms(2));
    }
    EXPECT_NE(book_.find(write), nullptr);
    EXPECT_EQ(viewAt(10, std::nullopt, ms(3)), WriteView::Kind::Failed);
}

// ---------------------------------------------------------------------------------------------------------------------
// The reading before a bit write
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(OrderBookTest, ABitWriteGoesToTheDriverOnceItsVariableWasRead) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    EXPECT_FALSE(book_.anyUrgent()) << "the driver has nothing of it yet";
    const std::int32_t reading = handOverReading();
    EXPECT_TRUE(book_.anyUrgent());
    ASSERT_NE(reading, 0);
    EXPECT_EQ(book_.find(reading)->tag.address, 4);
    EXPECT_EQ(stepOf(bit), OrderStep::ReadingFirst);
    EXPECT_EQ(serialOf(endWell(reading, 2)), bit);
    book_.handedOver(bit, ms(2));
    EXPECT_EQ(stepOf(bit), OrderStep::WithDriver);
}

// A thousand ended writes are remembered: with the bits of their variables they would take as much again.
TEST_F(OrderBookTest, WhatAWriteHeldBeforeIsToldAtItsEndAndNotKept) {
    HostValues told;
    WriteTerms terms;
    terms.ended = [&told](const Order& write) { told = write.before; };
    const std::int32_t bit = book_.orderWrite(bitOfWordAt(4), {true}, ms(0), terms);
    book_.readFirst(bit, ms(1));
    endWell(handOverReading(), 2);
    book_.wasRead(bit, {false}, HostValues(16, false));
    book_.handedOver(bit, ms(2));
    EXPECT_EQ(book_.find(bit)->before, HostValues{false});
    endWell(bit, 3);
    EXPECT_EQ(told, HostValues{false});
    EXPECT_EQ(stepOf(bit), OrderStep::Succeeded);
    EXPECT_THAT(book_.find(bit)->before, IsEmpty());
    EXPECT_THAT(book_.find(bit)->bitsBefore, IsEmpty());
}

TEST_F(OrderBookTest, AWriteThatFailsTakesItsOwnReadingsWithItAlone) {
    const std::int32_t other = orderReadOf(1);
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    ASSERT_EQ(book_.at(OrderKind::Read, OrderStep::Waiting).size(), 2u);
    book_.failed(bit, kNoLink, ms(2));
    EXPECT_THAT(book_.at(OrderKind::Read, OrderStep::Waiting), ElementsAre(other));
}

TEST_F(OrderBookTest, ABitWriteWhoseReadingFailsFailsWithItsReason) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    book_.failed(handOverReading(), kGivenUp, ms(2));
    EXPECT_EQ(stepOf(bit), OrderStep::Failed);
    EXPECT_EQ(book_.find(bit)->failure.kind, FailureKind::Request);
    EXPECT_EQ(book_.find(bit)->failure.text, "not sent: the variable of the bit could not be read: given up");
    EXPECT_EQ(book_.find(bit)->ended, ms(2));
}

TEST_F(OrderBookTest, ABitWriteWhoseReadingIsAnsweredWaitsForTheLineToBeInStep) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    const std::int32_t reading = handOverReading();
    EXPECT_TRUE(book_.anyUrgent());
    book_.answered(reading, ms(2));
    EXPECT_FALSE(book_.anyUrgent()) << "it is not for the driver to do anything";
    EXPECT_EQ(stepOf(bit), OrderStep::ReadingFirst);
    EXPECT_EQ(serialOf(book_.succeeded(reading)), bit);
    book_.handedOver(bit, ms(3));
    EXPECT_TRUE(book_.anyUrgent());
}

TEST_F(OrderBookTest, ABitWriteWhoseReadingWasAnsweredAndFailsFailsWithIt) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    const std::int32_t reading = handOverReading();
    book_.answered(reading, ms(2));
    book_.failed(reading, kGivenUp, ms(3));
    EXPECT_EQ(stepOf(bit), OrderStep::Failed);
    const std::int32_t next = orderBit(4);
    book_.readFirst(next, ms(4));
    EXPECT_NE(handOverReading(), 0);
    EXPECT_TRUE(book_.anyUrgent());
}

TEST_F(OrderBookTest, WhatIsAnsweredIsNotWithTheDriverAnyMoreAndHasNotEnded) {
    const std::int32_t write = orderWord(10);
    const std::int32_t read = orderReadOf(1);
    book_.handedOver(write, ms(1));
    book_.handedOver(read, ms(1));
    book_.answered(write, ms(5));
    EXPECT_TRUE(book_.anyUrgent());
    book_.answered(read, ms(6));
    EXPECT_FALSE(book_.anyUrgent());
    EXPECT_FALSE(book_.anyWriteOverdue(ms(99999), Milliseconds(1000)));
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::WithDriver), IsEmpty());
    EXPECT_THAT(book_.at(OrderKind::Write, OrderStep::Answered), ElementsAre(write));
    EXPECT_THAT(book_.at(OrderKind::Read, OrderStep::Answered), ElementsAre(read));
    EXPECT_FALSE(hasEnded(stepOf(write)));
    EXPECT_EQ(viewAt(10, ms(9), ms(9)), WriteView::Kind::Pending);
    book_.succeeded(write);
    EXPECT_EQ(stepOf(write), OrderStep::Succeeded);
    EXPECT_EQ(book_.find(write)->ended, ms(5)) << "a value that was received after the answer shows the write";
    EXPECT_EQ(viewAt(10, ms(6), ms(9)), WriteView::Kind::None);
}

TEST_F(OrderBookTest, ABitWriteThatHasFailedMeanwhileIsNotSent) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    const std::int32_t reading = handOverReading();
    book_.failed(bit, kNoLink, ms(2));
    EXPECT_EQ(endWell(reading, 3), nullptr);
    EXPECT_EQ(book_.find(bit)->failure.text, "not sent: no connection");
}

TEST_F(OrderBookTest, WhatTheDriverHandsBackWaitsAgainInTheOrderOfTheOrders) {
    const std::int32_t first = orderWord(0, 1);
    const std::int32_t second = orderWord(2, 1);
    const std::int32_t third = orderWord(4, 2);
    book_.handedOver(first, ms(3));
    book_.handedOver(second, ms(3));
    book_.handedBack(second);
    book_.handedBack(first);
    EXPECT_FALSE(book_.anyUrgent());
    for (const std::int32_t serial : {first, second, third}) {
        EXPECT_EQ(serialOf(book_.nextWrite()), serial);
        book_.handedOver(serial, ms(4));
    }
    EXPECT_EQ(book_.nextWrite(), nullptr);
}

TEST_F(OrderBookTest, WhatTheDriverHandsBackOfOneTimeWaitsInTheOrderOfTheSerials) {
    const std::int32_t first = orderWord(0, 1);
    const std::int32_t second = orderWord(2, 1);
    book_.handedOver(first, ms(3));
    book_.handedOver(second, ms(3));
    book_.handedBack(first);
    book_.handedBack(second);
    EXPECT_EQ(nextWrite(), first);
    book_.handedOver(first, ms(4));
    EXPECT_EQ(nextWrite(), second);
}

TEST_F(OrderBookTest, ATagThatAWriteAndItsConditionsShareIsReadOnce) {
    WriteTerms terms;
    Tag guard = wordAt(8);
    guard.text = "Main.guard";
    for (const Tag& tag : {wordAt(0), guard, guard}) {
        WriteCondition condition;
        condition.tag = tag;
        terms.conditions.push_back(condition);
    }
    const std::int32_t write = book_.orderWrite(wordAt(0), {std::int64_t{7}}, ms(0), terms);
    book_.readFirst(write, ms(1));
    EXPECT_EQ(book_.at(OrderKind::Read, OrderStep::Waiting).size(), 2u);
    EXPECT_EQ(book_.find(write)->readingsLeft, 2);
}

TEST_F(OrderBookTest, ALostSessionFailsWhatWaitsForItAndMarksWhatTheDriverHolds) {
    WriteTerms once;
    once.isOnce = true;
    const std::int32_t held = book_.orderWrite(wordAt(0), {std::int64_t{7}}, ms(0), once);
    const std::int32_t patient = orderWord(2);
    const std::int32_t waiting = book_.orderWrite(wordAt(4), {std::int64_t{7}}, ms(0), once);
    const std::int32_t patientWaiting = orderWord(6);
    book_.handedOver(held, ms(1));
    book_.handedOver(patient, ms(1));
    EXPECT_FALSE(book_.find(held)->lostSession);
    book_.sessionLost(kNoLink, ms(2));
    EXPECT_EQ(stepOf(waiting), OrderStep::Failed);
    EXPECT_EQ(book_.find(waiting)->outcome, WriteOutcome::NotSent);
    EXPECT_EQ(stepOf(held), OrderStep::WithDriver);
    EXPECT_TRUE(book_.find(held)->lostSession);
    EXPECT_EQ(stepOf(patientWaiting), OrderStep::Waiting);
    EXPECT_EQ(stepOf(patient), OrderStep::WithDriver);
    EXPECT_FALSE(book_.find(patient)->lostSession) << "it waits for another session";
}

TEST_F(OrderBookTest, AReadThatIsHandedBackTakesNoPlaceInTheDriversQueue) {
    const std::int32_t serial = orderReadOf(100);
    book_.handedOver(serial, ms(1));
    EXPECT_TRUE(book_.anyUrgent());
    book_.handedBack(serial);
    EXPECT_FALSE(book_.anyUrgent());
    EXPECT_EQ(serialOf(book_.nextRead()), serial);
}

TEST_F(OrderBookTest, ABitWriteWhoseReadingWaitsTooLongFailsWithItsReading) {
    const std::int32_t bit = orderBit(4);
    book_.readFirst(bit, ms(1));
    const std::int32_t reading = handOverReading();
    book_.handedBack(reading);
    failWaiting(ms(100), Milliseconds(100), kGivenUp);
    EXPECT_EQ(stepOf(bit), OrderStep::ReadingFirst);
    failWaiting(ms(101), Milliseconds(100), kGivenUp);
    EXPECT_EQ(stepOf(bit), OrderStep::Failed);
    EXPECT_EQ(book_.find(bit)->failure.text, "given up");
    EXPECT_EQ(book_.nextRead(), nullptr);
    EXPECT_FALSE(book_.anyUrgent());
}

}  // namespace
}  // namespace ac500::host
