// The judges of a long run, by themselves: what they let pass and what they notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/soak/exchange_log.h"
#include "tests/soak/memory_watch.h"
#include "tests/soak/plant.h"
#include "tests/soak/report_book.h"
#include "tests/soak/tag_shape.h"
#include "tests/soak/write_ledger.h"
#include "tests/support/bytes.h"
#include "tools/simulator/pattern.h"
#include "tools/simulator/plc_model.h"

namespace ac500::soak {

using symbol_file::parseSymbolFile;
using symbol_file::TypeCode;

namespace {

using host::Time;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kProgram[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 1024}, {"number": 2, "bytes": 64}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "row", "type": "DINT", "area": 1, "offset": 100, "array": [[1, 4]]},
    {"name": "names", "type": "STRING", "area": 1, "offset": 200, "array": [[1, 2]]},
    {"name": "real", "type": "REAL", "area": 1, "offset": 400},
    {"name": "lreal", "type": "LREAL", "area": 1, "offset": 404},
    {"name": "sint", "type": "SINT", "area": 1, "offset": 412},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 500, "bits": true},
    {"name": "bits", "type": "BIT", "area": 2, "bit": 14, "array": [[1, 4]]}
  ]}]})";

class ShapeTest : public testing::Test {
protected:
    TagShape shapeOf(const std::string& text) const {
        std::string error;
        const std::optional<host::Tag> tag = table_.find(text, &error);
        EXPECT_TRUE(tag) << error;
        return TagShape(table_.file(), tag.value_or(host::Tag()));
    }

    // The tag's bytes with the patterns of these generations, cell by cell.
    static Bytes mixed(const TagShape& shape, const std::vector<std::uint64_t>& generations) {
        Bytes bytes;
        for (std::size_t i = 0; i < shape.cells().size(); ++i) {
            const Cell& cell = shape.cells()[i];
            bytes += shape.pattern(generations[i], TagShape::BitPattern::OfVariable).substr(cell.at, cell.size);
        }
        return bytes;
    }

    // The cell that is complained about; empty: none.
    static std::string complaint(const TagShape& shape, const Bytes& seen, const Seams& seams, bool cutCells,
                                 const std::vector<std::uint64_t>& generations) {
        Bytes pattern;
        const auto mismatch = findMismatch(
            shape, seen, piecesOf(shape, seams, cutCells), generations, [&](std::uint64_t generation) -> const Bytes& {
                return pattern = shape.pattern(generation, TagShape::BitPattern::OfVariable);
            });
        return mismatch ? mismatch->cell->name : "";
    }

    const host::TagTable table_{parseSymbolFile(kProgram).file};
};

TEST_F(ShapeTest, ValuesOfTheHostAndBytesOfThePlcAreTheSameThing) {
    for (const char* text : {"Main.row", "Main.names", "Main.real", "Main.lreal", "Main.sint", "Main.bits"}) {
        const TagShape shape = shapeOf(text);
        const Bytes bytes = shape.pattern(7, TagShape::BitPattern::OfVariable);
        EXPECT_EQ(shape.bytesOf(shape.valuesOf(bytes)), bytes) << text;
        EXPECT_EQ(bytes.size(), shape.bytes()) << text;
    }
    EXPECT_EQ(shapeOf("Main.row").bytesOf({std::int64_t{1}, std::int64_t{-2}, std::int64_t{3}, std::int64_t{4}}),
              Bytes("\0\0\0\1\xFF\xFF\xFF\xFE\0\0\0\3\0\0\0\4", 16));
}

TEST_F(ShapeTest, FindsItsBytesInTheMemoryOfThePlc) {
    Bytes area(1024, '\0');
    area[500] = '\x01';  // bit 8
    area[501] = '\x80';  // bit 7
    EXPECT_EQ(shapeOf("Main.flags.b[6..9]").bytesIn(area), Bytes("\0\1\1\0", 4));
    Bytes bits(64, '\0');
    bits[0] = '\x80';  // bit 15: the second of the array
    bits[3] = '\x02';  // bit 17: the fourth
    EXPECT_EQ(shapeOf("Main.bits").bytesIn(bits), Bytes("\0\1\0\1", 4));
}

