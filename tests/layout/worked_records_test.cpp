// The worked records of docs/host-interface.md: that the page shows the code that is compiled here, and what the driver
// makes of them.
#include "tests/layout/worked_records.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/places.h"

namespace ac500::test {
namespace {

std::string contentOf(const char* file) {
    std::ifstream stream(projectFile(file));
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The code between the includes and the end of the header, without the word that only a header needs.
std::string compiledCode() {
    const std::string include = "#include \"core/host_interface.h\"\n\n";
    std::string code = contentOf("tests/layout/worked_records.h");
    code = code.substr(code.find(include) + include.size());
    code = code.substr(0, code.rfind("\n#endif"));
    for (std::size_t at = 0; (at = code.find("inline ", at)) != std::string::npos;) {
        code.erase(at, std::string("inline ").size());
    }
    return code;
}

// All blocks of C++ of the page, a blank line between two.
std::string codeOfThePage() {
    const std::string fence = "```cpp\n";
    const std::string page = contentOf("docs/host-interface.md");
    std::string code;
    for (std::size_t at = 0; (at = page.find(fence, at)) != std::string::npos;) {
        at += fence.size();
        code += (code.empty() ? "" : "\n") + page.substr(at, page.find("```", at) - at);
    }
    return code;
}

TEST(WorkedRecordsPage, ShowsTheCodeThatIsCompiled) {
    EXPECT_NE(compiledCode().find("bitAddressableWord() {"), std::string::npos);
    EXPECT_EQ(codeOfThePage(), compiledCode());
}

struct Resolved {
    const char* tag;
    ControlInformationM place;
    const char* further;  // how the page says the last words of the place
};

// dataType, address, reserved, isBit, bitIndex, isArray, arrayReserved, arrayIndex, arrayCount, area
const std::vector<Resolved> kResolved{
    {"Main.motor.run", {1, 300, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.motor.speed", {3, 302, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.motor.torque", {7, 304, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.motor.temps[2]", {3, 310, 0, 0, 0, 1, 0, 1, 4, 1}, "`isArray` 1, `arrayIndex` 1, `arrayCount` 4"},
    {"Main.motors[1].speed", {3, 402, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.motors[3].speed", {3, 434, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.motors[4].temps[4]", {3, 462, 0, 0, 0, 1, 0, 3, 4, 1}, "`isArray` 1, `arrayIndex` 3, `arrayCount` 4"},
    {"Main.flags", {16, 500, 0, 0, 0, 0, 0, 0, 0, 1}, ""},
    {"Main.flags.b[3]", {16, 500, 0, 1, 3, 0, 0, 0, 0, 1}, "`isBit` 1, `bitIndex` 3"},
};

class WorkedRecords : public testing::Test {
protected:
    void SetUp() override {
        settings_.maxRequestWords = 100;
        settings_.accessMode = kAccessPlc;
        SetComInfo(&settings_);
        handOverSymbols();
    }

    static void receive(int address, const QByteArray& bytes) {
        for (int i = 0; i < bytes.size(); ++i) {
            PLC_driver.localValues.insert((Q_UINT64_C(1) << 32) + static_cast<quint64>(address + i), bytes.at(i));
        }
    }

    static QByteArray read(const char* tag, const char* argument, int count) {
        QString label = QString::fromLatin1(tag);
        QString text = QString::fromLatin1(argument);
        QByteArray out;
        EXPECT_EQ(GetRegisterData(&label, 0, &text, 0, &out, count), 1u) << tag;
        return out.toHex();
    }

    ComInfo settings_ = ComInfo();
};

TEST_F(WorkedRecords, LeadWhereThePageSays) {
    const std::string page = contentOf("docs/host-interface.md");
    for (const Resolved& expected : kResolved) {
        ControlInformationM place = ControlInformationM();
        EXPECT_EQ(get_label_address_info(static_cast<const QString&>(QString::fromLatin1(expected.tag)), place), 0)
            << expected.tag;
        EXPECT_EQ(std::memcmp(&place, &expected.place, sizeof place), 0)
            << expected.tag << ": type " << place.dataType << ", address " << place.address << ", bit "
            << place.bitIndex << ", index " << place.arrayIndex << ", count " << place.arrayCount;
        const std::string row = std::string("| `") + expected.tag + "` | " + std::to_string(expected.place.dataType) +
                                " | " + std::to_string(expected.place.area) + " | " +
                                std::to_string(expected.place.address) + " | " + expected.further + " |\n";
        EXPECT_NE(page.find(row), std::string::npos) << "docs/host-interface.md lacks the row " << row;
    }
}

TEST_F(WorkedRecords, AreNotReadAsAWhole) {
    ControlInformationM place = ControlInformationM();
    EXPECT_EQ(get_label_address_info(static_cast<const QString&>(QString::fromLatin1("Main.motor")), place), 1);
    EXPECT_EQ(get_label_address_info(static_cast<const QString&>(QString::fromLatin1("Main.motors[1]")), place), 1);
}

TEST_F(WorkedRecords, GiveTheValuesThatStandInThePlc) {
    receive(300, QByteArray::fromHex("01"));
    receive(304, QByteArray::fromHex("3FC00000"));  // 1.5
    receive(434, QByteArray::fromHex("FFFE"));      // -2
    receive(456, QByteArray::fromHex("0011002200330044"));
    receive(500, QByteArray::fromHex("0008"));
    EXPECT_EQ(read("Main.motor.run", "", 1), "01");
    EXPECT_EQ(read("Main.motor.torque", "", 2), "0000c03f");
    EXPECT_EQ(read("Main.motors[3].speed", "", 1), "feff");
    EXPECT_EQ(read("Main.motors[4].temps[1]", "", 4), "1100220033004400");
    EXPECT_EQ(read("Main.motors[4].temps[%%]", "2", 1), "3300");
    EXPECT_EQ(read("Main.flags", "", 1), "0800");
    EXPECT_EQ(read("Main.flags.b[2]", "", 3), "000100");
    EXPECT_EQ(read("Main.flags.b[%%]", "3", 1), "01");
}

TEST_F(WorkedRecords, AreReadInOneRequestAsTheyLieTogether) {
    QList<HostTag> tags;
    for (const char* tag : {"Main.motors[1].speed", "Main.motors[4].temps[4]", "Main.motors[2].torque"}) {
        tags << HostTag{0, 0, QString(), QString::fromLatin1(tag), 1};
    }
    ASSERT_EQ(ReCreatReadVarList(&tags), 1);
    EXPECT_EQ(PLC_driver.readList.at(0).area, 1);
    EXPECT_EQ(PLC_driver.readList.at(0).offset, 402);
    EXPECT_EQ(PLC_driver.readList.at(0).size, 464 - 402);
}

TEST_F(WorkedRecords, AreWrittenMemberByMemberAndBitByBit) {
    const auto write = [](const char* tag, const char* value) {
        QString label = QString::fromLatin1(tag);
        QString argument;
        QByteArray in = QByteArray::fromHex(value);
        SetRegisterData(&label, 0, &argument, 0, &in, 1, 0, 1);
        return PLC_driver.writeList.last();
    };
    receive(500, QByteArray::fromHex("8001"));
    const RW_VAR speed = write("Main.motors[2].speed", "0102");
    EXPECT_EQ(speed.offset, 418);
    EXPECT_EQ(speed.data.toHex(), "0201");
    const RW_VAR flags = write("Main.flags.b[3]", "01");
    EXPECT_EQ(flags.offset, 500);
    EXPECT_EQ(flags.data.toHex(), "8009");
}

// A bit is found by its number alone; its description is needed where a template is made concrete.
TEST_F(WorkedRecords, OfBitsNeedTheirDescriptionForTemplatesOnly) {
    PLC_driver.labelTable["Main"].elementType[0].members[2].elementType.clear();
    ControlInformationM place = ControlInformationM();
    EXPECT_EQ(get_label_address_info(static_cast<const QString&>(QString::fromLatin1("Main.flags.b[3]")), place), 0);
    EXPECT_EQ(place.bitIndex, 3);
    QString name = QString::fromLatin1("Main.flags.b[%%]");
    EXPECT_EQ(get_label_address_info(name, 3), 10);
}

}  // namespace
}  // namespace ac500::test
