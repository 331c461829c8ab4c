#include "tools/host/write_book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Failure kNoLink{FailureKind::Tcp, "not sent: no connection"};

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

class WriteBookTest : public testing::Test {
protected:
    std::int32_t orderWord(int address, int time = 0) {
        return book_.order(wordAt(address), {std::int64_t{7}}, ms(time));
    }
    std::int32_t orderBit(int address) { return book_.order(bitOfWordAt(address), {true}, ms(0)); }

    // 0: none may go
    std::int32_t next() const { return book_.next() == nullptr ? 0 : book_.next()->serial; }
    WriteStep stepOf(std::int32_t serial) const { return book_.find(serial)->step; }
    WriteView::Kind viewAt(std::int64_t address, std::optional<Time> oldest, Time now) const {
        return book_.view({{1, address, 2}}, oldest, now).kind;
    }

    WriteBook book_;
};

TEST_F(WriteBookTest, WritesGoInTheOrderOfTheOrders) {
    const std::int32_t first = orderWord(0);
    const std::int32_t second = orderWord(2);
    EXPECT_NE(first, second);
    EXPECT_EQ(next(), first);
    book_.withDriver(first);
    EXPECT_EQ(next(), second);
    book_.withDriver(second);
    EXPECT_EQ(next(), 0);
    EXPECT_THAT(book_.at(WriteStep::WithDriver), ElementsAre(first, second));
}

TEST_F(WriteBookTest, ABitWriteWaitsForWhatIsUnderwayAndHoldsBackWhatFollows) {
    const std::int32_t word = orderWord(0);
    const std::int32_t bit = orderBit(0);
    const std::int32_t later = orderWord(2);
    book_.withDriver(word);
    EXPECT_EQ(next(), 0);
    book_.succeeded(word, ms(1));
    EXPECT_EQ(next(), bit);
    book_.readingFirst(bit);
    EXPECT_EQ(next(), 0);
    book_.withDriver(bit);
    EXPECT_EQ(next(), 0);
    book_.succeeded(bit, ms(2));
    EXPECT_EQ(next(), later);
}

TEST_F(WriteBookTest, AFailedBitWriteLetsTheNextOneGo) {
    const std::int32_t first = orderBit(0);
    const std::int32_t second = orderBit(0);
    book_.readingFirst(first);
    book_.failed(first, kNoLink, ms(1));
    EXPECT_EQ(next(), second);
}

TEST_F(WriteBookTest, EveryWriteEndsOnce) {
    const std::int32_t serial = orderWord(0);
    book_.withDriver(serial);
    EXPECT_TRUE(book_.anyWithDriver());
    book_.succeeded(serial, ms(5));
    EXPECT_FALSE(book_.anyWithDriver());
    book_.failed(serial, kNoLink, ms(6));
    EXPECT_EQ(stepOf(serial), WriteStep::Succeeded);
    EXPECT_EQ(book_.find(serial)->ended, ms(5));
    book_.succeeded(4711, ms(7));
    EXPECT_EQ(book_.find(4711), nullptr);
}

TEST_F(WriteBookTest, WaitingWritesFailAfterTheDeadlineEachWithTheReason) {
    const std::int32_t early = orderWord(0, 0);
    const std::int32_t late = orderWord(2, 600);
    book_.expire(ms(1000), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(early), WriteStep::Waiting);
    book_.expire(ms(1001), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(early), WriteStep::Failed);
    EXPECT_EQ(book_.find(early)->failure.text, "not sent: no connection");
    EXPECT_EQ(stepOf(late), WriteStep::Waiting);
    EXPECT_EQ(next(), late);
}

TEST_F(WriteBookTest, WhatTheDriverHoldsDoesNotExpireButBecomesOverdue) {
    const std::int32_t serial = orderWord(0, 0);
    EXPECT_FALSE(book_.isOverdue(ms(5000), Milliseconds(1000)));
    book_.withDriver(serial);
    book_.expire(ms(5000), Milliseconds(1000), kNoLink);
    EXPECT_EQ(stepOf(serial), WriteStep::WithDriver);
    EXPECT_FALSE(book_.isOverdue(ms(1000), Milliseconds(1000)));
    EXPECT_TRUE(book_.isOverdue(ms(1001), Milliseconds(1000)));
}

TEST_F(WriteBookTest, AValueIsPendingUntilItWasReadAfterTheWrite) {
    const std::int32_t serial = orderWord(10);
    EXPECT_EQ(viewAt(10, ms(1), ms(2)), WriteView::Kind::Pending);
    book_.withDriver(serial);
    EXPECT_EQ(viewAt(10, ms(1), ms(2)), WriteView::Kind::Pending);
    book_.succeeded(serial, ms(5));
    EXPECT_EQ(viewAt(10, ms(4), ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, ms(5), ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, std::nullopt, ms(6)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(10, ms(6), ms(6)), WriteView::Kind::None);
}

TEST_F(WriteBookTest, OnlyTagsThatShareAByteAreConcerned) {
    orderWord(10);
    EXPECT_EQ(viewAt(11, ms(1), ms(2)), WriteView::Kind::Pending);
    EXPECT_EQ(viewAt(12, ms(1), ms(2)), WriteView::Kind::None);
    EXPECT_EQ(viewAt(8, ms(1), ms(2)), WriteView::Kind::None);
}

TEST_F(WriteBookTest, AFailureIsShownForTenSecondsAndUntilTheValueIsReadAgain) {
    const std::int32_t serial = orderWord(10);
    book_.failed(serial, kNoLink, ms(5));
    EXPECT_EQ(viewAt(10, ms(6), ms(7)), WriteView::Kind::Failed);
    EXPECT_EQ(viewAt(10, ms(6), ms(10004)), WriteView::Kind::Failed);
    EXPECT_EQ(viewAt(10, ms(6), ms(10005)), WriteView::Kind::None);
    EXPECT_EQ(viewAt(10, ms(4), ms(99999)), WriteView::Kind::Failed);
}

TEST_F(WriteBookTest, TheLatestWriteOfATagDecides) {
    const std::int32_t first = orderWord(10);
    book_.failed(first, kNoLink, ms(5));
    const std::int32_t second = orderWord(10, 6);
    EXPECT_EQ(viewAt(10, ms(4), ms(7)), WriteView::Kind::Pending);
    book_.withDriver(second);
    book_.succeeded(second, ms(8));
    EXPECT_EQ(viewAt(10, ms(9), ms(10)), WriteView::Kind::None);
}

TEST_F(WriteBookTest, OldRecordsAreForgottenButNeverOnesThatHaveNotEnded) {
    const std::int32_t waiting = orderWord(0);
    std::int32_t firstEnded = 0;
    for (int i = 0; i < 1001; ++i) {
        const std::int32_t serial = orderWord(2);
        firstEnded = firstEnded == 0 ? serial : firstEnded;
        book_.failed(serial, kNoLink, ms(1));
    }
    EXPECT_EQ(book_.find(firstEnded), nullptr);
    EXPECT_NE(book_.find(firstEnded + 1), nullptr);
    EXPECT_EQ(stepOf(waiting), WriteStep::Waiting);
    EXPECT_THAT(book_.at(WriteStep::WithDriver), IsEmpty());
}

}  // namespace
}  // namespace ac500::host
