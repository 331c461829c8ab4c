// The record of one variable, and copying its identity.
#include "vars/rw_var.h"

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {
namespace {

RW_VAR fullRecord() {
    RW_VAR var = RW_VAR();
    var.hostId = 101;
    var.hostSubId = 102;
    var.writeFlag = 103;
    var.aux3 = 104;
    var.aux4 = 105;
    var.status = 106;
    var.labelName = "Main.values[%%]";
    var.labelArg = "3";
    var.dataType = 107;
    var.offset = 108;
    var.comWord = 109;
    var.size = 110;
    var.resolveResult = 111;
    var.area = 112;
    var.data = "\x12\x34";
    return var;
}

// quirk 11
TEST(PassRetValue, CopiesEveryFieldButTheDataWhichItClears) {
    const RW_VAR source = fullRecord();
    RW_VAR target = RW_VAR();
    target.data = "old";
    passRetValue(source, target);
    EXPECT_EQ(target.hostId, 101);
    EXPECT_EQ(target.hostSubId, 102);
    EXPECT_EQ(target.writeFlag, 103);
    EXPECT_EQ(target.aux3, 104);
    EXPECT_EQ(target.aux4, 105);
    EXPECT_EQ(target.status, 106);
    EXPECT_EQ(target.labelName, "Main.values[%%]");
    EXPECT_EQ(target.labelArg, "3");
    EXPECT_EQ(target.dataType, 107);
    EXPECT_EQ(target.offset, 108);
    EXPECT_EQ(target.comWord, 109);
    EXPECT_EQ(target.size, 110);
    EXPECT_EQ(target.resolveResult, 111);
    EXPECT_EQ(target.area, 112);
    EXPECT_TRUE(target.data.isEmpty());
}

TEST(PassRetValue, LeavesTheSourceAlone) {
    const RW_VAR source = fullRecord();
    RW_VAR target = RW_VAR();
    passRetValue(source, target);
    EXPECT_EQ(source.data, "\x12\x34");
    EXPECT_EQ(source.labelName, "Main.values[%%]");
}

TEST(RwVar, CopiesShareTextsAndBytesUntilOneSideChangesThem) {
    const RW_VAR original = fullRecord();
    RW_VAR copy = original;
    EXPECT_EQ(copy.data.constData(), original.data.constData());
    copy.data[0] = 'x';
    copy.labelName += "!";
    EXPECT_EQ(original.data, "\x12\x34");
    EXPECT_EQ(original.labelName, "Main.values[%%]");
}

class PlaceholderArgument : public DriverTest {
protected:
    PlaceholderArgument() { loadMain({asArray(variable("vector", 3, 200), {10, 0, 50})}); }

    // First byte of the one-shot read of Main.vector[%%] with this argument; -1 when it is refused.
    static int plannedOffset(const char* argument) {
        RW_VAR var = RW_VAR();
        var.labelName = "Main.vector[%%]";
        var.labelArg = argument;
        var.size = 1;
        PLC_driver.onceReadList.clear();
        return AddListOnceReadVar(&var) == 0 ? -1 : PLC_driver.onceReadList.first().offset;
    }
};

TEST_F(PlaceholderArgument, EmptyTextCountsAsZero) {
    EXPECT_EQ(plannedOffset(""), 200);
}

TEST_F(PlaceholderArgument, TextThatIsNoNumberCountsAsZero) {
    EXPECT_EQ(plannedOffset("seven"), 200);
    EXPECT_EQ(plannedOffset("7 7"), 200);
    EXPECT_EQ(plannedOffset("0x7"), 200);
    EXPECT_EQ(plannedOffset("7.5"), 200);
    EXPECT_EQ(plannedOffset("4294967303"), 200);
}

TEST_F(PlaceholderArgument, IsReadInBaseTen) {
    EXPECT_EQ(plannedOffset("7"), 214);
    EXPECT_EQ(plannedOffset("010"), 220);
    EXPECT_EQ(plannedOffset(" 7 "), 214);
    EXPECT_EQ(plannedOffset("+7"), 214);
    EXPECT_EQ(plannedOffset("-7"), -1) << "the rewritten name does not resolve";
    EXPECT_EQ(plannedOffset("50"), -1) << "beyond the array";
}

}  // namespace
}  // namespace ac500::test