TEST_F(ShapeTest, AValueOfOneGenerationPasses) {
    const TagShape row = shapeOf("Main.row");
    EXPECT_EQ(complaint(row, mixed(row, {5, 5, 5, 5}), Seams(), false, {4, 5, 6}), "");
}

TEST_F(ShapeTest, AValueThatIsTooOldIsNoticed) {
    const TagShape row = shapeOf("Main.row");
    EXPECT_EQ(complaint(row, mixed(row, {3, 3, 3, 3}), Seams(), false, {4, 5, 6}), "Main.row[1]");
}

TEST_F(ShapeTest, TwoGenerationsInOneRequestAreNoticed) {
    const TagShape row = shapeOf("Main.row");
    EXPECT_EQ(complaint(row, mixed(row, {5, 5, 6, 6}), Seams(), false, {4, 5, 6}), "Main.row[3]");
}

TEST_F(ShapeTest, TwoGenerationsInTwoRequestsPass) {
    const TagShape row = shapeOf("Main.row");
    Seams seams;
    seams.add(1, 108);
    EXPECT_EQ(complaint(row, mixed(row, {5, 5, 6, 6}), seams, false, {4, 5, 6}), "");
    EXPECT_EQ(complaint(row, mixed(row, {5, 6, 6, 6}), seams, false, {4, 5, 6}), "Main.row[2]");
}

TEST_F(ShapeTest, ASeamInsideAnElementAllowsTwoHalves) {
    const TagShape row = shapeOf("Main.row");
    Seams seams;
    seams.add(1, 103);  // the last byte of the first element comes with the rest
    const Bytes before = mixed(row, {5, 5, 5, 5});
    const Bytes after = mixed(row, {6, 6, 6, 6});
    EXPECT_EQ(complaint(row, before.substr(0, 3) + after.substr(3), seams, false, {5, 6}), "");
    EXPECT_EQ(complaint(row, before.substr(0, 8) + after.substr(8), seams, false, {5, 6}), "Main.row[3]");
}

TEST_F(ShapeTest, ASeamOfAnotherAreaAllowsNothing) {
    const TagShape row = shapeOf("Main.row");
    Seams seams;
    seams.add(2, 108);
    EXPECT_EQ(complaint(row, mixed(row, {5, 5, 6, 6}), seams, false, {4, 5, 6}), "Main.row[3]");
}

TEST_F(ShapeTest, ASeamInTheGapBetweenTwoStringsCutsThem) {
    const TagShape names = shapeOf("Main.names");
    Seams seams;
    seams.add(1, 281);  // behind the terminator of the first
    EXPECT_EQ(complaint(names, mixed(names, {5, 6}), seams, false, {5, 6}), "");
    EXPECT_EQ(complaint(names, mixed(names, {5, 6}), Seams(), false, {5, 6}), "Main.names[2]");
}

TEST_F(ShapeTest, WrittenElementsMayDifferButNotWithinThemselves) {
    const TagShape row = shapeOf("Main.row");
    EXPECT_EQ(complaint(row, mixed(row, {5, 6, 5, 6}), Seams(), true, {5, 6}), "");
    Bytes torn = mixed(row, {5, 6, 5, 6});
    std::swap(torn[4], torn[6]);
    EXPECT_EQ(complaint(row, torn, Seams(), true, {5, 6}), "Main.row[2]");
}

TEST_F(ShapeTest, ValuesThatAreMissingAreNoticed) {
    const TagShape row = shapeOf("Main.row");
    EXPECT_EQ(complaint(row, row.bytesOf({}), Seams(), false, {5}), "Main.row[1]");
}

