// The table of a tag's raw samples, part by part, as a server asks for it.
#include "tools/gateway/trend_csv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace ac500::test {
namespace {

using gateway::SampleState;
using gateway::TrendCsv;
using gateway::TrendRange;
using gateway::TrendStore;
using host::Milliseconds;
using http::BodySource;

constexpr Milliseconds kBegin{1795305600000};  // 2026-11-22T00:00:00Z
constexpr TrendRange kAll{Milliseconds(0), Milliseconds(100000)};

std::string tableOf(const TrendStore& store, const TrendRange& range) {
    TrendCsv csv(store, 0, range, console::WallTime(kBegin));
    std::string table;
    std::string part;
    while (csv.next(&part) == BodySource::Next::Part) {
        table += part;
        part.clear();
    }
    return table;
}

TEST(TrendCsvTest, EverySampleIsInItAlsoTheSecondOfOneMillisecond) {
    TrendStore store(1 << 20, 1);
    store.add(0, {Milliseconds(1000), 1.5, SampleState::Good});
    store.add(0, {Milliseconds(1000), 2, SampleState::Suspect});
    store.add(0, {Milliseconds(1000), 0, SampleState::Gap});
    store.add(0, {Milliseconds(1007), -3, SampleState::Good});
    EXPECT_EQ(tableOf(store, kAll),
              "utc,value,state\r\n"
              "2026-11-22T00:00:01.000Z,1.5,good\r\n"
              "2026-11-22T00:00:01.000Z,2,suspect\r\n"
              "2026-11-22T00:00:01.000Z,,gap\r\n"
              "2026-11-22T00:00:01.007Z,-3,good\r\n");
    EXPECT_EQ(tableOf(store, {Milliseconds(1001), Milliseconds(1007)}), "utc,value,state\r\n");
}

// 3,000 samples, three of each millisecond: wherever a part ends, the next one goes on with what follows.
TEST(TrendCsvTest, NothingIsLeftOutOrRepeatedBetweenItsParts) {
    TrendStore store(1 << 20, 1);
    std::string expected = "utc,value,state\r\n";
    for (int sample = 0; sample < 3000; ++sample) {
        store.add(0, {Milliseconds(sample / 3), static_cast<double>(sample), SampleState::Good});
        char row[80];
        std::snprintf(row, sizeof row, "2026-11-22T00:00:00.%03dZ,%d,good\r\n", sample / 3, sample);
        expected += row;
    }
    EXPECT_EQ(tableOf(store, kAll), expected);
}

}  // namespace
}  // namespace ac500::test
