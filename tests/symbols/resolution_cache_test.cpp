// What resolution keeps of the table of scopes, seen from outside: an answer is the table's, however the table was
// changed since a name was resolved first.
#include "symbols/resolution_cache.h"
#include "symbols/tag_resolution.h"

#include <algorithm>
#include <memory>
#include <random>
#include <thread>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"
#include "tests/support/pace.h"

namespace ac500::test {
namespace {

class ResolutionCacheTest : public DriverTest {
protected:
    ResolutionCacheTest() { load({scope("Main", {variable("counter", 16, 10), variable("speed", 16, 20)})}); }

    static void load(Labels records) { PassVarName_2(&records); }

    // The way of GetRegisterData, which keeps what it finds: "area:address" or the result 0 of an unknown name.
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

    // v0, v1, ...: so many that they get an index when there are more than 8.
    static Labels manyVariables(int count) {
        Labels variables;
        for (int i = 0; i < count; ++i) {
            variables << variable(qPrintable(QString("v%1").arg(i)), 16, 2 * i);
        }
        return variables;
    }

    static std::vector<std::unique_ptr<ResolutionCache::Use>> takeSeats(int count) {
        std::vector<std::unique_ptr<ResolutionCache::Use>> uses;
        for (int i = 0; i < count; ++i) {
            uses.push_back(std::make_unique<ResolutionCache::Use>(resolutionCache));
        }
        return uses;
    }

    static constexpr int kAddresses = 100;
};

TEST_F(ResolutionCacheTest, AnswersAlikeTheFirstAndTheSecondTime) {
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
}

TEST_F(ResolutionCacheTest, KnowsANameOnceItWasResolved) {
    const QString name = "Main.counter";
    ControlInformationM info;
    {
        const ResolutionCache::Use cache(resolutionCache);
        EXPECT_FALSE(cache.find(HashedName(name), info));
    }
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const ResolutionCache::Use cache(resolutionCache);
    ASSERT_TRUE(cache.find(HashedName(name), info));
    EXPECT_EQ(info.address, 10);
}

TEST_F(ResolutionCacheTest, HoldsNothingOfATableThatIsGone) {
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

TEST_F(ResolutionCacheTest, FollowsAnOffsetThatIsChangedInTheTable) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    mainVariable(0).offset = 30;
    EXPECT_EQ(placeOf("Main.counter"), "1:30");
}

TEST_F(ResolutionCacheTest, FollowsAnAreaThatIsChangedThroughAnIterator) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    PLC_driver.labelTable.find("Main")->elementType[0].members[0].areaList[0] = 2;
    EXPECT_EQ(placeOf("Main.counter"), "2:10");
}

TEST_F(ResolutionCacheTest, FollowsAVariableThatIsRenamed) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    mainVariable(0).name = "renamed";
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    EXPECT_EQ(placeOf("Main.renamed"), "1:10");
}