TEST(SoakPlant, IsAProgramThatTheSimulatorTakesWithEveryPlaceUnique) {
    for (const std::uint64_t seed : {1U, 2U, 77U}) {
        const Plant plant = makePlant(seed);
        const sim::PlcModel model(plant.file, {});
        ASSERT_THAT(model.problems(), IsEmpty());
        EXPECT_THAT(model.warnings(), IsEmpty());
        const host::TagTable table(plant.file);
        std::set<std::pair<bool, std::uint16_t>> places;
        for (const PlantTag& tag : plant.tags) {
            std::string error;
            const auto found = table.find(tag.text, &error);
            ASSERT_TRUE(found) << error;
            const TagShape shape(table.file(), *found);
            for (const Cell& cell : shape.cells()) {
                if (cell.element.bit < 0) {
                    const auto place = sim::patternPlace(cell.element.area, cell.element.address);
                    places.insert({cell.element.code == TypeCode::Bit, place});
                    EXPECT_LT(cell.element.address, 4096);
                }
            }
        }
        EXPECT_GT(plant.tags.size(), 300U);
        EXPECT_GT(places.size(), 2000U);
    }
}

TEST(SoakPlant, DiffersBySeedAndByNothingElse) {
    EXPECT_EQ(makePlant(3).file.scopes[0].variables[9].name, makePlant(3).file.scopes[0].variables[9].name);
    EXPECT_NE(makePlant(3).file.scopes[0].variables[9].name, makePlant(4).file.scopes[0].variables[9].name);
}

TEST(ReportBookTest, EveryWriteEndsOnce) {
    ReportBook book;
    book.handedOver(1);
    book.handedOver(1);  // a second piece
    book.handedOver(2);
    book.handedOver(3);
    book.reported(1, true);
    book.reported(2, false);
    book.allDropped();
    EXPECT_THAT(book.takeComplaints(), IsEmpty());
    EXPECT_EQ(book.fateOf(1), Fate::Done);
    EXPECT_EQ(book.fateOf(2), Fate::Failed);
    EXPECT_EQ(book.fateOf(3), Fate::Dropped);
    EXPECT_EQ(book.fateOf(4), Fate::Unknown);
    EXPECT_EQ(book.counts().open(), 0);
}

TEST(ReportBookTest, AReportTooManyIsAComplaint) {
    ReportBook book;
    book.handedOver(1);
    book.reported(1, true);
    book.reported(1, true);
    book.reported(2, false);
    EXPECT_THAT(book.takeComplaints(), ElementsAre(HasSubstr("write 1 is reported done, but it was done already"),
                                                   HasSubstr("write 2 is reported failed, but it was never handed")));
}

TEST(ReportBookTest, AMissingReportStaysOpen) {
    ReportBook book;
    book.handedOver(1);
    EXPECT_EQ(book.fateOf(1), Fate::Open);
    EXPECT_EQ(book.counts().open(), 1);
}

WriteLedger::OpenWrite orderOne(WriteLedger* ledger) {
    ledger->order(0, Time(1), [](std::uint64_t generation) { return static_cast<std::int32_t>(100 + generation); });
    return ledger->open().back();
}

TEST(WriteLedgerTest, WhatIsPossibleFollowsFromTheReports) {
    WriteLedger ledger(1);
    EXPECT_THAT(ledger.possible(0, Time(5)), ElementsAre(0));
    const auto first = orderOne(&ledger);
    EXPECT_EQ(first.serial, 101);
    EXPECT_THAT(ledger.possible(0, Time(5)), ElementsAre(0, 1));
    ledger.ended(first, true, Time(10));
    EXPECT_THAT(ledger.possible(0, Time(9)), ElementsAre(0, 1));
    EXPECT_THAT(ledger.possible(0, Time(10)), ElementsAre(1));
}

