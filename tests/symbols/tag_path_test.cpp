// Components of tag names: what is name and what is index list.
#include "symbols/tag_path.h"

#include <gtest/gtest.h>

#include <QtCore/QLocale>
#include <QtCore/QStringList>
#include <clocale>
#include <string>

namespace ac500::test {
namespace {

QStringList pieces(const QString& text, char separator) {
    QStringList list;
    for (const TextSpan& piece : split(text, separator)) {
        list << piece.toString();
    }
    return list;
}

TEST(TagPath, SplitsAComponentIntoNameAndIndexList) {
    struct {
        const char* component;
        const char* name;
        const char* indexList;
        bool hasIndexList;
    } const rows[] = {
        {"counter", "counter", "", false},
        {"", "", "", false},
        {"values[3]", "values", "3", true},
        {"table[1,2]", "table", "1,2", true},
        {"[3]", "", "3", true},
        {"values[]", "values", "", true},
        {"values[3", "values[3", "", false},
        {"values3]", "values3]", "", false},
        {"a[1][2]", "a[1]", "2", true},
        {"]a[", "]a", "", true},
        {"values[3]x", "values", "3]", true},
        {"v[1]%", "v", "1]", true},
        {"[]", "", "", true},
    };
    for (const auto& row : rows) {
        const QString text = row.component;
        const Component component = splitComponent(text);
        EXPECT_EQ(component.hasIndexList, row.hasIndexList) << row.component;
        EXPECT_EQ(component.name.toString(), QString(row.name)) << row.component;
        EXPECT_EQ(component.indexList.toString(), QString(row.indexList)) << row.component;
    }
}

// What stands before a span and behind it is of another name, or nobody's.
TEST(TagPath, FindsACharacterWhereverItStands) {
    for (int length = 0; length <= 13; ++length) {
        const QString without(length, QChar('x'));
        EXPECT_FALSE(TextSpan(without).contains('[')) << length;
        for (int place = 0; place < length; ++place) {
            QString with = without;
            with[place] = '[';
            EXPECT_TRUE(TextSpan(with).contains('[')) << place << " of " << length;
            EXPECT_FALSE(TextSpan(with).contains(']')) << place << " of " << length;
            EXPECT_FALSE(TextSpan(with).part(0, place).contains('[')) << "before " << place;
            EXPECT_FALSE(TextSpan(with).part(place + 1, length - place - 1).contains('[')) << "behind " << place;
            for (int alike : {0x015B, 0x5B00, 0x5B5B, 0x005A, 0x005C, 0x805B, 0x0000, 0xFFFF}) {
                with[place] = QChar(alike);
                EXPECT_FALSE(TextSpan(with).contains('[')) << alike;
            }
        }
    }
}

TEST(TagPath, SpansAreEqualWhenEveryCharacterIs) {
    for (int length = 0; length <= 9; ++length) {
        const QString text(length, QChar('x'));
        EXPECT_TRUE(TextSpan(text) == TextSpan(QString(length, 'x'))) << length;
        EXPECT_FALSE(TextSpan(text) == TextSpan(QString(length + 1, 'x'))) << length;
        for (int place = 0; place < length; ++place) {
            for (int unit : {0x0079, 0x0178, 0x7800}) {
                QString other = text;
                other[place] = QChar(unit);
                EXPECT_FALSE(TextSpan(text) == TextSpan(other)) << place << " of " << length;
            }
        }
    }
    EXPECT_TRUE(TextSpan() == TextSpan(QString()));
    EXPECT_FALSE(TextSpan() == TextSpan(QString("x")));
}

TEST(TagPath, LooksAtNothingBesideTheSpan) {
    const QString text = "[.a.[b]]";
    const TextSpan letter = TextSpan(text).part(2, 1);
    EXPECT_EQ(letter.firstIndexOf('.'), -1);
    EXPECT_EQ(letter.lastIndexOf('.'), -1);
    EXPECT_EQ(letter.firstIndexOf('a'), 0);
    EXPECT_EQ(letter.lastIndexOf('a'), 0);
    EXPECT_EQ(TextSpan(text).part(2, 0).firstIndexOf('a'), -1);
    EXPECT_EQ(TextSpan(text).part(3, 0).lastIndexOf('a'), -1);
    EXPECT_EQ(TextSpan(text).firstIndexOf('.', 1), 1);
    EXPECT_EQ(TextSpan(text).firstIndexOf('.', 2), 3);
    EXPECT_EQ(TextSpan(text).lastIndexOf('['), 4);
    EXPECT_EQ(split(letter, '.').size(), 1);
    EXPECT_EQ(split(TextSpan(text).part(2, 2), '.').size(), 2);
    EXPECT_FALSE(splitComponent(TextSpan(text).part(4, 2)).hasIndexList) << "[b";
    EXPECT_FALSE(splitComponent(TextSpan(text).part(5, 2)).hasIndexList) << "b]";
    const Component item = splitComponent(TextSpan(text).part(4, 3));
    EXPECT_TRUE(item.hasIndexList);
    EXPECT_EQ(item.name.toString(), QString());
    EXPECT_EQ(item.indexList.toString(), QString("b"));

    EXPECT_TRUE(letter == TextSpan(QString("a")));
    EXPECT_FALSE(letter == TextSpan(QString("b")));
    EXPECT_FALSE(letter == TextSpan(QString("a.")));
    EXPECT_FALSE(TextSpan(text).part(2, 2) == letter);
    EXPECT_TRUE(TextSpan() == TextSpan(QString("")));
}

TEST(TagPath, KeepsEmptyPieces) {
    EXPECT_EQ(pieces("Main.motor.speed", '.'), (QStringList{"Main", "motor", "speed"}));
    EXPECT_EQ(pieces(".a..b.", '.'), (QStringList{"", "a", "", "b", ""}));
    EXPECT_EQ(pieces("", '.'), QStringList{""});
    EXPECT_EQ(pieces("1,2", '.'), QStringList{"1,2"});
    EXPECT_EQ(pieces("1,2", ','), (QStringList{"1", "2"}));
    EXPECT_EQ(pieces("a.b.c.d.e.f.g.h.i.j", '.').size(), 10);
}

TEST(TagPath, PlaceholderIsTwoPercentSigns) {
    EXPECT_TRUE(hasPlaceholder(QString("%a%%")));
    EXPECT_FALSE(hasPlaceholder(QString("%a%")));
    EXPECT_TRUE(hasPlaceholder(QString("a[%%]")));
    EXPECT_TRUE(hasPlaceholder(QString("%%")));
    EXPECT_FALSE(hasPlaceholder(QString("a[%]")));
    EXPECT_FALSE(hasPlaceholder(QString("")));
}

TEST(TagPath, PlaceholderLiesInTheSpanWhateverTheTextAroundIt) {
    const QString text = "%%a%%";
    EXPECT_TRUE(hasPlaceholder(text));
    EXPECT_TRUE(hasPlaceholder(TextSpan(text).part(0, 2)));
    EXPECT_TRUE(hasPlaceholder(TextSpan(text).part(3, 2)));
    EXPECT_FALSE(hasPlaceholder(TextSpan(text).part(2, 2))) << "a%";
    EXPECT_FALSE(hasPlaceholder(TextSpan(text).part(1, 2))) << "%a";
    EXPECT_FALSE(hasPlaceholder(TextSpan(text).part(4, 1))) << "%";
    EXPECT_FALSE(hasPlaceholder(TextSpan(text).part(2, 1))) << "a";
    EXPECT_FALSE(hasPlaceholder(TextSpan(text).part(1, 0)));
}

TEST(ReadNumber, TakesTheDigitsOfItsBase) {
    struct {
        const char* text;
        int base;
        bool isNumber;
        qint32 number;
    } const rows[] = {
        {"0", 10, true, 0},
        {"42", 10, true, 42},
        {"0042", 10, true, 42},
        {"+42", 10, true, 42},
        {"-42", 10, true, -42},
        {"-0", 10, true, 0},
        {"2147483647", 10, true, 2147483647},
        {"-2147483648", 10, true, -2147483647 - 1},
        {"2147483648", 10, false, 0},
        {"-2147483649", 10, false, 0},
        {"99999999999999999999999999999999999999", 10, false, 0},
        {"", 10, false, 0},
        {"-", 10, false, 0},
        {"--1", 10, false, 0},
        {"+-1", 10, false, 0},
        {"- 1", 10, false, 0},
        {"1 2", 10, false, 0},
        {"1,000", 10, false, 0},
        {"1.0", 10, false, 0},
        {"1e2", 10, false, 0},
        {"0x10", 10, false, 0},
        {"7", 8, true, 7},
        {"8", 8, false, 0},
        {"101", 2, true, 5},
        {"2", 2, false, 0},
        {"ff", 16, true, 255},
        {"FF", 16, true, 255},
        {"0xff", 16, true, 255},
        {"-0XfF", 16, true, -255},
        {"0x", 16, false, 0},
        {"fg", 16, false, 0},
        {"x", 16, false, 0},
        {"7fffffff", 16, true, 2147483647},
        {"80000000", 16, false, 0},
        {"9", 10, true, 9},
        {"9", 9, false, 0},
        {"a", 16, true, 10},
        {"A", 16, true, 10},
        {"a", 10, false, 0},
        {"A", 10, false, 0},
        {"g", 17, true, 16},
        {"G", 17, true, 16},
        {"/", 36, false, 0},
        {":", 36, false, 0},
        {"@", 36, false, 0},
        {"[", 36, false, 0},
        {"`", 36, false, 0},
        {"{", 36, false, 0},
        {"1/", 36, false, 0},
        {"1@", 36, false, 0},
        {"z", 36, true, 35},
        {"Z", 36, true, 35},
        {"z", 35, false, 0},
        {"12", 0, true, 12},
        {"012", 0, true, 10},
        {"018", 0, false, 0},
        {"0", 0, true, 0},
        {"0x12", 0, true, 18},
        {"", 0, false, 0},
        {"-", 0, false, 0},
        {"0b1", 0, false, 0},
    };
    for (const auto& row : rows) {
        qint32 number = 77;
        const QString text = row.text;
        EXPECT_EQ(readNumber(text, row.base, &number), row.isNumber) << row.text << " in base " << row.base;
        EXPECT_EQ(number, row.number) << row.text << " in base " << row.base;
        EXPECT_EQ(text.toInt(nullptr, row.base), row.number) << "as Qt has it: " << row.text;
    }
}

TEST(ReadNumber, AllowsWhiteSpaceAround) {
    const ushort spaces[] = {' ', '\t', '\n', '\v', '\f', '\r', 0x85, 0xA0, 0x2003, 0x3000};
    for (const ushort space : spaces) {
        qint32 number = 77;
        EXPECT_TRUE(readNumber(QString(QChar(space)) + "12" + QChar(space) + QChar(space), 10, &number)) << space;
        EXPECT_EQ(number, 12);
        EXPECT_FALSE(readNumber(QString(QChar(space)), 10, &number)) << space;
    }
}

TEST(ReadNumber, LooksAtNothingBesideTheSpan) {
    struct {
        const char* text;
        int start;
        int length;
        int base;
        bool isNumber;
        qint32 number;
    } const rows[] = {
        {"12345", 1, 3, 10, true, 234}, {"-12", 1, 2, 10, true, 12}, {"1 2", 0, 1, 10, true, 1},
        {"1 2", 0, 2, 10, true, 1},     {"1 2", 1, 1, 10, false, 0}, {"-1", 0, 1, 10, false, 0},
        {"+1", 0, 1, 10, false, 0},     {"12", 1, 0, 10, false, 0},  {"0x1", 0, 1, 0, true, 0},
        {"0x1", 0, 2, 0, false, 0},     {"0x1", 0, 0, 16, false, 0}, {"0x1", 0, 0, 0, false, 0},
        {"0x1", 0, 1, 16, true, 0},     {"00x1", 1, 3, 0, true, 1},  {"012", 1, 2, 0, true, 12},
        {"-0 ", 1, 0, 0, false, 0},
    };
    for (const auto& row : rows) {
        const QString text = row.text;
        qint32 number = 77;
        const TextSpan span = TextSpan(text).part(row.start, row.length);
        EXPECT_EQ(readNumber(span, row.base, &number), row.isNumber) << row.text << " from " << row.start;
        EXPECT_EQ(number, row.number) << row.text << " from " << row.start;
    }
}

TEST(ReadNumber, TakesTheTypesettersMinus) {
    EXPECT_EQ(numberOrZero(QString(QChar(0x2212)) + "12"), -12);
}

// The host's locale makes no difference, nor does QtCore's version.
TEST(ReadNumber, TakesNoDigitsButAsciiInAnyLocale) {
    for (const char* locale : {"C", "fa_IR", "ar_EG", "mr_IN", "de_DE"}) {
        setlocale(LC_ALL, (std::string(locale) + ".UTF-8").c_str());  // where it is installed
        QLocale::setDefault(QLocale(locale));
        for (const int zero : {0x660, 0x6F0, 0x966, 0xFF10}) {  // Arabic, Persian, Devanagari, wide
            qint32 number = 77;
            EXPECT_FALSE(readNumber(QString(QChar(zero + 3)), 10, &number)) << locale << " " << zero;
            EXPECT_EQ(number, 0);
            EXPECT_EQ(numberOrZero(QString("1") + QChar(zero)), 0);
        }
        EXPECT_EQ(numberOrZero(QString("-103")), -103) << locale;
        EXPECT_EQ(numberOrZero(QString("1.000")), 0) << locale;
    }
    setlocale(LC_ALL, "C");
    QLocale::setDefault(QLocale::c());
}

}  // namespace
}  // namespace ac500::test