TEST_F(ResolutionCacheTest, FollowsAScopeThatIsRemovedAndComesBack) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    PLC_driver.labelTable.remove("Main");
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    load({scope("Main", {variable("counter", 16, 44)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:44");
}

TEST_F(ResolutionCacheTest, FollowsATableThatIsClearedOrReplaced) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const QHash<QString, Label_Type_Info> before = PLC_driver.labelTable;
    PLC_driver.labelTable.clear();
    EXPECT_EQ(placeOf("Main.counter"), "unknown");
    PLC_driver.labelTable = before;
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
}

TEST_F(ResolutionCacheTest, FollowsRecordsThatAreLoadedAgain) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    ASSERT_EQ(placeOf("Main.speed"), "1:20");
    load({scope("Main", {variable("counter", 16, 50)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:50");
    EXPECT_EQ(placeOf("Main.speed"), "unknown");
}

// A table of thousands of records would be copied once more for every list of the host's.
TEST_F(ResolutionCacheTest, LeavesTheRecordsWhereTheyAreWhenMoreAreLoaded) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const QHash<QString, Label_Type_Info>& table = PLC_driver.labelTable;
    const Label_Type_Info* const before = &table.constFind("Main").value();
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(&table.constFind("Main").value(), before);
}

TEST_F(ResolutionCacheTest, FindsANameThatWasUnknownBefore) {
    ASSERT_EQ(placeOf("Other.counter"), "unknown");
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(placeOf("Other.counter"), "1:60");
}

TEST_F(ResolutionCacheTest, LeavesTheTablesOfTwoLoadsApart) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    load({scope("Other", {variable("counter", 16, 60)})});
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Other.counter"), "1:60");
}

TEST_F(ResolutionCacheTest, TellsTemplatesByTheirArgument) {
    load({scope("Main", {asArray(variable("values", 16, 10), {10, 0, 8})})});
    EXPECT_EQ(placeOf("Main.values[%%]", "1"), "1:12");
    EXPECT_EQ(placeOf("Main.values[%%]", "3"), "1:16");
    EXPECT_EQ(placeOf("Main.values[%%]", "1"), "1:12");
    EXPECT_EQ(placeOf("Main.values[3]"), "1:16");
}

// A name that keeps its "%%" is refused or rewritten anew every time, though the same text resolved before.
TEST_F(ResolutionCacheTest, KeepsNoNameThatStaysATemplate) {
    load({scope("Main", {asArray(variable("a%%b", 16, 10), {10, 0, 8})})});
    QString concreteTag = "Main.a%%b[2]";
    ControlInformationM info = ControlInformationM();
    ASSERT_EQ(get_label_address_info(static_cast<const QString&>(concreteTag), info), 0);
    EXPECT_EQ(placeOf("Main.a%%b[%%]", "2"), "1:14");
    EXPECT_EQ(placeOf("Main.a%%b[2]"), "unknown") << "a fixed index in a template is refused";
}

// The host may let a string point at a buffer of its own, and use the buffer for another name afterwards.
TEST_F(ResolutionCacheTest, KeepsNoTextThatIsOnlyPointedAt) {
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

// A host may walk over its tags in one string that it edits through a pointer.
TEST_F(ResolutionCacheTest, FollowsANameThatIsEditedInPlace) {
    const char* const digits = "0123456789ABCDEF";
    Labels variables;
    for (int i = 0; i < 256; ++i) {
        const char name[] = {'c', 'h', digits[i / 16], digits[i % 16], '\0'};
        variables << variable(name, 2, i);
        PLC_driver.localValues[(Q_UINT64_C(1) << 32) | static_cast<quint64>(i)] = static_cast<char>(i);
    }
    load({scope("Main", variables)});
    settings.accessMode = 2;
    settings.maxRequestWords = 100;
    QString label = "Main.ch00";
    QChar* number = label.data() + 7;
    QString none;
    QByteArray value("\x01\x00", 2);
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 256; ++i) {
            number[0] = QLatin1Char(digits[i / 16]);
            number[1] = QLatin1Char(digits[i % 16]);
            QByteArray out;
            ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
            ASSERT_EQ(static_cast<quint8>(out.at(0)), i);
            ASSERT_NE(SetRegisterData(&label, 0, &none, 0, &value, 1, 1, 1), 0U);
            ASSERT_EQ(PLC_driver.writeList.last().offset, i);
        }
    }
}

// Two names that QtCore's hash does not tell apart, whichever version it is.
TEST_F(ResolutionCacheTest, TellsNamesOfOneHashApartThoughTheHostEditsThemInPlace) {
    std::mt19937 random(1);
    QHash<quint32, QString> known;
    QString first;
    QString second(10, ' ');
    while (first.isEmpty() || first == second) {
        std::generate(second.begin(), second.end(), [&] { return QChar('a' + static_cast<int>(random() % 26)); });
        const quint32 hash = qHash("Main." + second);
        first = known.value(hash);
        known.insert(hash, QString(second.constData(), second.size()));
    }
    load({scope("Main", {variable(qPrintable(first), 16, 10), variable(qPrintable(second), 16, 20)})});
    const QString scopeName = "Main.";
    QString label = scopeName + first;
    QString none;
    QByteArray out;
    QChar* variableName = label.data() + scopeName.size();
    PLC_driver.localValues[(Q_UINT64_C(1) << 32) | 10] = 1;
    PLC_driver.localValues[(Q_UINT64_C(1) << 32) | 20] = 2;
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
    EXPECT_EQ(out.at(1), 1);
    std::copy(second.begin(), second.end(), variableName);
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
    EXPECT_EQ(out.at(1), 2) << first.toStdString() << " " << second.toStdString();
}

TEST_F(ResolutionCacheTest, HoldsNoTextOfTheHosts) {
    QString label = "Main.counter";
    label.reserve(4096);
    QString none;
    QByteArray out;
    ASSERT_EQ(GetRegisterData(&label, 0, &none, 0, &out, 1), 1U);
    EXPECT_TRUE(label.isDetached());
}

TEST_F(ResolutionCacheTest, HoldsNoMoreThanItsBoundOfLongNames) {
    struct {
        int spaces;
        int names;
        std::size_t bound;
    } const rows[] = {{40, rounds(100000), 16U * 1024 * 1024},  // more than fits
                      {4096, 200, 64U * 1024}};                 // too long to be kept: 1.6 MiB of text
    for (const auto& row : rows) {
        load({scope("Main", {asArray(variable("values", 2, 0), {10, 0, 300000})})});
        QString none;
        QByteArray out;
        const QString spaces(row.spaces, ' ');
        for (int i = 0; i < row.names; ++i) {
            QString tag = QString("Main.values[") + spaces + QString::number(i) + QLatin1Char(']');
            ASSERT_EQ(GetRegisterData(&tag, 0, &none, 0, &out, 0), 1U);
        }
        EXPECT_LE(resolutionCache.bytes(), row.bound) << row.spaces;
    }
}

TEST_F(ResolutionCacheTest, HoldsNothingUnlessItIsUsed) {
    EXPECT_EQ(ResolutionCache(PLC_driver.labelTable).bytes(), 0U);
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    resolutionCache.clear();
    EXPECT_EQ(resolutionCache.bytes(), 0U);
}

TEST_F(ResolutionCacheTest, CountsItsIndexesAmongWhatItHolds) {
    constexpr std::size_t kWord = sizeof(void*);
    constexpr std::size_t kOneAnswer = 32768 + 64;
    constexpr std::size_t kIndexOfOneScope = 8 * kWord + 64;
    load({scope("Main", manyVariables(8))});
    ASSERT_EQ(placeOf("Main.v7"), "1:14");
    EXPECT_EQ(resolutionCache.bytes(), kOneAnswer + kIndexOfOneScope) << "eight variables are asked each";
    load({scope("Main", manyVariables(9))});
    ASSERT_EQ(placeOf("Main.v8"), "1:16");
    EXPECT_EQ(resolutionCache.bytes(), kOneAnswer + kIndexOfOneScope + 4 * kWord + 64);

    Labels scopes;
    const Labels variables = manyVariables(1);
    for (int i = 0; i < 99; ++i) {
        scopes << scope(qPrintable(QString("Scope%1").arg(i)), variables);
    }
    load(scopes);
    ASSERT_EQ(placeOf("Scope98.v0"), "1:0");
    EXPECT_EQ(resolutionCache.bytes(), kOneAnswer + (5 + 3 * 100) * kWord + 1024);
}

// Large indexes, until one no longer fits, and then small ones into what is left.
TEST_F(ResolutionCacheTest, HoldsNoMoreThanItsBoundOfIndexes) {
    constexpr std::size_t kAnswers = 32768 + 4096;  // 420 of them
    Labels scopes;
    const Labels many = manyVariables(1000);
    const Labels few = manyVariables(9);
    for (int i = 0; i < 300; ++i) {
        scopes << scope(qPrintable(QString("Scope%1").arg(i)), many);
    }
    for (int i = 0; i < 120; ++i) {
        scopes << scope(qPrintable(QString("Small%1").arg(i)), few);
    }
    load(scopes);
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(placeOf(qPrintable(QString("Scope%1.v17").arg(i))), "1:34") << i;
        ASSERT_EQ(placeOf(qPrintable(QString("Scope%1.v1000").arg(i))), "unknown") << i;
    }
    for (int i = 0; i < 120; ++i) {
        ASSERT_EQ(placeOf(qPrintable(QString("Small%1.v8").arg(i))), "1:16") << i;
    }
    EXPECT_LE(resolutionCache.bytes(), kAnswers + 2 * 1024 * 1024);
    EXPECT_GT(resolutionCache.bytes(), kAnswers + 2 * 1024 * 1024 - 96) << "there was no room for one more";
}

TEST_F(ResolutionCacheTest, ResolvesInATableOfMoreScopesThanAnIndexMayHave) {
    Labels scopes;
    const Labels variables = manyVariables(1);
    for (int i = 0; i < 100000; ++i) {
        scopes << scope(qPrintable(QString("Scope%1").arg(i)), variables);
    }
    load(scopes);
    EXPECT_EQ(placeOf("Scope0.v0"), "1:0");
    EXPECT_EQ(placeOf("Scope99999.v0"), "1:0");
    EXPECT_EQ(placeOf("Scope100000.v0"), "unknown");
    EXPECT_EQ(placeOf("Scope99999.v1"), "unknown");
    EXPECT_LE(resolutionCache.bytes(), 64U * 1024) << "the answers alone";
}

// A reference that is older than the last resolution: what it changes is part of the table all the same.
TEST_F(ResolutionCacheTest, NoticesAListThatWasChangedThroughAnOlderReference) {
    load({scope("Main", manyVariables(40))});
    Label_Type_Info& main = PLC_driver.labelTable["Main"];
    ASSERT_EQ(placeOf("Main.v3"), "1:6");
    main.elementType[0].members[3].offset = 30;
    EXPECT_EQ(placeOf("Main.v4"), "1:8") << "a name that is not kept: its list is not the one that was indexed";
    EXPECT_EQ(placeOf("Main.v3"), "1:30");
}

TEST_F(ResolutionCacheTest, KeepsAnswersAgainOnceItHasNoticedSuchAList) {
    load({scope("Main", manyVariables(40))});
    Label_Type_Info& main = PLC_driver.labelTable["Main"];
    ASSERT_EQ(placeOf("Main.v30"), "1:60");
    main.elementType[0].members[30].offset = 90;
    ASSERT_EQ(placeOf("Main.v31"), "1:62");
    ASSERT_EQ(placeOf("Main.v30"), "1:90");
    const QString name = "Main.v30";
    ControlInformationM info;
    const ResolutionCache::Use cache(resolutionCache);
    ASSERT_TRUE(cache.find(HashedName(name), info));
    EXPECT_EQ(info.address, 90);
}

TEST_F(ResolutionCacheTest, KeepsNoListThatWasChangedThroughAnOlderReference) {
    load({scope("Main", manyVariables(40))});
    Label_Type_Info& main = PLC_driver.labelTable["Main"];
    std::vector<QString> marks;
    for (int turn = 0; turn < 100; ++turn) {
        marks.push_back(QString("turn %1").arg(turn));
        main.elementType[0].members[39].typeName = marks.back();
        ASSERT_EQ(placeOf(qPrintable(QString("Main.v%1").arg(turn % 40))), "1:" + std::to_string(2 * (turn % 40)));
        ASSERT_EQ(placeOf(qPrintable(QString("Main.w%1").arg(turn))), "unknown");
    }
    const auto kept = std::count_if(marks.begin(), marks.end(), [](const QString& mark) { return !mark.isDetached(); });
    EXPECT_LE(kept, 2) << "lists of variables: the table's, and one that is indexed";
}

// A reference taken once a name was resolved is good for as long as Qt says.
TEST_F(ResolutionCacheTest, LeavesAReferenceThatIsTakenAnewInPlace) {
    for (int turn = 0; turn < 3; ++turn) {
        ASSERT_EQ(placeOf("Main.speed"), "1:20");
        Label_Type_Info& counter = mainVariable(0);
        counter.offset = 30 + turn;
        PLC_driver.labelTable["Other"] = scope("Other", {});
        counter.offset += 10;
        EXPECT_EQ(placeOf("Main.counter"), "1:" + std::to_string(40 + turn));
    }
}

TEST_F(ResolutionCacheTest, KeepsBitsAndArrayPositionsApart) {
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

TEST_F(ResolutionCacheTest, AnswersRightBeyondTheNamesItHolds) {
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

TEST_F(ResolutionCacheTest, FindsTheFirstOfManyMembersOfOneName) {
    Labels variables;
    for (int i = 0; i < 40; ++i) {
        variables << variable(qPrintable(QString("v%1").arg(i % 20)), 16, 2 * i);
    }
    load({scope("Main", variables)});
    EXPECT_EQ(placeOf("Main.v7"), "1:14");
    EXPECT_EQ(placeOf("Main.v19"), "1:38");
    EXPECT_EQ(placeOf("Main.v20"), "unknown");
}

TEST_F(ResolutionCacheTest, FindsOnlyTheSearchedOfManyMembers) {
    Label_Type_Info half = scope("Main", manyVariables(40));
    half.elementType[0].memberCount = 20;
    load({half});
    EXPECT_EQ(placeOf("Main.v19"), "1:38");
    EXPECT_EQ(placeOf("Main.v20"), "unknown");
    PLC_driver.labelTable["Main"].elementType[0].memberCount = 21;
    EXPECT_EQ(placeOf("Main.v20"), "1:40");
}

TEST_F(ResolutionCacheTest, FollowsTheNamesOfManyMembers) {
    load({scope("Main", manyVariables(40))});
    ASSERT_EQ(placeOf("Main.v30"), "1:60");
    mainVariable(5).name = "v30";
    EXPECT_EQ(placeOf("Main.v30"), "1:10") << "the first of that name";
    EXPECT_EQ(placeOf("Main.v5"), "unknown");
    PLC_driver.labelTable["Main"].elementType[0].members.removeAt(5);
    EXPECT_EQ(placeOf("Main.v30"), "1:60");
}

TEST_F(ResolutionCacheTest, LeavesWordsThatResolutionDoesNotReach) {
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

// As many threads are resolving as can share the cache, and one more: it neither waits nor answers differently.
TEST_F(ResolutionCacheTest, AnswersAlikeWhenEverySeatIsTaken) {
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const std::vector<std::unique_ptr<ResolutionCache::Use>> others = takeSeats(16);
    EXPECT_EQ(placeOf("Main.counter"), "1:10");
    EXPECT_EQ(placeOf("Main.speed"), "1:20");
    EXPECT_EQ(placeOf("Main.values[1]"), "unknown");
    EXPECT_EQ(placeOf("Other.counter"), "unknown");
    const QString name = "Main.speed";
    ControlInformationM info;
    EXPECT_FALSE(others.front()->find(HashedName(name), info)) << "nor does it change what others search";
}

// A rebuild of the cyclic list goes on for thousands of tags: it must not go without the cache because others were busy
// when it began.
TEST_F(ResolutionCacheTest, ResolverKeepsNamesOnceASeatIsFree) {
    std::vector<std::unique_ptr<ResolutionCache::Use>> others = takeSeats(16);
    TagResolver resolver;
    ControlInformationM info;
    ASSERT_EQ(resolver.resolve("Main.counter", "", info), 0);
    EXPECT_EQ(info.address, 10);
    others.clear();
    const std::size_t held = resolutionCache.bytes();
    ASSERT_EQ(resolver.resolve("Main.speed", "", info), 0);
    EXPECT_EQ(info.address, 20);
    EXPECT_GT(resolutionCache.bytes(), held);
}

TEST_F(ResolutionCacheTest, ResolverFollowsAChangeOfTheTable) {
    TagResolver resolver;
    ControlInformationM info;
    ASSERT_EQ(resolver.resolve("Main.counter", "", info), 0);
    mainVariable(0).offset = 30;
    ASSERT_EQ(resolver.resolve("Main.counter", "", info), 0);
    EXPECT_EQ(info.address, 30);
}

// A host that breaks the rule of docs/threads.md is told the truth all the same.
TEST_F(ResolutionCacheTest, FollowsAChangeWhileOthersResolve) {
    for (int seats : {1, 15, 16}) {
        mainVariable(0).offset = 10;
        ASSERT_EQ(placeOf("Main.counter"), "1:10");
        const std::vector<std::unique_ptr<ResolutionCache::Use>> others = takeSeats(seats);
        mainVariable(0).offset = 30;
        EXPECT_EQ(placeOf("Main.counter"), "1:30") << seats;
        load({scope("Main", {variable("counter", 16, 50)})});
        EXPECT_EQ(placeOf("Main.counter"), "1:50") << seats;
        EXPECT_EQ(placeOf("Main.speed"), "unknown") << seats;
    }
}

// Whoever is seated may be looking at it.
TEST_F(ResolutionCacheTest, DropsNothingWhileOthersResolve) {
    const QString name = "Main.counter";
    ASSERT_EQ(placeOf("Main.counter"), "1:10");
    const std::size_t held = resolutionCache.bytes();
    {
        const ResolutionCache::Use other(resolutionCache);
        resolutionCache.clear();
        EXPECT_EQ(resolutionCache.bytes(), held);
        mainVariable(0).offset = 30;
        ASSERT_EQ(placeOf("Main.counter"), "1:30");
        ControlInformationM info;
        ASSERT_TRUE(other.find(HashedName(name), info));
        EXPECT_EQ(info.address, 10) << "as it was when the other one began";
    }
    resolutionCache.clear();
    EXPECT_EQ(resolutionCache.bytes(), 0U);
}

TEST_F(ResolutionCacheTest, AnswersSeveralThreadsAlike) {
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
