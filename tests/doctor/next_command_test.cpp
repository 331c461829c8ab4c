// The commands that the doctor advises.
#include "tools/doctor/next_command.h"

#include <gtest/gtest.h>

namespace ac500::doctor {
namespace {

NextCommand called() {
    return NextCommand({"Main.counter", "@panel.list", "Main.recipe[11]"})
        .with("--symbols", "plant.json")
        .with("--plc", "10.0.0.5:1201")
        .with("--handshake", "plc.handshake")
        .with("--timeout", "500")
        .with("--simulator")
        .with("--within", "60");
}

TEST(NextCommand, AsksTheSamePlantInTheSameWay) {
    EXPECT_EQ(called().doctor(),
              "ac500-host --symbols plant.json --plc 10.0.0.5:1201 --handshake plc.handshake --timeout 500 --simulator "
              "doctor --within 60 Main.counter @panel.list 'Main.recipe[11]'");
    EXPECT_EQ(NextCommand().doctor(), "ac500-host doctor");
}

TEST(NextCommand, ChangesOneOptionInItsPlace) {
    EXPECT_EQ(
        called().with("--timeout", "10000").doctor(),
        "ac500-host --symbols plant.json --plc 10.0.0.5:1201 --handshake plc.handshake --timeout 10000 --simulator "
        "doctor --within 60 Main.counter @panel.list 'Main.recipe[11]'");
    EXPECT_EQ(NextCommand().with("--plc", "[::1]:1201").doctor(), "ac500-host --plc '[::1]:1201' doctor");
}

TEST(NextCommand, LeavesOutWhatOtherCommandsHaveNoUseFor) {
    EXPECT_EQ(called().ofPlc("guard learn x"),
              "ac500-host --symbols plant.json --plc 10.0.0.5:1201 --timeout 500 --simulator guard learn x");
    EXPECT_EQ(called().ofSymbols("tags"), "ac500-host --symbols plant.json --simulator tags");
}

TEST(NextCommand, QuotesWhatAShellWouldTakeApart) {
    EXPECT_EQ(NextCommand({"Main.tank*"}).with("--symbols", "my plant/bad sym's.json").doctor(),
              "ac500-host --symbols 'my plant/bad sym'\\''s.json' doctor 'Main.tank*'");
}

TEST(NextCommand, TakesNoTagWithAValueBehindIt) {
    EXPECT_EQ(NextCommand({"Main.pin=4711", "Main.counter"}).doctor(), "ac500-host doctor Main.counter");
}

}  // namespace
}  // namespace ac500::doctor
