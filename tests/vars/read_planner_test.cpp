// Merging one area's sorted variables into requests, and cutting one variable into requests.
#include <climits>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "tests/support/driver_test.h"
#include "tests/support/pace.h"
#include "tests/vars/request_text.h"
#include "vars/read_planner.h"

namespace ac500::test {
namespace {

struct ByteRun {
    qint32 offset;
    qint32 size;
};

struct PlanRow {
    const char* situation;
    std::vector<ByteRun> variables;
    const char* requests;
};

class ReadPlanner : public DriverTest {
protected:
    static QList<RW_VAR> variablesOf(int area, const std::vector<ByteRun>& runs) {
        QList<RW_VAR> list;
        for (const ByteRun& run : runs) {
            list.append(readVar(area, run.offset, run.size));
        }
        return list;
    }

    static void merge(QList<RW_VAR> list, int maxBytes) {
        QMutexLocker lock(&PLC_driver.listMutex);
        BitVarReCreat(&list, maxBytes);
    }

    static std::string plan(const std::vector<ByteRun>& variables, int maxBytes) {
        PLC_driver.readList.clear();
        merge(variablesOf(1, variables), maxBytes);
        return requestText(PLC_driver.readList);
    }

    static void expectPlans(int maxBytes, const std::vector<PlanRow>& rows) {
        for (const PlanRow& row : rows) {
            EXPECT_EQ(plan(row.variables, maxBytes), row.requests) << row.situation;
        }
    }
};

TEST_F(ReadPlanner, WorkedExamples) {
    expectPlans(200, {
                         {"two merged, the third cut at the limit", {{0, 2}, {10, 4}, {150, 100}}, "1@0+200, 1@200+50"},
                         {"shorter variable at the same offset is covered", {{0, 4}, {0, 2}}, "1@0+4"},
                         {"too far apart", {{0, 2}, {300, 2}}, "1@0+2, 1@300+2"},
                         {"one variable above the limit", {{70, 450}}, "1@70+200, 1@270+200, 1@470+50"},
                     });
}

TEST_F(ReadPlanner, FewVariables) {
    expectPlans(20, {
                        {"none", {}, ""},
                        {"zero length", {{10, 0}}, ""},
                        {"negative length", {{10, -4}}, ""},
                        {"one", {{10, 4}}, "1@10+4"},
                        {"one of one byte", {{10, 1}}, "1@10+1"},
                        {"one at exactly the limit", {{10, 20}}, "1@10+20"},
                        {"one byte above the limit", {{10, 21}}, "1@10+20, 1@30+1"},
                        {"exactly twice the limit", {{10, 40}}, "1@10+20, 1@30+20"},
                        {"several times the limit", {{5, 50}}, "1@5+20, 1@25+20, 1@45+10"},
                    });
}

// quirk 14: the gap does not matter, only where the next variable begins.
TEST_F(ReadPlanner, Neighbours) {
    expectPlans(20, {
                        {"adjacent", {{0, 4}, {4, 4}}, "1@0+8"},
                        {"gap bridged", {{0, 2}, {10, 4}}, "1@0+14"},
                        {"widest gap bridged", {{0, 1}, {19, 1}}, "1@0+20"},
                        {"gap one byte too wide", {{0, 1}, {20, 1}}, "1@0+1, 1@20+1"},
                        {"adjacent to a full request", {{0, 20}, {20, 4}}, "1@0+20, 1@20+4"},
                        {"begins in reach and ends beyond the limit", {{0, 1}, {19, 2}}, "1@0+20, 1@20+1"},
                        {"overlap", {{0, 6}, {4, 6}}, "1@0+10"},
                        {"containment", {{0, 10}, {2, 3}}, "1@0+10"},
                        {"containment up to the last byte", {{0, 10}, {7, 3}}, "1@0+10"},
                        {"one byte longer than contained", {{0, 10}, {7, 4}}, "1@0+11"},
                        {"same start, longer first", {{0, 4}, {0, 2}}, "1@0+4"},
                        {"same start, shorter first", {{0, 2}, {0, 4}}, "1@0+4"},
                        {"twice the same", {{6, 4}, {6, 4}}, "1@6+4"},
                        {"exact limit", {{0, 10}, {10, 10}}, "1@0+20"},
                        {"one over the limit", {{0, 10}, {10, 11}}, "1@0+20, 1@20+1"},
                        {"reach is counted from the group's start", {{0, 4}, {12, 4}, {20, 4}}, "1@0+16, 1@20+4"},
                        {"every second word", {{0, 2}, {4, 2}, {8, 2}, {12, 2}, {16, 2}}, "1@0+18"},
                        {"negative offsets", {{-8, 4}, {-2, 4}}, "1@-8+10"},
                    });
}

TEST_F(ReadPlanner, GroupsThatGrowBeyondTheLimit) {
    expectPlans(
        20,
        {
            {"cut at the limit", {{0, 10}, {15, 20}}, "1@0+20, 1@20+15"},
            {"cut several times", {{0, 10}, {15, 50}}, "1@0+20, 1@20+20, 1@40+20, 1@60+5"},
            {"cut without a rest", {{0, 10}, {15, 25}}, "1@0+20, 1@20+20"},
            {"group goes on from its last request", {{0, 21}, {25, 4}}, "1@0+20, 1@20+9"},
            {"last byte in reach of the last request", {{0, 21}, {39, 1}}, "1@0+20, 1@20+20"},
            {"first byte out of its reach", {{0, 21}, {40, 1}}, "1@0+20, 1@20+1, 1@40+1"},
            {"covered by an earlier request of the group", {{0, 50}, {5, 2}}, "1@0+20, 1@20+20, 1@40+10"},
            {"begins in an earlier request, ends beyond all", {{0, 50}, {5, 60}}, "1@0+20, 1@20+20, 1@40+20, 1@60+5"},
            {"grown group goes on", {{0, 10}, {15, 20}, {36, 8}, {44, 1}}, "1@0+20, 1@20+20, 1@40+5"},
        });
}

TEST_F(ReadPlanner, VariablesOfSizeZeroOrLess) {
    expectPlans(20, {
                        {"leading, while the list is empty", {{0, 0}, {4, 2}}, "1@4+2"},
                        {"several leading ones", {{0, 0}, {0, 0}, {2, 0}, {4, 2}, {8, 2}}, "1@4+6"},
                        {"leading, next one out of reach", {{0, 0}, {30, 2}}, "1@30+2"},
                        {"leading of negative size", {{0, -5}, {4, 2}}, "1@4+2"},
                        {"leading, next one above the limit", {{0, 0}, {4, 25}}, "1@4+20, 1@24+5"},
                        {"inside a group", {{0, 4}, {2, 0}, {6, 2}}, "1@0+8"},
                        {"out of reach, nothing behind", {{0, 4}, {30, 0}}, "1@0+4"},
                        {"out of reach, a variable behind", {{0, 4}, {30, 0}, {31, 2}}, "1@0+4, 1@31+2"},
                        {"nothing else", {{0, 0}, {4, 0}, {8, 0}}, ""},
                    });
}

// The host's list, after it was planned with a limit of 200 bytes.
TEST_F(ReadPlanner, GivenVariablesThatOpenARunAreLeftBehindTheirLastPiece) {
    const std::vector<PlanRow> rows = {
        {"cut in three", {{0, 450}}, "1@450+50"},
        {"cut without a rest", {{0, 400}}, "1@400+200"},
        {"in one piece", {{10, 4}}, "1@14+4"},
        {"the second was merged", {{0, 450}, {440, 300}}, "1@450+50, 1@440+300"},
        {"the second was covered", {{0, 100}, {50, 2}}, "1@100+100, 1@50+2"},
        {"the second opened a run too", {{0, 2}, {300, 250}}, "1@2+2, 1@550+50"},
        {"without bytes", {{0, 0}, {300, -4}}, "1@0+0, 1@300+-4"},
        {"beyond the largest offset", {{INT_MAX - 99, 250}}, "1@-2147483498+50"},
    };
    for (const PlanRow& row : rows) {
        PLC_driver.readList.clear();
        QList<RW_VAR> list = variablesOf(1, row.variables);
        BitVarReCreat(&list, 200);
        EXPECT_EQ(requestText(list), row.requests) << row.situation;
    }
}

TEST_F(ReadPlanner, GivenVariablesAreLeftBehindTheirLastPieceOfTwoBytes) {
    QList<RW_VAR> list = variablesOf(1, {{0, 5}, {100, 8}, {200, 1}});
    BitVarReCreat(&list, 2);
    EXPECT_EQ(requestText(list), "1@5+1, 1@108+2, 1@201+1");
}

TEST_F(ReadPlanner, GivenVariablesStayAsTheyAreWhereNothingIsCut) {
    for (int maxBytes : {1, 0, -200}) {
        QList<RW_VAR> list = variablesOf(1, {{0, 450}, {440, 300}});
        BitVarReCreat(&list, maxBytes);
        EXPECT_EQ(requestText(list), "1@0+450, 1@440+300") << maxBytes;
    }
}

TEST_F(ReadPlanner, OffsetsWrapAtThirtyTwoBits) {
    expectPlans(200,
                {
                    {"pieces beyond the largest offset", {{INT_MAX - 99, 250}}, "1@2147483548+200, 1@-2147483548+50"},
                    {"reach beyond the largest offset wraps",
                     {{INT_MAX - 9, 4}, {INT_MAX - 1, 4}},
                     "1@2147483638+4, 1@2147483646+4"},
                    {"smallest offsets", {{INT_MIN, 4}, {INT_MIN + 8, 4}}, "1@-2147483648+12"},
                    {"a length beyond the range adds nothing", {{-10, 5}, {-8, INT_MAX}}, "1@-10+5"},
                });
}

TEST_F(ReadPlanner, LimitOfOneByteCutsAndMergesNothingButKeepsTheLargestAtAnOffset) {
    expectPlans(1, {
                       {"one", {{10, 4}}, "1@10+4"},
                       {"neighbours", {{0, 1}, {1, 1}}, "1@0+1, 1@1+1"},
                       {"overlap", {{0, 6}, {4, 6}}, "1@0+6, 1@4+6"},
                       {"same start, shorter first", {{0, 2}, {0, 4}}, "1@0+4"},
                       {"same start, longer first", {{0, 4}, {0, 2}}, "1@0+4"},
                       {"largest in the middle", {{0, 4}, {0, 8}, {0, 6}}, "1@0+8"},
                       {"largest is counted anew at the next offset", {{0, 8}, {1, 2}, {1, 4}}, "1@0+8, 1@1+4"},
                       {"far above the limit", {{0, 1000}}, "1@0+1000"},
                       {"none", {}, ""},
                   });
}

TEST_F(ReadPlanner, LimitOfTwoBytes) {
    expectPlans(2, {
                       {"adjacent bytes", {{0, 1}, {1, 1}, {2, 1}}, "1@0+2, 1@2+1"},
                       {"a long word", {{6, 8}}, "1@6+2, 1@8+2, 1@10+2, 1@12+2"},
                   });
}

TEST_F(ReadPlanner, LimitWithoutSenseQueuesNothing) {
    for (int maxBytes : {0, -1, -200, INT_MIN}) {
        EXPECT_EQ(plan({{0, 4}, {2, 8}, {300, 2}}, maxBytes), "") << maxBytes;
    }
}

TEST_F(ReadPlanner, EmptyListLeavesEarlierRequestsAlone) {
    PLC_driver.readList = variablesOf(1, {{0, 4}});
    merge({}, 20);
    merge({}, 1);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+4");
}

TEST_F(ReadPlanner, TwoAreasAreNotMerged) {
    merge(variablesOf(1, {{0, 4}, {6, 2}}), 20);
    merge(variablesOf(2, {{4, 4}, {8, 2}}), 20);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+8, 2@4+6");
}

TEST_F(ReadPlanner, FirstVariableOfALaterListStartsARunOfItsOwn) {
    merge(variablesOf(1, {{0, 4}}), 20);
    merge(variablesOf(1, {{6, 2}, {8, 2}}), 20);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+4, 1@6+4");
}

// quirk 36
TEST_F(ReadPlanner, LeadingVariableOfSizeZeroDoesNotMergeTheNextAreaIntoTheLast) {
    merge(variablesOf(1, {{0, 4}}), 20);
    merge(variablesOf(2, {{0, 0}, {6, 2}, {10, 2}}), 20);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+4, 2@6+6");
}

// quirk 36
TEST_F(ReadPlanner, LeadingVariableOfSizeZeroIsNotHeldCoveredByTheLastArea) {
    merge(variablesOf(1, {{0, 18}}), 20);
    merge(variablesOf(2, {{0, 0}, {6, 2}}), 20);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+18, 2@6+2");
}

TEST_F(ReadPlanner, RequestOfSizeZeroThatTheHostAddedGrows) {
    addRead(readVar(1, 0, 0));
    merge(variablesOf(1, {{0, 0}, {0, 1}}), 200);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+1");
}

TEST_F(ReadPlanner, RequestOfTheHostThatGrowsBeyondTheLimitGoesOnUnderItsOwnName) {
    RW_VAR added = readVar(1, 0, 4);
    added.labelName = "added";
    addRead(added);
    QList<RW_VAR> list = variablesOf(1, {{0, 0}, {2, 450}, {900, 4}});
    BitVarReCreat(&list, 200);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+200, 1@200+200, 1@400+52, 1@900+4");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(PLC_driver.readList.at(i).labelName, "added") << i;
    }
    EXPECT_EQ(requestText(list), "1@0+0, 1@2+450, 1@904+4") << "only the last opened a run of its own";
}

TEST_F(ReadPlanner, SecondAreaOfSizeZeroOnlyAddsNothing) {
    merge(variablesOf(1, {{0, 4}}), 20);
    merge(variablesOf(2, {{0, 0}, {6, 0}}), 20);
    EXPECT_EQ(requestText(PLC_driver.readList), "1@0+4");
}

RW_VAR withIdentity(RW_VAR var, const char* name, int dataType, int hostId) {
    var.labelName = name;
    var.labelArg = QString::number(hostId);
    var.dataType = dataType;
    var.hostId = hostId;
    var.hostSubId = -hostId;
    var.aux3 = hostId + 1;
    var.comWord = hostId + 2;
    return var;
}

void expectIdentity(const RW_VAR& var, const char* name, int dataType, int hostId) {
    EXPECT_EQ(var.labelName, name);
    EXPECT_EQ(var.labelArg, QString::number(hostId));
    EXPECT_EQ(var.dataType, dataType);
    EXPECT_EQ(var.hostId, hostId);
    EXPECT_EQ(var.hostSubId, -hostId);
    EXPECT_EQ(var.aux3, hostId + 1);
    EXPECT_EQ(var.comWord, hostId + 2);
}

// quirk 14
TEST_F(ReadPlanner, MixedTypesKeepTheIdentityOfTheVariableThatOpenedTheGroup) {
    merge({withIdentity(readVar(1, 0, 2), "word", 16, 10), withIdentity(readVar(1, 4, 8), "float", 9, 20),
           withIdentity(readVar(1, 15, 30), "text", 10, 30), withIdentity(readVar(1, 90, 4), "other", 5, 40)},
          20);
    ASSERT_EQ(requestText(PLC_driver.readList), "1@0+20, 1@20+20, 1@40+5, 1@90+4");
    expectIdentity(PLC_driver.readList.at(0), "word", 16, 10);
    expectIdentity(PLC_driver.readList.at(1), "word", 16, 10);
    expectIdentity(PLC_driver.readList.at(2), "word", 16, 10);
    expectIdentity(PLC_driver.readList.at(3), "other", 5, 40);
}

TEST_F(ReadPlanner, PiecesOfOneVariableKeepItsIdentity) {
    merge({withIdentity(readVar(1, 0, 45), "text", 10, 30)}, 20);
    ASSERT_EQ(PLC_driver.readList.size(), 3);
    for (const RW_VAR& piece : PLC_driver.readList) {
        expectIdentity(piece, "text", 10, 30);
    }
}

// "1@0+20 of 7" is area 1 from byte 0, 20 bytes, opened by the run of source 7.
std::string openedText(const QVector<ReadRequest>& requests) {
    std::string text;
    for (const ReadRequest& request : requests) {
        text += (text.empty() ? "" : ", ") + std::to_string(request.area) + "@" + std::to_string(request.offset) + "+" +
                std::to_string(request.size) + " of " + std::to_string(request.opener);
    }
    return text;
}

TEST(PlanReads, EachRequestNamesTheRunThatOpenedIt) {
    EXPECT_EQ(openedText(planReads({{1, 0, 2, 7}, {1, 4, 8, 3}, {1, 15, 30, 9}, {1, 90, 4, 5}}, 20)),
              "1@0+20 of 7, 1@20+20 of 7, 1@40+5 of 7, 1@90+4 of 5");
    EXPECT_EQ(openedText(planReads({{1, 0, 0, 7}, {1, 4, 25, 3}}, 20)), "1@4+20 of 3, 1@24+5 of 3");
    EXPECT_EQ(openedText(planReads({{1, 0, 2, 7}, {1, 0, 4, 3}, {1, 5, 1, 9}}, 1)), "1@0+4 of 7, 1@5+1 of 9");
}

TEST(PlanReads, SeveralAreasAreNotMerged) {
    EXPECT_EQ(openedText(planReads({{1, 0, 4, 0}, {1, 6, 2, 1}, {2, 4, 4, 2}, {2, 8, 2, 3}}, 20)),
              "1@0+8 of 0, 2@4+6 of 2");
    EXPECT_EQ(openedText(planReads({{1, 0, 18, 0}, {2, 0, 0, 1}, {2, 6, 2, 2}}, 20)), "1@0+18 of 0, 2@6+2 of 2");
}

TEST(PlanReads, OnlyTheLastOfTheEarlierRequestsMayGrow) {
    const QVector<ReadRequest> earlier{{1, 0, 4, -2}, {1, 100, 4, -1}};
    EXPECT_EQ(openedText(planReads({{1, 90, 0, 0}, {1, 106, 30, 1}}, 20, earlier)),
              "1@0+4 of -2, 1@100+20 of -1, 1@120+16 of -1");
    EXPECT_EQ(openedText(planReads({{1, 106, 2, 0}}, 20, earlier)), "1@0+4 of -2, 1@100+4 of -1, 1@106+2 of 0");
    EXPECT_EQ(openedText(planReads({{1, 106, 2, 0}}, 0, earlier)), "1@0+4 of -2, 1@100+4 of -1");
    EXPECT_EQ(openedText(planReads({}, 20, earlier)), "1@0+4 of -2, 1@100+4 of -1");
}

TEST(SortRuns, ByAreaThenOffsetThenSource) {
    QVector<ReadRun> runs{{2, 0, 1, 0}, {1, 5, 1, 1}, {1, -3, 1, 4}, {1, 5, 1, 3}, {-1, 9, 1, 2}, {1, -3, 1, 5}};
    sortRuns(runs);
    std::string order;
    for (const ReadRun& run : runs) {
        order += std::to_string(run.source) + " ";
    }
    EXPECT_EQ(order, "2 4 5 1 3 0 ");
}

// The trivial planner, one read per variable, says what must be covered.
using Bytes = std::map<qint32, std::set<qint32>>;  // by area

void addBytes(Bytes& bytes, const RW_VAR& var) {
    for (qint32 i = 0; i < var.size; ++i) {
        bytes[var.area].insert(var.offset + i);
    }
}

Bytes bytesOf(const QList<RW_VAR>& list) {
    Bytes bytes;
    for (const RW_VAR& var : list) {
        addBytes(bytes, var);
    }
    return bytes;
}

int trivialRequests(const QList<RW_VAR>& list, int maxBytes) {
    int requests = 0;
    for (const RW_VAR& var : list) {
        requests += (var.size + maxBytes - 1) / maxBytes;
    }
    return requests;
}

void expectCovers(const QList<RW_VAR>& plan, const QList<RW_VAR>& variables) {
    Bytes planned = bytesOf(plan);
    for (const auto& [area, wanted] : bytesOf(variables)) {
        for (qint32 byte : wanted) {
            ASSERT_EQ(planned[area].count(byte), 1u) << "byte " << byte << " of area " << area << " is not read";
        }
    }
}

void expectSoundRequests(const QList<RW_VAR>& plan, int maxBytes) {
    for (int i = 0; i < plan.size(); ++i) {
        ASSERT_GT(plan.at(i).size, 0);
        ASSERT_LE(plan.at(i).size, maxBytes);
        const bool sameArea = i > 0 && plan.at(i).area == plan.at(i - 1).area;
        ASSERT_TRUE(!sameArea || plan.at(i).offset >= plan.at(i - 1).offset + plan.at(i - 1).size)
            << requestText(plan.at(i - 1)) << " and " << requestText(plan.at(i)) << " overlap";
    }
}

void expectNoForeignBytes(const QList<RW_VAR>& plan, const QList<RW_VAR>& variables) {
    const Bytes wanted = bytesOf(variables);
    for (const RW_VAR& request : plan) {
        const auto area = wanted.find(request.area);
        ASSERT_NE(area, wanted.end()) << requestText(request);
        ASSERT_GE(request.offset, *area->second.begin()) << requestText(request);
        ASSERT_LE(request.offset + request.size - 1, *area->second.rbegin()) << requestText(request);
    }
}

qint32 between(std::mt19937& random, qint32 lowest, qint32 highest) {
    return lowest + static_cast<qint32>(random() % static_cast<unsigned>(highest - lowest + 1));
}

QList<RW_VAR> randomVariables(std::mt19937& random) {
    QList<RW_VAR> list;
    const qint32 spread = between(random, 50, 2000);
    for (int count = between(random, 1, 40); count > 0; --count) {
        list.append(readVar(1, between(random, 0, spread), between(random, 1, 60)));
    }
    return list;
}

TEST_F(ReadPlanner, CoversWhatOneReadPerVariableCovers) {
    std::mt19937 random(20240602);
    for (int round = 0; round < rounds(400); ++round) {
        QList<RW_VAR> variables = randomVariables(random);
        const int maxBytes = between(random, 2, 121);
        SCOPED_TRACE("round " + std::to_string(round) + ", limit " + std::to_string(maxBytes) + ": " +
                     requestText(variables));
        Bubble_Sort(&variables);
        PLC_driver.readList.clear();
        merge(variables, maxBytes);
        expectCovers(PLC_driver.readList, variables);
        expectSoundRequests(PLC_driver.readList, maxBytes);
        expectNoForeignBytes(PLC_driver.readList, variables);
        ASSERT_LE(PLC_driver.readList.size(), trivialRequests(variables, maxBytes));
    }
}

// Cutting one variable. The variable starts at byte 10 of area 1; its size on entry is 7777.
struct CutRow {
    const char* situation;
    int total;
    int maxBytes;
    const char* requests;
    const char* leftInVariable;
};

TEST(WhetherGroup, CutsOneVariableIntoRequests) {
    const CutRow rows[] = {
        {"below the limit: unchanged", 199, 200, "1@10+7777", "1@10+7777"},
        {"at the limit: unchanged", 200, 200, "1@10+7777", "1@10+7777"},
        {"nothing: unchanged", 0, 200, "1@10+7777", "1@10+7777"},
        {"negative: unchanged", -4, 200, "1@10+7777", "1@10+7777"},
        {"one above the limit", 201, 200, "1@10+200, 1@210+1", "1@210+1"},
        {"with a rest", 450, 200, "1@10+200, 1@210+200, 1@410+50", "1@410+50"},
        {"without a rest", 400, 200, "1@10+200, 1@210+200", "1@210+200"},
        {"limit of one byte", 3, 1, "1@10+1, 1@11+1, 1@12+1", "1@12+1"},
        {"nothing within a limit of zero: unchanged", 0, 0, "1@10+7777", "1@10+7777"},
        {"limit of zero", 4, 0, "", "1@10+7777"},
        {"negative limit", 4, -2, "", "1@10+7777"},
        {"smallest limit", 4, INT_MIN, "", "1@10+7777"},
    };
    for (const CutRow& row : rows) {
        RW_VAR var = readVar(1, 10, 7777);
        QList<RW_VAR> list;
        WhetherGroup(row.total, row.maxBytes, &var, &list);
        EXPECT_EQ(requestText(list), row.requests) << row.situation;
        EXPECT_EQ(requestText(var), row.leftInVariable) << row.situation;
    }
}

TEST(WhetherGroup, AppendsBehindWhatTheListHolds) {
    RW_VAR var = readVar(1, 10, 4);
    QList<RW_VAR> list{readVar(2, 0, 2)};
    WhetherGroup(4, 200, &var, &list);
    EXPECT_EQ(requestText(list), "2@0+2, 1@10+4");
}

TEST(WhetherGroup, PiecesKeepTheVariablesIdentity) {
    RW_VAR var = withIdentity(readVar(1, 10, 5), "text", 10, 30);
    QList<RW_VAR> list;
    WhetherGroup(5, 2, &var, &list);
    ASSERT_EQ(list.size(), 3);
    for (const RW_VAR& piece : list) {
        expectIdentity(piece, "text", 10, 30);
    }
}

TEST(WhetherGroup, TouchesNoListOfTheDriver) {
    PLC_driver.readList.clear();
    RW_VAR var = readVar(1, 10, 5);
    QList<RW_VAR> list;
    WhetherGroup(5, 2, &var, &list);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

}  // namespace
}  // namespace ac500::test
