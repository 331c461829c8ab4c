// The memory of answers on its own: every word comes back, and names are told apart though their hashes are equal.
#include "symbols/name_memory.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ac500::test {
namespace {

// A name with a hash of the test's choosing. REQUIRES: `name` outlives what is returned.
HashedTag hashedAs(const QString& name, quint32 hash) {
    HashedTag tag(name);
    tag.hash = hash;
    return tag;
}

ControlInformationM scalar(qint32 address) {
    ControlInformationM info = ControlInformationM();
    info.dataType = 3;
    info.address = address;
    info.area = 1;
    return info;
}

TEST(NameMemory, KnowsNothingAtFirst) {
    const NameMemory memory;
    const QString name = "Main.counter";
    ControlInformationM info = scalar(77);
    EXPECT_FALSE(memory.recall(HashedTag(name), info));
    EXPECT_EQ(info.address, 77);
}

TEST(NameMemory, GivesBackAllTenWords) {
    NameMemory memory;
    const QString bit = "Main.flags.b[9]";
    const QString element = "Main.values[3]";
    ControlInformationM ofBit = scalar(30);
    ofBit.isBit = 1;
    ofBit.bitIndex = 9;
    ControlInformationM ofElement = scalar(16);
    ofElement.isArray = 1;
    ofElement.arrayIndex = 3;
    ofElement.arrayCount = 5;
    memory.remember(HashedTag(bit), ofBit);
    memory.remember(HashedTag(element), ofElement);

    ControlInformationM info = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    ASSERT_TRUE(memory.recall(HashedTag(bit), info));
    EXPECT_EQ(info.dataType, 3);
    EXPECT_EQ(info.address, 30);
    EXPECT_EQ(info.area, 1);
    EXPECT_EQ(info.isBit, 1);
    EXPECT_EQ(info.bitIndex, 9);
    EXPECT_EQ(info.isArray, 0);
    EXPECT_EQ(info.arrayIndex, 0);
    EXPECT_EQ(info.arrayCount, 0);
    EXPECT_EQ(info.arrayReserved, 0);
    ASSERT_TRUE(memory.recall(HashedTag(element), info));
    EXPECT_EQ(info.address, 16);
    EXPECT_EQ(info.isBit, 0);
    EXPECT_EQ(info.bitIndex, 0);
    EXPECT_EQ(info.isArray, 1);
    EXPECT_EQ(info.arrayIndex, 3);
    EXPECT_EQ(info.arrayCount, 5);
}

TEST(NameMemory, TellsNamesOfOneHashApart) {
    NameMemory memory;
    const QString first = "Main.first";
    const QString second = "Main.second";
    const QString third = "Main.third";
    memory.remember(hashedAs(first, 5), scalar(10));
    memory.remember(hashedAs(second, 5), scalar(20));
    ControlInformationM info;
    ASSERT_TRUE(memory.recall(hashedAs(first, 5), info));
    EXPECT_EQ(info.address, 10);
    ASSERT_TRUE(memory.recall(hashedAs(second, 5), info));
    EXPECT_EQ(info.address, 20);
    EXPECT_FALSE(memory.recall(hashedAs(third, 5), info));
}

// The host may let a string point at a buffer of its own, and use the buffer for another name afterwards.
TEST(NameMemory, KeepsNoTextThatIsOnlyPointedAt) {
    NameMemory memory;
    QString buffer = "Main.counter";
    const QString pointer = QString::fromRawData(buffer.constData(), buffer.size());
    memory.remember(hashedAs(pointer, 5), scalar(10));
    std::fill(buffer.begin(), buffer.end(), QLatin1Char('x'));
    const QString other = "xxxxxxxxxxxx";
    const QString name = "Main.counter";
    ControlInformationM info;
    EXPECT_FALSE(memory.recall(hashedAs(other, 5), info));
    EXPECT_TRUE(memory.recall(hashedAs(name, 5), info));
}

TEST(NameMemory, KeepsWhatItKnowsWhileItGrows) {
    NameMemory memory;
    QStringList names;
    for (int i = 0; i < 1000; ++i) {
        names << QString("Main.v%1").arg(i);
        memory.remember(HashedTag(names.at(i)), scalar(i));
    }
    for (int i = 0; i < 1000; ++i) {
        ControlInformationM info;
        ASSERT_TRUE(memory.recall(HashedTag(names.at(i)), info)) << i;
        EXPECT_EQ(info.address, i);
    }
}

TEST(NameMemory, KnowsNothingOnceCleared) {
    NameMemory memory;
    const QString name = "Main.counter";
    memory.remember(HashedTag(name), scalar(10));
    memory.clear();
    ControlInformationM info;
    EXPECT_FALSE(memory.recall(HashedTag(name), info));
    memory.remember(HashedTag(name), scalar(20));
    ASSERT_TRUE(memory.recall(HashedTag(name), info));
    EXPECT_EQ(info.address, 20);
}

// What it holds costs some 50 bytes a name: beyond 65536 names it starts again.
TEST(NameMemory, ForgetsAllWhenItIsFull) {
    NameMemory memory;
    const QString name = "Main.counter";
    for (quint32 i = 0; i < 65536; ++i) {
        memory.remember(hashedAs(name, i), scalar(static_cast<qint32>(i)));
    }
    ControlInformationM info;
    ASSERT_TRUE(memory.recall(hashedAs(name, 0), info));
    ASSERT_TRUE(memory.recall(hashedAs(name, 65535), info));
    EXPECT_EQ(info.address, 65535);
    memory.remember(hashedAs(name, 65536), scalar(65536));
    EXPECT_FALSE(memory.recall(hashedAs(name, 0), info));
    EXPECT_FALSE(memory.recall(hashedAs(name, 65535), info));
    ASSERT_TRUE(memory.recall(hashedAs(name, 65536), info));
    EXPECT_EQ(info.address, 65536);
}

}  // namespace
}  // namespace ac500::test
