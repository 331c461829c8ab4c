// Every type, both ways: what stands in the PLC's memory, big-endian, is what the terminal shows, and back.
#include "tests/end_to_end/plant.h"
#include "tools/host/plc_bytes.h"

namespace ac500 {
namespace {

struct Row {
    const char* tag;
    const char* text;  // as written and as shown
    int area;
    std::uint64_t offset;
    const char* bytes;  // in the PLC
};

constexpr Row kScalars[] = {
    {"Main.bool", "TRUE", 1, 0, "01"},
    {"Main.sint", "-2", 1, 1, "FE"},
    {"Main.usint", "200", 1, 2, "C8"},
    {"Main.byte", "0xA5", 1, 3, "A5"},
    {"Main.int", "-12345", 1, 4, "CF C7"},
    {"Main.uint", "60000", 1, 6, "EA 60"},
    {"Main.word", "0xBEEF", 1, 8, "BE EF"},
    {"Main.dint", "-2", 1, 12, "FF FF FF FE"},
    {"Main.udint", "3000000000", 1, 16, "B2 D0 5E 00"},
    {"Main.dword", "0x01020304", 1, 20, "01 02 03 04"},
    {"Main.real", "1.5", 1, 24, "3F C0 00 00"},
    {"Main.lint", "-2", 1, 32, "FF FF FF FF FF FF FF FE"},
    {"Main.ulint", "18446744073709551615", 1, 40, "FF FF FF FF FF FF FF FF"},
    {"Main.lword", "0x0102030405060708", 1, 48, "01 02 03 04 05 06 07 08"},
    {"Main.lreal", "-2", 1, 56, "C0 00 00 00 00 00 00 00"},
    // bit 21 is bit 5 of the word at byte 2
    {"Main.bit", "1", 3, 2, "00 20"},
};

constexpr Row kArrays[] = {
    {"Main.bools", "TRUE, FALSE, FALSE, TRUE", 1, 300, "01 00 00 01"},
    {"Main.sints", "-128, -1, 0, 1, 127", 1, 310, "80 FF 00 01 7F"},
    {"Main.ints[2..4]", "1, -1, 4660", 1, 322, "00 01 FF FF 12 34"},
    {"Main.dints", "1, 2, 3, 4, 5", 1, 340, "00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05"},
    {"Main.reals[1,1..3]", "1, 2, 3", 1, 372, "3F 80 00 00 40 00 00 00 40 40 00 00"},
    {"Main.reals[2,3]", "1.5", 1, 392, "3F C0 00 00"},
    {"Main.lreals[8..10]", "1, 2, -2", 1, 456,
     "3F F0 00 00 00 00 00 00 40 00 00 00 00 00 00 00 C0 00 00 00 00 00 00 00"},
    {"Main.single", "258", 1, 480, "00 00 00 00 00 00 01 02"},
    {"Main.motors[2].speed", "1500", 1, 826, "05 DC"},
    {"Main.motors[2].curve", "1, 2, 3, 1.5, -2", 1, 828, "3F 80 00 00 40 00 00 00 40 40 00 00 3F C0 00 00 C0 00 00 00"},
    // bits 30 to 35: bits 14 and 15 of the word at byte 2, bits 0 to 3 of the word at byte 4
    {"Main.bits", "1, 0, 1, 1, 0, 1", 3, 2, "40 00 00 0B"},
};

class TypesTest : public PlantTest {
protected:
    std::vector<std::string> allTags() const {
        std::vector<std::string> tags;
        for (const Row& row : kScalars) {
            tags.push_back(row.tag);
        }
        for (const Row& row : kArrays) {
            tags.push_back(row.tag);
        }
        return tags;
    }

    std::string inPlcOf(const Row& row) const { return inPlc(row.area, row.offset, byteString(row.bytes).size()); }

