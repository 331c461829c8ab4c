// What resolution remembers about the table of symbols, seen from outside: an answer is always the table's, however the
// table was changed since a name was resolved first.
#include "symbols/symbol_memory.h"

#include <thread>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {
namespace {

class SymbolMemory : public DriverTest {
protected:
    SymbolMemory() { load({scope("Main", {variable("counter", 16, 10), variable("speed", 16, 20)})}); }

    static void load(Labels records) { PassVarName_2(&records); }

    // The way of GetRegisterData, which remembers: "area:address" or the result 0 of an unknown name.
    static std::string placeOf(const char* tag, const char* argument = "") {
        QString label = tag;
        QString labelArg = argument;
        QByteArray out;
        for (int address = 0; address < kAddresses; ++address) {
            for (int area = 1; area <= 2; ++area) {
                PLC_driver.localValues[(static_cast<quint64>(area) << 32) | static_cast<quint64>(address)] =
                    static_cast<char>(area == 1 ? address : 0x80 + address);
            }
        }
        if (GetRegisterData(&label, 0, &labelArg, 0, &out, 1) == 0) {
            return "unknown";
        }
        const int shown = static_cast<quint8>(out.at(1));  // the first byte of a big-endian word
        return std::to_string(shown < 0x80 ? 1 : 2) + ":" + std::to_string(shown & 0x7F);
    }

    static Label_Type_Info& mainVariable(int i) { return PLC_driver.labelTable["Main"].elementType[0].members[i]; }

    static constexpr int kAddresses = 100;
};

TEST_F(SymbolMemory, AnswersAlikeTheFirstAndTheSecondTime) {
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
}

TEST_F(SymbolMemory, KnowsANameOnceItWasResolved) {
    const QString name = "Main.counter";
    ControlInformationM info;
    {
        const ac500::SymbolMemory::Use memory(symbolMemory);
        EXPECT_FALSE(memory.recall(HashedTag(name), info));
    }
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const ac500::SymbolMemory::Use memory(symbolMemory);
    ASSERT_TRUE(memory.recall(HashedTag(name), info));
    EXPECT_EQ(info.address, 10);
}

TEST_F(SymbolMemory, HoldsNothingOfATableThatIsGone) {
    Labels variables;
    for (int i = 0; i < 20; ++i) {  // so many that they get an index
        variables.append(variable(QByteArray("value" + QByteArray::number(i)).constData(), 16, 2 * i));
    }
    QString name = QString::fromLatin1("lasting");
    variables[7].name = name;
    load({scope("Large", variables)});
    variables.clear();
    ASSERT_EQ(placeOf("Large.lasting"), "1:14");
    ASSERT_FALSE(name.isDetached());

    PLC_driver.labelTable.clear();
    load({scope("Main", {variable("counter", 16, 10)})});
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_TRUE(name.isDetached());
}

TEST_F(SymbolMemory, FollowsAnOffsetThatIsChangedInTheTable) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    mainVariable(0).offset = 30;
    EXPECT_EQ(placeOf("Main.counter"), "1:30");
}

TEST_F(SymbolMemory, FollowsAnAreaThatIsChangedThroughAnIterator) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    PLC_driver.labelTable.find("Main")->elementType[0].members[0].areaList[0] = 2;
    EXPECT_EQ(placeOf("Main.counter"), "2:10");
}

TEST_F(SymbolMemory, FollowsAVariableThatIsRenamed) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    mainVariable(0).name = "renamed";
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    EXPECT_EQ(placeOf("Main.renamed"), "1:10");
}

