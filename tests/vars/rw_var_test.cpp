// The record of one variable, and the argument that it carries.
#include "vars/rw_var.h"

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

namespace ac500::test {
namespace {

TEST(RwVar, CopiesShareTextsAndBytesUntilOneSideChangesThem) {
    RW_VAR original = RW_VAR();
    original.labelName = "Main.values[%%]";
    original.data = "\x12\x34";
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
