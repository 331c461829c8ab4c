#include "tools/host/once_read_book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {
namespace {

using testing::ElementsAre;

constexpr int kRequestBytes = 200;
const Failure kGivenUp{FailureKind::Request, "given up"};

Tag wordsOf(int elements) {
    Tag tag;
    tag.form = {TypeCode::Int, false};
    tag.elements = elements;
    tag.rowExtent = elements;
    tag.area = 1;
    return tag;
}

std::int32_t serialOf(const OnceReadRecord* record) {
    return record == nullptr ? 0 : record->serial;
}

TEST(OnceReadBook, AReadGoesToTheDriverAndEndsOnce) {
    OnceReadBook book;
    const std::int32_t serial = book.order(wordsOf(1), kRequestBytes, 0);
    EXPECT_EQ(serialOf(book.next()), serial);
    book.withDriver(serial, Milliseconds(1));
    EXPECT_TRUE(book.anyWithDriver());
    EXPECT_EQ(book.next(), nullptr);
    EXPECT_EQ(serialOf(book.succeeded(serial)), serial);
    EXPECT_FALSE(book.anyWithDriver());
    EXPECT_EQ(book.failed(serial, kGivenUp), nullptr);
    EXPECT_EQ(book.find(serial)->step, ReadStep::Succeeded);
}

TEST(OnceReadBook, NoMoreIsHandedOverThanTheDriverQueues) {
    OnceReadBook book;
    // 60 000 bytes: at most 301 requests of 200 bytes
    std::vector<std::int32_t> serials;
    for (int i = 0; i < 4; ++i) {
        serials.push_back(book.order(wordsOf(30000), kRequestBytes, 0));
    }
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(serialOf(book.next()), serials[static_cast<std::size_t>(i)]);
        book.withDriver(serials[static_cast<std::size_t>(i)], Milliseconds(1));
    }
    EXPECT_EQ(book.next(), nullptr);
    book.succeeded(serials[1]);
    EXPECT_EQ(serialOf(book.next()), serials[3]);
}

TEST(OnceReadBook, AReadThatNeverFitsIsOfferedSoThatItCanFail) {
    OnceReadBook book;
    const std::int32_t serial = book.order(wordsOf(200000), kRequestBytes, 0);
    EXPECT_EQ(serialOf(book.next()), serial);
    EXPECT_GT(book.next()->requests, OnceReadBook::kDriverQueue);
}

TEST(OnceReadBook, FailingKeepsTheReasonAndTheWriteThatWaits) {
    OnceReadBook book;
    const std::int32_t serial = book.order(wordsOf(1), kRequestBytes, 17);
    book.withDriver(serial, Milliseconds(1));
    const OnceReadRecord* record = book.failed(serial, kGivenUp);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->forWrite, 17);
    EXPECT_EQ(record->failure.text, "given up");
}

TEST(OnceReadBook, UnderwayIsWhatWaitsAndWhatTheDriverHas) {
    OnceReadBook book;
    const std::int32_t first = book.order(wordsOf(1), kRequestBytes, 0);
    const std::int32_t second = book.order(wordsOf(1), kRequestBytes, 0);
    const std::int32_t third = book.order(wordsOf(1), kRequestBytes, 0);
    book.withDriver(first, Milliseconds(1));
    book.withDriver(second, Milliseconds(1));
    book.succeeded(first);
    EXPECT_THAT(book.withDriver(), ElementsAre(second));
    EXPECT_THAT(book.underway(), ElementsAre(second, third));
}

}  // namespace
}  // namespace ac500::host