TEST_F(SymbolMemory, FollowsAScopeThatIsRemovedAndComesBack) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    PLC_driver.labelTable.remove("Main");
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    load({scope("Main", {variable("counter", 16, 44)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:44");
}

TEST_F(SymbolMemory, FollowsATableThatIsClearedOrReplaced) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const QHash<QString, Label_Type_Info> before = PLC_driver.labelTable;
    PLC_driver.labelTable.clear();
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    PLC_driver.labelTable = before;
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
}

TEST_F(SymbolMemory, FollowsRecordsThatAreLoadedAgain) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    ASSERT_EQ(placeOf("Main.speed"), "1:20");
    load({scope("Main", {variable("counter", 16, 50)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:50");
    EXPECT_EQ(placeOf("Main.speed"), "unknown");
}

// A table of thousands of records would be copied once more for every list of the host's.
TEST_F(SymbolMemory, LeavesTheRecordsWhereTheyAreWhenMoreAreLoaded) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const QHash<QString, Label_Type_Info>& table = PLC_driver.labelTable;
    const Label_Type_Info* const before = &table.constFind("Main").value();
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(&table.constFind("Main").value(), before);
}

TEST_F(SymbolMemory, FindsANameThatWasUnknownBefore) {
    ASSERT_EQ(placeOf("Other.counter"), "unknown");
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(placeOf("Other.counter"), "1:60");
}

TEST_F(SymbolMemory, LeavesTheTablesOfTwoLoadsApart) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Other.counter"), "1:60");
}

TEST_F(SymbolMemory, TellsTemplatesByTheirArgument) {
    load({scope("Main", {asArray(variable("values", 16, 10), {10, 0, 8})})});
    EXPECT_EQ(placeOf("Main.values[%%]", "1"), "1:12");
    EXPECT_EQ(placeOf("Main.values[%%]", "3"), "1:16");
    EXPECT_EQ(placeOf("Main.values[%%]", "1"), "1:12");
    EXPECT_EQ(placeOf("Main.values[3]"), "1:16");
}

// A name that keeps its "%%" is refused or rewritten anew every time, though the same text resolved before.
TEST_F(SymbolMemory, RemembersNoNameThatStaysATemplate) {
    load({scope("Main", {asArray(variable("a%%b", 16, 10), {10, 0, 8})})});
    QString concreteTag = "Main.a%%b[2]";
    ControlInformationM info = ControlInformationM();
    ASSERT_EQ(get_label_address_info(static_cast<const QString&>(concreteTag), info), 0);
    EXPECT_EQ(placeOf("Main.a%%b[%%]", "2"), "1:14");
    EXPECT_EQ(placeOf("Main.a%%b[2]"), "unknown") << "a fixed index in a template is refused";
}

// The host may let a string point at a buffer of its own, and use the buffer for another name afterwards.
TEST_F(SymbolMemory, KeepsNoTextThatIsOnlyPointedAt) {
    QString buffer = "Main.counter";
    QString none;
    QByteArray out;
    {
        QString label = QString::fromRawData(buffer.constData(), buffer.size());
        ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
    }
    std::fill(buffer.begin(), buffer.end(), QLatin1Char('x'));
    EXPECT_EQ(placeOf("xxxxxxxxxxxx"), "unknown");
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
}

TEST_F(SymbolMemory, KeepsBitsAndArrayPositionsApart) {
    Label_Type_Info flags = variable("flags", 16, 30);
    flags.type |= kBitAddressableFlag;
    load({scope("Main", {asArray(variable("values", 16, 10), {10, 0, 4}), flags})});
    PLC_driver.localValues[(Q_UINT64_C(1) << 32) | 30] = 0x12;
    PLC_driver.localValues[(Q_UINT64_C(1) << 32) | 31] = 0x34;
    for (int round = 0; round < 2; ++round) {
        QString bit = "Main.flags.b[9]";
        QString row = "Main.values[1]";
        QString none;
        QByteArray out;
        ASSERT_EQ(GetRegisterData(&bit, 0, &none, 0, &out, 3), 1U);
        EXPECT_EQ(hex(out), "01 00 00");
        ASSERT_EQ(GetRegisterData(&row, 0, &none, 0, &out, 6), 1U);
        EXPECT_EQ(out.size(), 12);
    }
}

TEST_F(SymbolMemory, AnswersRightBeyondTheNamesItHolds) {
    constexpr int kNames = 66000;
    load({scope("Main", {asArray(variable("values", 2, 0), {10, 0, kNames})})});
    QString none;
    QByteArray out;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < kNames; i += round == 0 ? 1 : 50) {
            if (round == 0) {
                PLC_driver.localValues[(Q_UINT64_C(1) << 32) | static_cast<quint64>(i)] = static_cast<char>(i % 251);
            }
            QString tag = QString("Main.values[%1]").arg(i);
            ASSERT_EQ(GetRegisterData(&tag, 0, &none, 0, &out, 1), 1U);
            ASSERT_EQ(static_cast<quint8>(out.at(0)), i % 251) << i;
        }
    }
}

TEST_F(SymbolMemory, FindsTheFirstOfManyMembersOfOneName) {
    Labels variables;
    for (int i = 0; i < 40; ++i) {
        variables << variable(qPrintable(QString("v%1").arg(i % 20)), 16, 2 * i);
    }
    load({scope("Main", variables)});
    EXPECT_EQ(placeOf("Main.v7"), "1:14");
    EXPECT_EQ(placeOf("Main.v19"), "1:38");
    EXPECT_EQ(placeOf("Main.v20"), "unknown");
}

TEST_F(SymbolMemory, FindsOnlyTheSearchedOfManyMembers) {
    Labels variables;
    for (int i = 0; i < 40; ++i) {
        variables << variable(qPrintable(QString("v%1").arg(i)), 16, 2 * i);
    }
    Label_Type_Info half = scope("Main", variables);
    half.elementType[0].memberCount = 20;
    load({half});
    EXPECT_EQ(placeOf("Main.v19"), "1:38");
    EXPECT_EQ(placeOf("Main.v20"), "unknown");
    PLC_driver.labelTable["Main"].elementType[0].memberCount = 21;
    EXPECT_EQ(placeOf("Main.v20"), "1:40");
}

TEST_F(SymbolMemory, FollowsTheNamesOfManyMembers) {
    Labels variables;
    for (int i = 0; i < 40; ++i) {
        variables << variable(qPrintable(QString("v%1").arg(i)), 16, 2 * i);
    }
    load({scope("Main", variables)});
    ASSERT_EQ(placeOf("Main.v30"), "1:60");
    mainVariable(5).name = "v30";
    EXPECT_EQ(placeOf("Main.v30"), "1:10") << "the first of that name";
    EXPECT_EQ(placeOf("Main.v5"), "unknown");
    PLC_driver.labelTable["Main"].elementType[0].members.removeAt(5);
    EXPECT_EQ(placeOf("Main.v30"), "1:60");
}

TEST_F(SymbolMemory, LeavesWordsThatResolutionDoesNotReach) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    ControlInformationM info = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const QString tag = "Main.counter";
    ASSERT_EQ(get_label_address_info(tag, info), 0);
    EXPECT_EQ(info.dataType, 16);
    EXPECT_EQ(info.address, 10);
    EXPECT_EQ(info.isBit, 4);
    EXPECT_EQ(info.arrayCount, 9);
    EXPECT_EQ(info.area, 1);
}

