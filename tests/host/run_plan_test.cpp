#include "tools/host/run_plan.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::host {
namespace {

// "first+elements/count" per chunk.
std::string planned(const Run& run) {
    std::string text;
    for (const RunChunk& chunk : planRun(run)) {
        text += (text.empty() ? "" : " ") + std::to_string(chunk.firstElement) + "+" + std::to_string(chunk.elements) +
                "/" + std::to_string(chunk.count);
    }
    return text;
}

TEST(RunPlan, AScalarIsOneCallWithItsOwnCount) {
    EXPECT_EQ(planned({1, 1, 0}), "0+1/1");
    EXPECT_EQ(planned({1, 4, 0}), "0+1/4");
    EXPECT_EQ(planned({1, 40, 0}), "0+1/40");
}

TEST(RunPlan, ARowOfWordsIsOneCall) {
    EXPECT_EQ(planned({5, 1, 5}), "0+5/5");
    EXPECT_EQ(planned({3, 1, 5}), "0+3/3");
}

TEST(RunPlan, ARowOfFiveDoubleWordsTakesTwoCalls) {
    EXPECT_EQ(planned({5, 2, 5}), "0+3/5 3+2/4");
}

TEST(RunPlan, ARowOfOneDoubleWordIsOneCallWithHalfTheCount) {
    EXPECT_EQ(planned({1, 2, 1}), "0+1/1");
    EXPECT_EQ(planned({1, 4, 1}), "0+1/1");
}

TEST(RunPlan, ARowOfTenLongWordsTakesFourCalls) {
    EXPECT_EQ(planned({10, 4, 10}), "0+3/10 3+3/10 6+3/10 9+1/4");
}

TEST(RunPlan, PartOfARowOfLongWords) {
    EXPECT_EQ(planned({2, 4, 100}), "0+2/8");
}

TEST(RunPlan, NoElementsNeedNoCall) {
    EXPECT_EQ(planned({0, 2, 5}), "");
}

// What the driver does with a count: the smaller of it and the row, then whole elements.
int carried(int count, int countPerElement, int rowExtent) {
    return (std::min(count, rowExtent) + countPerElement - 1) / countPerElement;
}

TEST(RunPlan, EveryRunOfEveryRowArrivesWholeAndNothingBeyondIt) {
    for (const int countPerElement : {1, 2, 4}) {
        for (int row = 1; row <= 20; ++row) {
            for (int elements = 1; elements <= row; ++elements) {
                int next = 0;
                for (const RunChunk& chunk : planRun({elements, countPerElement, row})) {
                    EXPECT_EQ(chunk.firstElement, next);
                    EXPECT_EQ(chunk.elements, carried(chunk.count, countPerElement, row));
                    next += chunk.elements;
                }
                EXPECT_EQ(next, elements) << countPerElement << " words, row of " << row;
            }
        }
    }
}

}  // namespace
}  // namespace ac500::host
