// Whatever a tag or argument text holds: an answer, the same answer again, and an untouched table of scopes.
#include <iterator>
#include <random>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/support/pace.h"
#include "tests/symbols/resolved_text.h"

namespace ac500::test {
namespace {

// Names that resolve or are rewritten; most random texts are one of them with a few places changed, so that they get past
// the first checks.
constexpr const char* kResolvedNames[] = {
    "Main.counter",
    "Main.values[2,3]",
    "Main.vector[1]",
    "Main.motor.speed",
    "Main.motors[2].temps[3]",
    "Main.flags.b[3]",
    "Main.motor.status.b[7]",
    "Main.motor.drive.current",
    "Main.texts[1]",
    "Main.remote",
    "Main.grid[0,%%+1]",
    "Main.vector[%%]",
    "Main.motors[%%].torque",
    "Main.motor.temps[1+%%]",
    "Main.flags.b[%%]",
    "Main.values[ %% , 4 ]",
};

constexpr const char* kPieces[] = {
    ".",           "..",         "[",           "]",        "[[",
    "]]",          "][",         ",",           "%%",       "%",
    "+",           "-",          " ",           "\t",       "0",
    "1",           "5",          "[0]",         "[%%]",     "x",
    "b[3]",        "Main",       "speed",       "\xC3\xA9", "\xF0\x9F\x94\xA7",
    "99999999999", "2147483647", "-2147483648",
};

class RandomText {
public:
    explicit RandomText(unsigned seed) : random(seed) {}

    int upTo(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

    QString next() {
        QString text = upTo(10) == 0 ? "" : QString::fromUtf8(oneOf(kResolvedNames));
        for (int changes = upTo(5); changes > 0; --changes) {
            change(text);
        }
        return text;
    }

private:
    template <size_t n>
    const char* oneOf(const char* const (&texts)[n]) {
        return texts[upTo(static_cast<int>(n))];
    }

    void change(QString& text) {
        const int position = upTo(text.size() + 1);
        if (upTo(2) == 0) {
            text.remove(position, 1 + upTo(3));
        } else {
            text.insert(position, QString::fromUtf8(oneOf(kPieces)));
        }
    }

    std::mt19937 random;
};

class RandomNames : public DriverTest {
protected:
    RandomNames() { loadPlant(); }
};

TEST_F(RandomNames, ResolveToTheSameAnswerTwiceAndLeaveTheTableAlone) {
    RandomText texts(20240501);
    int resolved = 0;
    for (int round = 0; round < rounds(20000); ++round) {
        const QString tag = texts.next();
        const std::string answer = resolve(tag);
        ASSERT_EQ(resolve(tag), answer) << tag.toStdString();
        resolved += answer[0] == '0' ? 1 : 0;
    }
    EXPECT_GT(resolved, rounds(2000)) << "the texts are too wild to test more than the first checks";
    EXPECT_EQ(PLC_driver.labelTable.size(), 1);
    EXPECT_EQ(resolve("Main.motors[2].temps[3]"), "0: type 3, area 1, address 432, element 2 of 4");
}

TEST_F(RandomNames, AreRewrittenTheSameWayTwiceAndLeaveTheTableAlone) {
    RandomText texts(20240502);
    const int arguments[] = {0, 1, 2, 3, 4, 7, 100, -1, -100, 2147483647, -2147483647 - 1};
    int rewritten = 0;
    for (int round = 0; round < rounds(20000); ++round) {
        const QString tag = texts.next();
        const int argument = arguments[texts.upTo(static_cast<int>(std::size(arguments)))];
        QString first = tag;
        QString second = tag;
        const int result = get_label_address_info(first, argument);
        ASSERT_EQ(get_label_address_info(second, argument), result) << tag.toStdString();
        ASSERT_EQ(first, second) << tag.toStdString();
        ASSERT_TRUE(result == 0 || first == tag) << tag.toStdString() << " became " << first.toStdString();
        rewritten += first == tag ? 0 : 1;
    }
    EXPECT_GT(rewritten, rounds(1000)) << "the texts are too wild to test more than the first checks";
    EXPECT_EQ(PLC_driver.labelTable.size(), 1);
    EXPECT_EQ(resolve("Main.motors[2].temps[3]"), "0: type 3, area 1, address 432, element 2 of 4");
}

TEST_F(RandomNames, AndArgumentsPassThroughTheWholeInterface) {
    RandomText texts(20240503);
    for (int round = 0; round < rounds(5000); ++round) {
        const QString tag = texts.next();
        const int count = texts.upTo(12) - 2;
        QString argument = texts.upTo(2) == 0 ? QString::number(texts.upTo(8)) : texts.next();
        QString label = tag;
        QByteArray out = "stale";
        const quint32 result = GetRegisterData(&label, 0, &argument, 0, &out, count);
        ASSERT_LE(result, 1u) << tag.toStdString();
        ASSERT_FALSE(out.startsWith("stale")) << tag.toStdString();
        ASSERT_TRUE(result == 1 || out == QByteArray(qMax(0, 2 * count), '\0')) << tag.toStdString();
        ASSERT_TRUE(label == tag || tag.contains("%%")) << tag.toStdString();
    }
    EXPECT_EQ(PLC_driver.labelTable.size(), 1);
}

TEST_F(RandomNames, AreRegisteredOrRefusedWithoutHarm) {
    RandomText texts(20240504);
    QList<HostTag> tags;
    for (int round = 0; round < rounds(3000); ++round) {
        tags.append(HostTag{0, 0, texts.next(), texts.next(), texts.upTo(300) - 20});
    }
    const int planned = ReCreatReadVarList(&tags);
    EXPECT_GT(planned, 0);
    EXPECT_EQ(ReCreatReadVarList(&tags), planned);
    for (const RW_VAR& var : PLC_driver.readList) {
        ASSERT_GT(var.size, 0);
        ASSERT_LE(var.size, 200);
    }
    EXPECT_EQ(PLC_driver.labelTable.size(), 1);
}

}  // namespace
}  // namespace ac500::test
