// Samples in a bounded number of bytes, and what is drawn of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/gateway/trend_store.h"

namespace ac500::test {
namespace {

using gateway::SampleState;
using gateway::TrendColumn;
using gateway::TrendSample;
using gateway::TrendStore;
using host::Milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kPlenty = 1 << 20;

std::string textOf(double number) {
    return std::to_string(static_cast<int>(number));
}

// "100:5" and "200:gap" and "300:5?" for one that is suspect.
std::vector<std::string> textsOf(const std::vector<TrendSample>& samples) {
    std::vector<std::string> texts;
    for (const TrendSample& sample : samples) {
        const std::string value = sample.state == SampleState::Gap ? "gap" : textOf(sample.value);
        texts.push_back(std::to_string(sample.at.count()) + ":" + value +
                        (sample.state == SampleState::Suspect ? "?" : ""));
    }
    return texts;
}

// "100:-5..7", and "200:gap".
std::vector<std::string> textsOf(const std::vector<TrendColumn>& columns) {
    std::vector<std::string> texts;
    for (const TrendColumn& column : columns) {
        texts.push_back(std::to_string(column.at.count()) + ":" +
                        (column.least ? textOf(*column.least) + ".." + textOf(*column.largest) : "gap"));
    }
    return texts;
}

void addGood(TrendStore* store, std::size_t series, int atMs, double value) {
    store->add(series, {Milliseconds(atMs), value, SampleState::Good});
}

void addGap(TrendStore* store, std::size_t series, int atMs) {
    store->add(series, {Milliseconds(atMs), 0, SampleState::Gap});
}

TEST(TrendStoreTest, ASampleTakesTwelveBytes) {
    EXPECT_EQ(TrendStore::kSampleBytes, 12u);
    // 16 MB for one series: blocks of 256 samples with a head of 24 bytes.
    EXPECT_EQ(TrendStore(16777216, 1).capacity(), 1387008u);
}

TEST(TrendStoreTest, SamplesComeBackAsTheyWere) {
    TrendStore store(kPlenty, 2);
    addGood(&store, 0, 1000, 1);
    addGood(&store, 1, 1000, 10);
    store.add(0, {Milliseconds(1100), 2.5, SampleState::Suspect});
    addGap(&store, 0, 1200);
    addGood(&store, 0, 1300, -4);
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(0), Milliseconds(9999)}, 100)),
                ElementsAre("1000:1", "1100:2?", "1200:gap", "1300:-4"));
    EXPECT_EQ(store.samples(0, {Milliseconds(1100), Milliseconds(1101)}, 1).front().value, 2.5);
    EXPECT_THAT(textsOf(store.samples(1, {Milliseconds(0), Milliseconds(9999)}, 100)), ElementsAre("1000:10"));
}

TEST(TrendStoreTest, ARangeHoldsItsBeginAndNotItsEnd) {
    TrendStore store(kPlenty, 1);
    for (const int at : {10, 20, 30, 40}) {
        addGood(&store, 0, at, at);
    }
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(20), Milliseconds(40)}, 100)), ElementsAre("20:20", "30:30"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(10), Milliseconds(99)}, 2)), ElementsAre("10:10", "20:20"));
}

// So that who goes on a millisecond behind the last of them misses none.
TEST(TrendStoreTest, SamplesOfOneMillisecondComeTogether) {
    TrendStore store(kPlenty, 1);
    for (const int at : {10, 20, 20, 20, 30, 30}) {
        addGood(&store, 0, at, at);
    }
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(10), Milliseconds(99)}, 1)), ElementsAre("10:10"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(10), Milliseconds(99)}, 2)),
                ElementsAre("10:10", "20:20", "20:20", "20:20"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(21), Milliseconds(99)}, 1)), ElementsAre("30:30", "30:30"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(21), Milliseconds(30)}, 1)), IsEmpty());
}

TEST(TrendStoreTest, TheOldestSamplesMakeRoom) {
    const std::size_t bytes = TrendStore::leastBytes(1);
    TrendStore store(bytes, 1);
    ASSERT_EQ(store.capacity(), 16u);
    EXPECT_EQ(store.oldest(0), std::nullopt);
    EXPECT_EQ(store.oldest(), std::nullopt);
    for (int at = 0; at < 17; ++at) {
        addGood(&store, 0, at, at);
    }
    // The first of two blocks of eight went for the seventeenth.
    EXPECT_EQ(store.oldest(0), Milliseconds(8));
    EXPECT_EQ(store.oldest(), Milliseconds(8));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(0), Milliseconds(99)}, 100)),
                ElementsAre("8:8", "9:9", "10:10", "11:11", "12:12", "13:13", "14:14", "15:15", "16:16"));
}

TEST(TrendStoreTest, TrendsGoBackAsFarAsTheShortestOfThem) {
    TrendStore store(TrendStore::leastBytes(2), 2);
    addGood(&store, 0, 5, 1);
    addGood(&store, 1, 7, 1);
    EXPECT_EQ(store.oldest(0), Milliseconds(5));
    EXPECT_EQ(store.oldest(), Milliseconds(7));
}