TEST(WriteLedgerTest, AFailedWriteMayHaveArrivedUntilALaterOneIsDone) {
    WriteLedger ledger(1);
    ledger.ended(orderOne(&ledger), true, Time(10));
    ledger.ended(orderOne(&ledger), false, Time(20));
    EXPECT_THAT(ledger.possible(0, Time(30)), ElementsAre(1, 2));
    ledger.ended(orderOne(&ledger), true, Time(40));
    EXPECT_THAT(ledger.possible(0, Time(40)), ElementsAre(3));
}

TEST(WriteLedgerTest, CountsWhatWasFoundInThePlc) {
    WriteLedger ledger(1);
    ledger.ended(orderOne(&ledger), true, Time(10));
    ledger.ended(orderOne(&ledger), true, Time(20));
    ledger.seenInPlc(0, 2, Time(30));
    ledger.seenInPlc(0, 2, Time(40));
    EXPECT_EQ(ledger.counts().confirmed, 1);
    EXPECT_EQ(ledger.counts().overtaken, 1);
}

TEST(ExchangeLogTest, KnowsTheLastSendingBeforeATimeAndTheSeams) {
    ExchangeLog log;
    EXPECT_EQ(log.lastBefore(Time(5)).frame, 0);
    // read: one item, area 1, offset 16, 4 bytes
    const QByteArray read =
        test::bytes("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 10 00 00 00 04 1A 2B 3C 4D");
    for (int i = 1; i <= 70000; ++i) {
        log.sent(read, Time(10 * i));
    }
    EXPECT_EQ(log.lastBefore(Time(699999)).frame, 69999);
    EXPECT_EQ(log.lastBefore(Time(700000)).frame, 70000);
    EXPECT_EQ(log.lastBefore(Time(100)).frame, 0);  // too long ago
    EXPECT_EQ(log.seamCount(), 2U);
    EXPECT_TRUE(log.seams().any(1, 15, 16));
    EXPECT_TRUE(log.seams().any(1, 16, 20));
    EXPECT_FALSE(log.seams().any(1, 16, 19));
}

std::vector<MemorySample> samples(std::int64_t bytesPerSecond) {
    std::vector<MemorySample> samples;
    for (int i = 0; i < 40; ++i) {
        const std::int64_t noise = (i * 7919) % 13 * 1024;
        samples.push_back({static_cast<double>(i), 3000000 + i * bytesPerSecond + noise, 15000000});
    }
    return samples;
}

TEST(MemoryVerdictTest, NoiseIsFlatAndALeakIsNot) {
    EXPECT_TRUE(judgeMemory(samples(0)).isFlat);
    EXPECT_FALSE(judgeMemory(samples(1500)).isFlat);
    EXPECT_FALSE(judgeMemory(std::vector<MemorySample>(5)).isJudged);
}

TEST(MemoryVerdictTest, AJumpOfTheHeapAndGrowthOfTheProcessAreNotFlat) {
    std::vector<MemorySample> jumping = samples(0);
    jumping[20].heapBytes += 400 * 1024;
    EXPECT_FALSE(judgeMemory(jumping).isFlat);
    std::vector<MemorySample> growing = samples(0);
    growing.back().residentBytes += 8 * 1024 * 1024;
    EXPECT_FALSE(judgeMemory(growing).isFlat);
}

TEST(TextTallyTest, CountsTheLastThousandTexts) {
    TextTally tally;
    tally.add(3);  // kept inside the string
    EXPECT_EQ(tally.bytes(), 0);
    tally.add(100);
    EXPECT_GE(tally.bytes(), 101);
    EXPECT_LE(tally.bytes(), 128);
    for (int i = 0; i < 1000; ++i) {
        tally.add(0);
    }
    EXPECT_EQ(tally.bytes(), 0);
}

TEST(MemorySampleTest, SeesMemoryOfThisProcess) {
    const std::int64_t resident = sampleMemory(0).residentBytes;
    EXPECT_GT(resident, 1024 * 1024);
    EXPECT_GE(peakResidentBytes(), resident);
}

}  // namespace
}  // namespace ac500::soak