// Another thread is resolving: this one neither waits nor answers differently.
TEST_F(SymbolMemory, AnswersAlikeWhileItIsInUse) {
    const ac500::SymbolMemory::Use elsewhere(symbolMemory);
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Main.values[1]"), "unknown");
    mainVariable(0).offset = 30;
    EXPECT_EQ(placeOf("Main.counter"), "1:30");
}

TEST_F(SymbolMemory, FollowsRecordsThatAreLoadedWhileItIsInUse) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    {
        const ac500::SymbolMemory::Use elsewhere(symbolMemory);
        load({scope("Main", {variable("counter", 16, 50)})});
        EXPECT_EQ(placeOf("Main.counter"), "1:50");
    }
    EXPECT_EQ(placeOf("Main.counter"), "1:50");
}

TEST_F(SymbolMemory, AnswersSeveralThreadsAlike) {
    Labels variables;
    for (int i = 0; i < 2000; ++i) {
        variables << variable(qPrintable(QString("v%1").arg(i)), 2, i);
    }
    load({scope("Main", variables)});
    for (int i = 0; i < 2000; ++i) {
        PLC_driver.localValues[(Q_UINT64_C(1) << 32) | static_cast<quint64>(i)] = static_cast<char>(i % 251);
    }
    std::atomic<int> wrong(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&wrong, t] {
            QString none;
            QByteArray out;
            for (int k = 0; k < 4000; ++k) {
                const int i = (k * 7 + t * 500) % 2000;
                QString tag = QString("Main.v%1").arg(i);
                if (GetRegisterData(&tag, 0, &none, 0, &out, 1) != 1 || static_cast<quint8>(out.at(0)) != i % 251) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace ac500::test
