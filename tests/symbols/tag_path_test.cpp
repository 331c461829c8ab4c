// Components of tag names: what is name and what is index list.
#include "symbols/tag_path.h"

#include <gtest/gtest.h>

namespace ac500::test {
namespace {

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
        const Component component = splitComponent(row.component);
        EXPECT_EQ(component.hasIndexList, row.hasIndexList) << row.component;
        EXPECT_EQ(component.name, QString(row.name)) << row.component;
        EXPECT_EQ(component.indexList, QString(row.indexList)) << row.component;
    }
}

TEST(TagPath, KeepsEmptyComponents) {
    EXPECT_EQ(splitTag("Main.motor.speed"), (QStringList{"Main", "motor", "speed"}));
    EXPECT_EQ(splitTag(".a..b."), (QStringList{"", "a", "", "b", ""}));
    EXPECT_EQ(splitTag(""), QStringList{""});
}

TEST(TagPath, PlaceholderIsTwoPercentSigns) {
    EXPECT_TRUE(hasPlaceholder("a[%%]"));
    EXPECT_TRUE(hasPlaceholder("%%"));
    EXPECT_FALSE(hasPlaceholder("a[%]"));
    EXPECT_FALSE(hasPlaceholder(""));
}

}  // namespace
}  // namespace ac500::test
