// The examples in C, built as their reader builds them, against a simulated plant.
#include "tests/client/client_plant.h"
#include "tests/support/child_process.h"

namespace ac500::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class CExamplesTest : public testing::Test {
protected:
    // What it prints. It finds the driver beside its library.
    std::string run(const std::string& name) {
        const std::string folder = std::string(kSimulatorProgram).substr(0, std::string(kSimulatorProgram).rfind('/'));
        ChildProcess program;
        EXPECT_TRUE(program.start(folder + "/c_" + name, {plant, addressOf(simulator)}));
        EXPECT_TRUE(program.waitForEnd(60000)) << name;
        EXPECT_EQ(program.exitCode(), 0) << name << ": " << program.takeErrors();
        return program.takeOutput();
    }

    const std::string plant = projectFile("examples/plant.json");
    sim::EmbeddedSimulator simulator{symbol_file::loadSymbolFile(plant).file};
};

TEST_F(CExamplesTest, PrintWhatTheySay) {
    EXPECT_THAT(run("quick_start"), MatchesRegex("counter [0-9]+, recipe 120, 80, 77\n"));
    EXPECT_THAT(run("watch"), HasSubstr("Main.counter = "));
    EXPECT_THAT(run("own_loop"), MatchesRegex("counter [0-9]+\ncounter [0-9]+\ncounter [0-9]+\n"));
    const std::string tested = run("with_simulator");
    EXPECT_THAT(tested, HasSubstr("the PLC says 21\nand now: "));
    EXPECT_THAT(tested, HasSubstr("Main.recipe[2]: not received within 500 ms"));
}

}  // namespace
}  // namespace ac500::test
