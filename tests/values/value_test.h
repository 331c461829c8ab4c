// ValueTest is the fixture of the tests that read and write values by tag: the host's two calls as verbs, and the image
// bytes most of them look at.
#ifndef AC500_TESTS_VALUES_VALUE_TEST_H
#define AC500_TESTS_VALUES_VALUE_TEST_H

#include <string>
#include <vector>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {

// Type codes by the width of their values.
const std::vector<int> kEightBitCodes = {2, 14, 15};
const std::vector<int> kSixteenBitCodes = {3, 4, 16};
const std::vector<int> kThirtyTwoBitCodes = {5, 6, 7, 17};
const std::vector<int> kSixtyFourBitCodes = {8, 9, 18, 21};
const std::vector<int> kStringCodes = {10, 11};

// Codes that resolve and have no value to transfer.
const std::vector<int> kValuelessCodes = {0, 19, 20, 22, 255};

class ValueTest : public DriverTest {
protected:
    // What GetRegisterData answers, as result and bytes: "1: 34 12".
    static std::string read(const char* tag, qint32 count, const char* argument = "") {
        QString label = QString::fromUtf8(tag);
        QString labelArg = argument;
        QByteArray out = "replaced";
        const quint32 result = GetRegisterData(&label, 0, &labelArg, 0, &out, count);
        return std::to_string(result) + ": " + hex(out);
    }

    // Writes the bytes that `in` spells in hexadecimal; returns what SetRegisterData returns.
    static quint32 write(const char* tag, const char* in, qint32 count, const char* argument = "") {
        QString label = QString::fromUtf8(tag);
        QString labelArg = argument;
        QByteArray value = bytes(in);
        value.append("\xE1\xE2\xE3");  // what follows in memory, which nobody may take for a part of the value
        value.chop(3);
        const quint32 result = SetRegisterData(&label, 0, &labelArg, 0, &value, count, 11, 22);
        EXPECT_EQ(value, bytes(in)) << "the host's bytes were modified";
        return result;
    }

    // The pending writes as text: "1@100: 12 34 | 1@102: 56 78". Empties the list.
    static std::string takeWrites() {
        std::string text;
        for (const RW_VAR& var : PLC_driver.writeList) {
            EXPECT_EQ(var.size, var.data.size());
            text += (text.empty() ? "" : " | ") + std::to_string(var.area) + "@" + std::to_string(var.offset) + ": " +
                    hex(var.data);
        }
        PLC_driver.writeList.clear();
        return text;
    }

    static void forgetImage() { PLC_driver.localValues.clear(); }
};

}  // namespace ac500::test

#endif