    void putIntoPlc(const Row& row) { plc.write(row.area, row.offset, byteString(row.bytes)); }
};

TEST_F(TypesTest, ScalarsOfEveryTypeAreShownAsThePlcHasThem) {
    for (const Row& row : kScalars) {
        putIntoPlc(row);
    }
    begin(allTags());
    for (const Row& row : kScalars) {
        EXPECT_EQ(read(row.tag), row.text) << row.tag;
    }
}

TEST_F(TypesTest, ArraysAreShownAsThePlcHasThem) {
    for (const Row& row : kArrays) {
        putIntoPlc(row);
    }
    begin(allTags());
    for (const Row& row : kArrays) {
        EXPECT_EQ(read(row.tag), row.text) << row.tag;
    }
}

TEST_F(TypesTest, ScalarsOfEveryTypeArriveInThePlc) {
    begin(allTags());
    for (const Row& row : kScalars) {
        write(row.tag, row.text);
        EXPECT_EQ(inPlcOf(row), row.bytes) << row.tag;
        EXPECT_EQ(read(row.tag), row.text) << row.tag;
    }
}

// For each row but the two whose bits share a word of the PLC with others.
TEST_F(TypesTest, AWriteMakesTheBytesThatADryRunShows) {
    begin({"Main.bool"});
    std::vector<Row> rows(std::begin(kScalars), std::end(kScalars));
    rows.insert(rows.end(), std::begin(kArrays), std::end(kArrays));
    for (const Row& row : rows) {
        const host::Tag what = tag(row.tag);
        std::string error;
        const host::HostValues values = *host::parsePlantValues(what, row.text, &error);
        const std::vector<host::PlcBytes> made = host::plcBytes(what, values, {});
        ASSERT_EQ(made.size(), 1u) << row.tag;
        if (what.form.code == host::TypeCode::Bit) {
            EXPECT_EQ(made[0].bytes.size(), values.size()) << row.tag;
            EXPECT_EQ(made[0].address, what.address) << row.tag;
            continue;
        }
        EXPECT_EQ(host::hexText(made[0].bytes), row.bytes) << row.tag;
        EXPECT_EQ(made[0].area, row.area) << row.tag;
        EXPECT_EQ(made[0].address, static_cast<std::int64_t>(row.offset)) << row.tag;
    }
    // Strings, an element at a time, and bits within their variable.
    const auto bytesOf = [&](const char* name, const char* text, const host::HostValues& bits) {
        std::string error;
        std::string found;
        for (const host::PlcBytes& made :
             host::plcBytes(tag(name), *host::parsePlantValues(tag(name), text, &error), bits)) {
            found += std::to_string(made.address) + ": " + host::hexText(made.bytes) + "; ";
        }
        return found;
    };
    EXPECT_EQ(bytesOf("Main.code", "abc", {}), "1030: 61 62 63 00; ");
    EXPECT_EQ(bytesOf("Main.labels[0,3..4]", "ab,c", {}), "1400: 61 62 00 00; 1421: 63 00; ");
    host::HostValues word(16, false);
    word[0] = true;
    word[9] = true;
    EXPECT_EQ(bytesOf("Main.word.b[9..10]", "0,1", word), "8: 04 01; ");
    EXPECT_EQ(bytesOf("Main.word.b[9..10]", "0,1", host::HostValues(16, false)), "8: 04 00; ");
    write("Main.code", "abc");
    EXPECT_EQ(inPlc(1, 1030, 4), "61 62 63 00");
}

TEST_F(TypesTest, ArraysArriveInThePlcWholeAndTouchNothingElse) {
    begin(allTags());
    for (const Row& row : kArrays) {
        const std::string before = inPlc(1, 290, 600);
        write(row.tag, row.text);
        EXPECT_EQ(inPlcOf(row), row.bytes) << row.tag;
        EXPECT_EQ(read(row.tag), row.text) << row.tag;
        if (row.area == 1) {
            plc.write(1, row.offset, std::string(byteString(row.bytes).size(), '\0'));
            EXPECT_EQ(inPlc(1, 290, 600), before) << row.tag;
        }
    }
}

TEST_F(TypesTest, ArraysArriveWholeWhenRequestsAreSmallToo) {
    settings.maxRequestWords = 3;
    begin(allTags());
    for (const Row& row : kArrays) {
        write(row.tag, row.text);
        EXPECT_EQ(inPlcOf(row), row.bytes) << row.tag;
        EXPECT_EQ(read(row.tag), row.text) << row.tag;
    }
}

TEST_F(TypesTest, StringsUpToTheirLastCharacter) {
    plc.write(1, 200, byteString("47 72 FC DF 65 00 41"));
    begin({"Main.string", "Main.cstring"});
    EXPECT_EQ(read("Main.cstring"), "\"Grüße\"");
    write("Main.string", "Grüße");
    EXPECT_EQ(inPlc(1, 100, 6), "47 72 FC DF 65 00");
    EXPECT_EQ(read("Main.string"), "\"Grüße\"");
    const std::string longest(80, 'x');
    plc.write(1, 180, byteString("55 66"));
    write("Main.string", longest);
    EXPECT_EQ(plc.read({1, 100, 80}), longest);
    EXPECT_EQ(inPlc(1, 180, 2), "55 66") << "the terminator's place and what follows are not the string's";
    EXPECT_EQ(read("Main.string"), "\"" + longest + "\"");
    write("Main.string", "");
    EXPECT_EQ(inPlc(1, 100, 2), "00 00");
    EXPECT_EQ(read("Main.string"), "\"\"");
}

TEST_F(TypesTest, StringsInArraysAreReadAndWrittenWhole) {
    plc.write(1, 581, "the second name is longer than six bytes");
    begin({"Main.names"});
    EXPECT_EQ(read("Main.names"), "\"\", \"the second name is longer than six bytes\", \"\"");
    write("Main.names[3]", "number three, also longer than six");
    EXPECT_EQ(plc.read({1, 662, 35}), std::string("number three, also longer than six\0", 35));
    EXPECT_EQ(inPlc(1, 581, 4), "74 68 65 20");
    write("Main.names", "a,\"b, c\",d");
    EXPECT_EQ(read("Main.names"), "\"a\", \"b, c\", \"d\"");
}

TEST_F(TypesTest, ABitOfAVariableLeavesTheOthersAlone) {
    plc.write(1, 8, byteString("BE EF"));
    plc.write(1, 20, byteString("80 00 00 01"));
    plc.write(1, 48, byteString("80 00 00 00 00 00 00 01"));
    begin({"Main.bool"});
    // Nothing of these variables was ever read before.
    write("Main.word.b[0]", "0");
    EXPECT_EQ(inPlc(1, 8, 2), "BE EE");
    write("Main.dword.b[9]", "1");
    EXPECT_EQ(inPlc(1, 20, 4), "80 00 02 01");
    write("Main.lword.b[63]", "0");
    EXPECT_EQ(inPlc(1, 48, 8), "00 00 00 00 00 00 00 01");
    write("Main.byte.b[4..7]", "1,0,1,0");
    EXPECT_EQ(inPlc(1, 3, 1), "50");
}

TEST_F(TypesTest, ABitIsReadWhereverItStands) {
    plc.write(1, 8, byteString("02 00"));
    plc.write(1, 48, byteString("80 00 00 00 00 00 00 01"));
    begin({"Main.word.b[9]", "Main.word.b[8]", "Main.lword.b[63]", "Main.lword.b[0..2]"});
    EXPECT_EQ(read("Main.word.b[9]"), "1");
    EXPECT_EQ(read("Main.word.b[8]"), "0");
    EXPECT_EQ(read("Main.lword.b[63]"), "1");
    EXPECT_EQ(read("Main.lword.b[0..2]"), "1, 0, 0");
}

TEST_F(TypesTest, BitsOfOneVariableOrderedAtOnceAllArrive) {
    begin({"Main.word"});
    std::vector<std::int32_t> serials;
    for (int bit = 0; bit < 16; bit += 2) {
        serials.push_back(order("Main.word.b[" + std::to_string(bit) + "]", "1"));
    }
    for (const std::int32_t serial : serials) {
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
        EXPECT_EQ(stepOf(serial), host::OrderStep::Succeeded) << failureOf(serial);
    }
    EXPECT_EQ(inPlc(1, 8, 2), "55 55");
}

TEST_F(TypesTest, ABitOrderedBehindItsVariableIsWrittenIntoTheNewValue) {
    begin({"Main.word"});
    order("Main.word", "0xFF00");
    const std::int32_t bit = order("Main.word.b[0]", "1");
    const std::int32_t last = order("Main.int", "7");
    EXPECT_TRUE(eventually([&] { return hasEnded(last) && hasEnded(bit); }));
    EXPECT_EQ(inPlc(1, 8, 2), "FF 01");
    EXPECT_EQ(inPlc(1, 4, 2), "00 07");
}

TEST_F(TypesTest, OneShotReadsBringWhatIsNotPolled) {
    plc.write(1, 340, byteString("00000001 00000002 00000003 00000004 00000005"));
    plc.write(1, 581, "second");
    begin({"Main.bool"});
    for (const auto& [text, shown] : {std::pair<const char*, const char*>{"Main.dints", "1, 2, 3, 4, 5"},
                                      {"Main.names[2]", "\"second\""},
                                      {"Main.many[1..1000]", nullptr}}) {
        EXPECT_FALSE(session->value(tag(text)).isKnown);
        const std::int32_t serial = session->readOnce(tag(text));
        EXPECT_TRUE(eventually([&, serial = serial] {
            return session->order(serial)->step == host::OrderStep::Succeeded;
        })) << text
            << ": " << lastFailure();
        const host::TagValue value = session->value(tag(text));
        EXPECT_TRUE(value.isKnown) << text;
        if (shown != nullptr) {
            EXPECT_EQ(host::formatValues(tag(text).form, value.values), shown);
        }
    }
}

}  // namespace
}  // namespace ac500
