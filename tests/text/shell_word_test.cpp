// Words of a command line that is shown to be copied.
#include "tools/text/shell_word.h"

#include <gtest/gtest.h>

namespace ac500::text {
namespace {

TEST(ShellWord, StaysAsItIsWhereAShellTakesItAsItIs) {
    EXPECT_EQ(shellWord("/srv/plant_1/a-b.json"), "/srv/plant_1/a-b.json");
    EXPECT_EQ(shellWord("@panel.list"), "@panel.list");
    EXPECT_EQ(shellWord("10.0.0.5:1201"), "10.0.0.5:1201");
}

TEST(ShellWord, IsQuotedElse) {
    EXPECT_EQ(shellWord(""), "''");
    EXPECT_EQ(shellWord("my plant.json"), "'my plant.json'");
    EXPECT_EQ(shellWord("Main.recipe[1..5]"), "'Main.recipe[1..5]'");
    EXPECT_EQ(shellWord("$HOME;`ls`"), "'$HOME;`ls`'");
    EXPECT_EQ(shellWord("~/x"), "'~/x'");
    EXPECT_EQ(shellWord("Öl.json"), "'Öl.json'");
    EXPECT_EQ(shellWord("it's"), "'it'\\''s'");
    EXPECT_EQ(shellWord("a\nb"), "'a\nb'");
}

}  // namespace
}  // namespace ac500::text
