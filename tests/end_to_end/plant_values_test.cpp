// Times, scaled and named values and strings of any length, both ways between terminal and PLC memory.
#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

struct PlantRow {
    const char* tag;
    const char* written;
    const char* shown;
    std::uint64_t offset;  // in area 1
    const char* bytes;     // in the PLC
};

constexpr PlantRow kPlantRows[] = {
    {"Main.time", "T#1m30s", "T#1m30s", 1000, "00 01 5F 90"},
    {"Main.day", "D#2000-02-29", "D#2000-02-29", 1004, "38 BB 0C 00"},
    {"Main.times", "TOD#00:00:01, TOD#00:00:00.002, 3", "TOD#00:00:01, TOD#00:00:00.002, TOD#00:00:00.003", 1008,
     "00 00 03 E8 00 00 00 02 00 00 00 03"},
    {"Main.moment", "DT#1970-01-02-00:00:01", "DT#1970-01-02-00:00:01", 1020, "00 01 51 81"},
    {"Main.level", "2.5 m", "2.50 m", 1024, "01 5E"},
    {"Main.mode", "Automatic", "automatic", 1026, "02"},
    {"Main.code", "12345", "\"12345\"", 1030, "31 32 33 34 35 00"},
    {"Main.label", "twenty characters 20", "\"twenty characters 20\"", 1040,
     "74 77 65 6E 74 79 20 63 68 61 72 61 63 74 65 72 73 20 32 30"},
    {"Main.labels[1,4]", "one", "\"one\"", 1484, "6F 6E 65 00"},
    {"Main.labels[0,3..5]", "a,\"b, c\",abcdefghijklmnopqrst", "\"a\", \"b, c\", \"abcdefghijklmnopqrst\"", 1442,
     "61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71 72 73 74"},
    {"Main.short[50]", "zz", "\"zz\"", 1677, "7A 7A"},
    {"Main.long[2]", "second", "\"second\"", 1802, "73 65 63 6F 6E 64 00"},
};

class PlantValuesTest : public PlantTest {
protected:
    void expectWritten(const std::string& text, const std::string& value) {
        const std::int32_t serial = order(text, value);
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); })) << text;
        EXPECT_EQ(stepOf(serial), host::OrderStep::Succeeded) << text << ": " << failureOf(serial);
    }

    std::string inPlcAs(const PlantRow& row) const {
        const auto size = static_cast<std::int64_t>((std::string(row.bytes).size() + 1) / 3);
        return inPlc(1, row.offset, size);
    }
};

TEST_F(PlantValuesTest, WhatIsWrittenStandsInThePlcAndIsShownAgain) {
    std::vector<std::string> tags;
    for (const PlantRow& row : kPlantRows) {
        tags.push_back(row.tag);
    }
    begin(tags);
    for (const PlantRow& row : kPlantRows) {
        SCOPED_TRACE(row.tag);
        expectWritten(row.tag, row.written);
        EXPECT_EQ(inPlcAs(row), row.bytes);
        EXPECT_TRUE(eventually([&] { return read(row.tag) == row.shown; })) << read(row.tag);
    }
}

TEST_F(PlantValuesTest, StringsTouchNothingBehindThem) {
    plc.write(1, 1036, byteString("AB CD"));
    plc.write(1, 1060, byteString("77 77 AB CD"));
    plc.write(1, 1526, byteString("AB CD"));
    begin({"Main.behind_code", "Main.behind_label", "Main.behind_labels"});
    expectWritten("Main.code", "12345");
    expectWritten("Main.code", "1234");
    expectWritten("Main.label", "twenty characters 20");
    expectWritten("Main.labels[1,5]", "twenty characters 20");
    EXPECT_EQ(inPlc(1, 1030, 8), "31 32 33 34 00 00 AB CD");
    EXPECT_EQ(inPlc(1, 1060, 4), "77 77 AB CD");
    EXPECT_EQ(inPlc(1, 1524, 4), "30 00 AB CD");
}

TEST_F(PlantValuesTest, AStringLongerThanARequestArrivesWhole) {
    settings.maxRequestWords = 20;
    begin({"Main.novel"});
    std::string novel;
    for (int i = 0; i < 255; ++i) {
        novel += static_cast<char>('a' + i % 26);
    }
    expectWritten("Main.novel", novel);
    EXPECT_TRUE(eventually([&] { return read("Main.novel") == "\"" + novel + "\""; })) << read("Main.novel");
    EXPECT_EQ(inPlc(1, 1100 + 254, 2), "75 00");
}

TEST_F(PlantValuesTest, EveryElementOfAnArrayOfShortStringsIsItself) {
    begin({"Main.short", "Main.long"});
    std::string bytes;
    std::string shown;
    for (int i = 0; i < 50; ++i) {
        bytes += static_cast<char>('a' + i % 26);
        bytes += static_cast<char>('0' + i / 26);
        bytes += '\0';
        shown += (i == 0 ? "\"" : ", \"") + bytes.substr(bytes.size() - 3, 2) + "\"";
    }
    plc.write(1, 1530, bytes);
    plc.write(1, 1802, byteString("6C 61 73 74 00"));
    EXPECT_TRUE(eventually([&] { return read("Main.short") == shown; })) << read("Main.short");
    EXPECT_TRUE(eventually([&] { return read("Main.long") == "\"\", \"last\""; })) << read("Main.long");
}

TEST_F(PlantValuesTest, OneShotReadsBringStringsOfOtherLengths) {
    plc.write(1, 1421, "second");
    plc.write(1, 1030, "short");
    begin({"Main.bool"});
    for (const auto& [text, shown] :
         {std::pair<const char*, const char*>{"Main.labels[0,4]", "\"second\""}, {"Main.code", "\"short\""}}) {
        const std::int32_t serial = session->readOnce(tag(text));
        EXPECT_TRUE(eventually([&, serial = serial] {
            return session->order(serial)->step == host::OrderStep::Succeeded;
        })) << text
            << ": " << lastFailure();
        EXPECT_EQ(host::formatPlantValues(tag(text), session->value(tag(text)).values), shown);
    }
}

TEST_F(PlantValuesTest, ARawValueOutsideTheLimitsIsShownAllTheSame) {
    plc.write(1, 1024, byteString("7F FF"));
    plc.write(1, 1026, byteString("09"));
    plc.write(1, 1004, byteString("00 00 00 01"));
    begin({"Main.level", "Main.mode", "Main.day"});
    EXPECT_EQ(read("Main.level"), "326.67 m");
    EXPECT_EQ(read("Main.mode"), "9");
    EXPECT_EQ(read("Main.day"), "1");
}

}  // namespace
}  // namespace ac500