// A series that gets much takes the blocks of one that gets little once these are the oldest; that one then begins anew.
TEST(TrendStoreTest, ASlowSeriesLosesWhatIsOldAndGoesOn) {
    TrendStore store(TrendStore::leastBytes(2), 2);
    addGood(&store, 1, 0, 1);
    for (int at = 1; at <= 40; ++at) {
        addGood(&store, 0, at, at);
    }
    EXPECT_EQ(store.oldest(1), std::nullopt);
    addGood(&store, 1, 50, 2);
    EXPECT_THAT(textsOf(store.samples(1, {Milliseconds(0), Milliseconds(99)}, 100)), ElementsAre("50:2"));
    EXPECT_EQ(store.samples(0, {Milliseconds(0), Milliseconds(99)}, 100).back().at, Milliseconds(40));
}

// Blocks of eight: what lies before a range is passed over, but for the gap that lasts into it.
TEST(TrendStoreTest, ARangeFarBehindTheOldestSampleHasWhatItShould) {
    TrendStore store(8 * TrendStore::leastBytes(1), 1);
    for (int at = 0; at < 64; ++at) {
        at == 31 || at == 39 ? addGap(&store, 0, at * 10) : addGood(&store, 0, at * 10, at);
    }
    ASSERT_EQ(store.oldest(0), Milliseconds(0));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(320), Milliseconds(340)}, 9)), ElementsAre("320:32", "330:33"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(321), Milliseconds(331)}, 9)), ElementsAre("330:33"));
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(320), Milliseconds(330)}, 1)),
                ElementsAre("320:gap", "320:32..32"));
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(395), Milliseconds(415)}, 1)),
                ElementsAre("395:gap", "400:40..41"));
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(630), Milliseconds(999)}, 9)), ElementsAre("630:63"));
}

TEST(TrendStoreTest, TimesFarApartAreKept) {
    TrendStore store(kPlenty, 1);
    const Milliseconds late(std::int64_t{400} * 24 * 3600 * 1000);
    addGood(&store, 0, 1, 1);
    store.add(0, {late, 2, SampleState::Suspect});
    const std::vector<TrendSample> samples = store.samples(0, {Milliseconds(0), late + Milliseconds(1)}, 10);
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(samples[1].at, late);
    EXPECT_EQ(samples[1].state, SampleState::Suspect);
}

TEST(TrendStoreTest, TimesDoNotGoBack) {
    TrendStore store(kPlenty, 1);
    addGood(&store, 0, 100, 1);
    addGood(&store, 0, 90, 2);
    EXPECT_THAT(textsOf(store.samples(0, {Milliseconds(0), Milliseconds(999)}, 10)), ElementsAre("100:1", "100:2"));
}

TEST(TrendStoreTest, AColumnHasTheLeastAndTheLargestOfItsSamples) {
    TrendStore store(kPlenty, 1);
    for (const int at : {0, 10, 20, 90, 110, 199}) {
        addGood(&store, 0, at, at == 20 ? -7 : at);
    }
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(0), Milliseconds(200)}, 2)),
                ElementsAre("0:-7..90", "100:110..199"));
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(100), Milliseconds(120)}, 2)), ElementsAre("110:110..110"));
    EXPECT_THAT(store.columns(0, {Milliseconds(30), Milliseconds(80)}, 10), IsEmpty());
}

TEST(TrendStoreTest, GapsStayGaps) {
    TrendStore store(kPlenty, 1);
    addGood(&store, 0, 10, 1);
    addGap(&store, 0, 40);
    addGap(&store, 0, 50);
    addGood(&store, 0, 160, 2);
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(0), Milliseconds(200)}, 2)),
                ElementsAre("0:1..1", "40:gap", "160:2..2"));
}

TEST(TrendStoreTest, AGapWithinAPixelIsNotHidden) {
    TrendStore store(kPlenty, 1);
    addGood(&store, 0, 10, 1);
    addGap(&store, 0, 20);
    addGood(&store, 0, 30, 5);
    addGood(&store, 0, 35, 4);
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(0), Milliseconds(100)}, 1)),
                ElementsAre("0:1..1", "20:gap", "30:4..5"));
}

TEST(TrendStoreTest, AGapThatBeganBeforeTheRangeIsShownAtItsBegin) {
    TrendStore store(kPlenty, 1);
    addGood(&store, 0, 10, 1);
    addGap(&store, 0, 20);
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(100), Milliseconds(200)}, 4)), ElementsAre("100:gap"));
    addGood(&store, 0, 150, 3);
    EXPECT_THAT(textsOf(store.columns(0, {Milliseconds(100), Milliseconds(200)}, 4)),
                ElementsAre("100:gap", "150:3..3"));
}

}  // namespace
}  // namespace ac500::test
