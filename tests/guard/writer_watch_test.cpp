#include "tools/guard/writer_watch.h"

#include <gtest/gtest.h>

namespace ac500::guard {
namespace {

// Nothing when nobody else wrote.
std::string toldOf(const std::optional<ForeignWrite>& foreign) {
    return foreign ? describe(*foreign) : std::string();
}

TEST(WriterWatch, TheFirstValueIsRight) {
    WriterWatch watch;
    EXPECT_EQ(toldOf(watch.received("a", "1")), "");
    EXPECT_EQ(toldOf(watch.received("a", "1")), "");
}

TEST(WriterWatch, TellsAChangeThatNobodyHereMadeOnce) {
    WriterWatch watch;
    watch.received("a", "1");
    watch.received("b", "1");
    EXPECT_EQ(toldOf(watch.received("a", "2")), "it was 1, now the PLC has 2, which nobody here wrote");
    EXPECT_EQ(toldOf(watch.received("a", "2")), "");
    EXPECT_EQ(toldOf(watch.received("b", "1")), "");
    EXPECT_EQ(toldOf(watch.received("a", "1")), "it was 2, now the PLC has 1, which nobody here wrote");
}

TEST(WriterWatch, TellsHowManyPassesAfterItsOwnWriteAnotherCame) {
    WriterWatch watch;
    watch.received("a", "20");
    watch.written("a", "21.5");
    EXPECT_EQ(toldOf(watch.received("a", "21.5")), "");
    EXPECT_EQ(toldOf(watch.received("a", "21.5")), "");
    EXPECT_EQ(toldOf(watch.received("a", "23")),
              "we wrote 21.5, 3 passes later the PLC has 23, which nobody here wrote");
    EXPECT_EQ(toldOf(watch.received("a", "24")), "it was 23, now the PLC has 24, which nobody here wrote");
    watch.written("a", "21.5");
    EXPECT_EQ(toldOf(watch.received("a", "24")), "we wrote 21.5, 1 pass later the PLC has 24, which nobody here wrote");
}

TEST(WriterWatch, CountsUpToAHundredPasses) {
    WriterWatch watch;
    for (const int passes : {99, 100}) {
        watch.written("a", "1");
        for (int i = 0; i < passes; ++i) {
            EXPECT_EQ(toldOf(watch.received("a", "1")), "");
        }
        EXPECT_EQ(toldOf(watch.received("a", "2")),
                  passes == 99 ? "we wrote 1, 100 passes later the PLC has 2, which nobody here wrote"
                               : "it was 1, now the PLC has 2, which nobody here wrote");
    }
}

TEST(WriterWatch, AWriteOfTheSameValueElsewhereIsNotSeen) {
    WriterWatch watch;
    watch.written("a", "1");
    EXPECT_EQ(toldOf(watch.received("a", "1")), "");
}

TEST(WriterWatch, TakesWhatComesAfterAPartWasWrittenHere) {
    WriterWatch watch;
    watch.received("a", "1");
    watch.touched("a");
    EXPECT_EQ(toldOf(watch.received("a", "2")), "");
    EXPECT_EQ(toldOf(watch.received("a", "3")), "it was 2, now the PLC has 3, which nobody here wrote");
    watch.forget();
    EXPECT_EQ(toldOf(watch.received("a", "4")), "");
    EXPECT_EQ(watch.received("a", "5")->passes, 0) << "no write of ours was before it";
}

}  // namespace
}  // namespace ac500::guard
