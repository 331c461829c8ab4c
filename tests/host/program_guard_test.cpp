#include "tools/host/program_guard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {
namespace {

constexpr char kTwoGuards[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 100}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "id", "type": "UDINT", "area": 1, "offset": 0},
    {"name": "version", "type": "INT", "area": 1, "offset": 4},
    {"name": "level", "type": "INT", "area": 1, "offset": 6}
  ]}],
  "guard": [{"tag": "Main.id", "value": 7}, {"tag": "Main.version", "value": -70}]
})~";

const HostValues kId = {std::uint64_t{7}};
const HostValues kVersion = {std::int64_t{-70}};
constexpr char kMoved[] = "; \"ac500-host symbols diff OLD NEW\" tells what moved";
constexpr char kHeld[] = "; until it is back nothing is written, and values are marked";

class ProgramGuardTest : public testing::Test {
protected:
    static Tag tagOf(const std::string& text) {
        std::string error;
        return tags().find(text, &error).value_or(Tag());
    }
    static const TagTable& tags() {
        static const TagTable table(symbol_file::parseSymbolFile(kTwoGuards).file);
        return table;
    }
    static std::string told(const std::optional<Failure>& news) {
        return !news ? "no news" : news->occurred() ? news->text : "all is well again";
    }

    ProgramGuard guard{tags()};
};

TEST_F(ProgramGuardTest, BindsEveryWriteToTheGuardsOfTheSymbols) {
    EXPECT_TRUE(guard.isActive());
    ASSERT_EQ(guard.tags().size(), 2u);
    EXPECT_TRUE(guard.isGuard(tagOf("Main.id")));
    EXPECT_TRUE(guard.isGuard(tagOf("Main.version")));
    EXPECT_FALSE(guard.isGuard(tagOf("Main.level")));
    ASSERT_EQ(guard.conditions().size(), 2u);
    EXPECT_EQ(guard.conditions()[0].tag.text, "Main.id");
    EXPECT_EQ(guard.conditions()[0].values, kId);
    EXPECT_EQ(guard.conditions()[1].tag.text, "Main.version");
    EXPECT_EQ(guard.conditions()[1].values, kVersion);
    EXPECT_TRUE(guard.watch().isGuarded());
}

TEST_F(ProgramGuardTest, WithoutGuardsThereIsNone) {
    std::string text = kTwoGuards;
    text.erase(text.rfind(","));
    const TagTable unguarded(symbol_file::parseSymbolFile(text + "}").file);
    const ProgramGuard none(unguarded);
    EXPECT_FALSE(none.isActive());
    EXPECT_FALSE(none.watch().isGuarded());
    EXPECT_FALSE(none.isGuard(tagOf("Main.id")));
}

TEST_F(ProgramGuardTest, NamesEachGuardThatIsAnotherWithBothNumbers) {
    EXPECT_EQ(guard.differences({kId, kVersion}), "");
    EXPECT_EQ(guard.differences({{std::uint64_t{8}}, kVersion}),
              "Main.id is 8 there, 7 in the program of these symbols");
    EXPECT_EQ(guard.differences({{std::uint64_t{8}}, {std::int64_t{-71}}}),
              "Main.id is 8 there, 7 in the program of these symbols, "
              "Main.version is -71 there, -70 in the program of these symbols");
    EXPECT_EQ(
        guard.otherProgram(guard.conditions()[1], {std::int64_t{5}}).text,
        std::string("another program is in the PLC: Main.version is 5 there, -70 in the program of these symbols") +
            kMoved);
    EXPECT_EQ(guard.otherProgram(guard.conditions()[1], {std::int64_t{5}}).kind, FailureKind::Program);
}

TEST_F(ProgramGuardTest, TellsNewsOnceAndWhyValuesAreInDoubtAllTheTime) {
    const std::string other =
        std::string("another program is in the PLC: Main.id is 8 there, 7 in the program of these symbols") + kMoved;
    EXPECT_EQ(told(guard.read({kId, kVersion}, Time(1))), "no news");
    EXPECT_FALSE(guard.doubt().occurred());
    const std::optional<Failure> news = guard.read({{std::uint64_t{8}}, kVersion}, Time(2));
    EXPECT_EQ(told(news), other + kHeld);
    EXPECT_EQ(news->kind, FailureKind::Program);
    EXPECT_EQ(told(guard.read({{std::uint64_t{8}}, kVersion}, Time(3))), "no news");
    EXPECT_EQ(guard.doubt().text, other);
    EXPECT_EQ(told(guard.read({kId, kVersion}, Time(4))), "all is well again");
    EXPECT_FALSE(guard.doubt().occurred());
}

TEST_F(ProgramGuardTest, IsInDoubtWhenThePlcRefusesToReadIt) {
    EXPECT_EQ(told(guard.read({kId, kVersion}, Time(1))), "no news");
    const std::string unread = "the guard could not be read, so nobody knows which program is in the PLC: no";
    EXPECT_EQ(told(guard.refused({FailureKind::Request, "no"})), unread);
    EXPECT_EQ(told(guard.refused({FailureKind::Request, "no"})), "no news");
    EXPECT_EQ(guard.doubt().text, unread);
    EXPECT_EQ(guard.doubt().kind, FailureKind::Program);
    EXPECT_TRUE(guard.watch().isInDoubt());
    EXPECT_EQ(told(guard.read({kId, kVersion}, Time(2))), "all is well again");
}

}  // namespace
}  // namespace ac500::host
