#include "tools/host/live_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/host/output.h"

namespace ac500::host {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr LiveStyle kPlainStyle{false, true};

class LiveTable : public testing::Test {
protected:
    void add(const std::string& tag, const std::string& value, ValueState state = ValueState::Fresh,
             const std::string& age = "0.12 s") {
        picture_.rows.push_back({tag, value, state, age});
    }
    void addRows(int count) {
        for (int i = 1; i <= count; ++i) {
            add("Main.v" + std::to_string(i), std::to_string(i * 10));
        }
    }
    std::vector<std::string> lines(TerminalSize size = {80, 24}, LiveStyle style = kPlainStyle) {
        return liveTable(picture_, size, style, &pager_);
    }

    LivePicture picture_{{"online", "127.0.0.1:1201", "12.3 s", "cycle 100.1 ms"}, {}, ""};
    Pager pager_;
};

TEST_F(LiveTable, ColumnsAreAsWideAsNeeded) {
    add("Main.counter", "7");
    add("Main.x", "\"a\"", ValueState::Stale, "3 min");
    EXPECT_THAT(
        lines(),
        ElementsAre("online  127.0.0.1:1201  12.3 s  cycle 100.1 ms", "TAG           VALUE  STATE           AGE",
                    "Main.counter  7      fresh           0.12 s", "Main.x        \"a\"    stale           3 min", ""));
}

TEST_F(LiveTable, LongTagsAndValuesLeaveRoomForStateAndAge) {
    add("Main." + std::string(300, 't'), std::string(300, 'v'), ValueState::NeverReceived, "12345 min");
    add("Main.short", std::string(200, 'w'), ValueState::WritePending);
    for (const int columns : {80, 60, 40}) {
        const std::vector<std::string> shown = lines({columns, 24});
        ASSERT_THAT(shown, SizeIs(5));
        EXPECT_THAT(shown[1], AllOf(HasSubstr("TAG"), HasSubstr("VALUE"), HasSubstr("STATE"), HasSubstr("AGE")));
        EXPECT_THAT(shown[2], AllOf(HasSubstr("~  never received  12345 min"), SizeIs(columns)));
        EXPECT_THAT(shown[3], HasSubstr("~  write pending   0.12 s"));
    }
}

TEST_F(LiveTable, ALongValueGetsWhatAShortTagLeaves) {
    add("Main.a", std::string(100, 'v'));
    // 80 = 6 + 2 + 43 + 2 + 14 + 2 + 9 + 2 of the room that an age may take
    EXPECT_EQ(lines()[2], "Main.a  " + std::string(44, 'v') + "~  fresh           0.12 s");
}

TEST_F(LiveTable, CharactersOfSeveralBytesCountOnce) {
    add("Main.a", "\"Gr\xC3\xBC\xC3\x9F\"");
    add("Main.b", "\"abcd\"");
    EXPECT_EQ(lines()[2], "Main.a  \"Gr\xC3\xBC\xC3\x9F\"  fresh           0.12 s");
    EXPECT_EQ(lines()[3], "Main.b  \"abcd\"  fresh           0.12 s");
}

TEST_F(LiveTable, NoLineIsWiderThanTheTerminal) {
    picture_.head = {"online", std::string(200, 'h'), "x"};
    picture_.failure = std::string(200, 'f');
    addRows(50);
    for (const int columns : {1, 10, 33, 60, 80}) {
        for (const std::string& line : lines({columns, 24})) {
            EXPECT_LE(displayWidth(line), columns) << line;
        }
    }
}

TEST_F(LiveTable, TheHeadLineDropsItsLastParts) {
    EXPECT_EQ(lines({48, 24})[0], "online  127.0.0.1:1201  12.3 s  cycle 100.1 ms");
    EXPECT_EQ(lines({45, 24})[0], "online  127.0.0.1:1201  12.3 s");
    EXPECT_EQ(lines({4, 24})[0], "onl~");
}

TEST_F(LiveTable, WithoutColorsThereIsNoEscape) {
    add("Main.a", "1");
    EXPECT_THAT(lines(), Each(Not(HasSubstr("\x1b"))));
    EXPECT_EQ(lines({80, 24}, {true, true})[2], "\x1b[32mMain.a  1      fresh           0.12 s\x1b[0m");
}

TEST_F(LiveTable, AllRowsThatFitAreShownAndTwoLinesOfTheScreenStayFree) {
    addRows(19);
    EXPECT_THAT(lines({80, 24}), SizeIs(22));
    EXPECT_EQ(lines({80, 24})[20], "Main.v19  190    fresh           0.12 s");
}

TEST_F(LiveTable, RowsBeyondTheScreenAreReachedPageByPage) {
    addRows(40);
    std::vector<std::string> shown = lines();
    ASSERT_THAT(shown, SizeIs(22));
    EXPECT_THAT(shown[2], HasSubstr("Main.v1 "));
    EXPECT_THAT(shown[19], HasSubstr("Main.v18 "));
    EXPECT_EQ(shown[20], "page 1 of 3, rows 1 to 18 of 40  Enter: next page  NUMBER Enter: that page");
    pager_.turn("");
    shown = lines();
    EXPECT_THAT(shown[2], HasSubstr("Main.v19 "));
    EXPECT_THAT(shown[20], HasSubstr("page 2 of 3, rows 19 to 36 of 40"));
    pager_.turn("");
    shown = lines();
    EXPECT_THAT(shown, SizeIs(8));
    EXPECT_THAT(shown[5], HasSubstr("Main.v40 "));
    pager_.turn("");
    EXPECT_THAT(lines()[2], HasSubstr("Main.v1 "));
    pager_.turn("3");
    EXPECT_THAT(lines()[2], HasSubstr("Main.v37 "));
    for (const char* nothing : {"4", "0", "-1", "x", "2x", "99999999999999999999"}) {
        pager_.turn(nothing);
        EXPECT_THAT(lines()[2], HasSubstr("Main.v37 ")) << nothing;
    }
    EXPECT_THAT(lines({80, 60})[2], HasSubstr("Main.v1 ")) << "a larger screen has one page";
    EXPECT_THAT(lines({80, 24}, {false, false})[20], Not(HasSubstr("Enter")));
}

TEST_F(LiveTable, TheSmallestScreenShowsOneRow) {
    addRows(3);
    EXPECT_THAT(lines({80, 1}), SizeIs(5));
}

}  // namespace
}  // namespace ac500::host
