// The live table of ac500-host on a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <regex>

#include "tests/support/child_process.h"
#include "tests/support/places.h"
#include "tests/support/terminal_process.h"

namespace {

using ac500::test::ChildProcess;
using ac500::test::kDriver;
using ac500::test::kHostProgram;
using ac500::test::kSimulatorProgram;
using ac500::test::TerminalProcess;
using testing::HasSubstr;
using testing::Not;

constexpr char kEscape[] = "\x1b";

// Of what was shown, without what steers the terminal and what was overwritten from the beginning of a line.
std::vector<std::string> plainLines(const std::string& shown) {
    const std::string plain = std::regex_replace(shown, std::regex("\x1b\\[[0-9;]*[A-Za-z]|\r(?=\n)"), "");
    std::vector<std::string> lines;
    std::string::size_type begin = 0;
    for (auto end = plain.find('\n'); end != std::string::npos; end = plain.find('\n', begin)) {
        const std::string line = plain.substr(begin, end - begin);
        lines.push_back(line.substr(line.rfind('\r') + 1));
        begin = end + 1;
    }
    return lines;
}

std::size_t characters(const std::string& line) {
    return static_cast<std::size_t>(
        std::count_if(line.begin(), line.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

class LiveWatchTest : public testing::Test {
protected:
    static constexpr int kPatienceMs = 60000;

    void SetUp() override {
        ASSERT_TRUE(simulator_.start(kSimulatorProgram, {"--symbols", ac500::test::projectFile("examples/plant.json"),
                                                         "--port", "0", "--quiet"}));
        const std::string line = simulator_.takeLine(kPatienceMs);
        plc_ = line.substr(line.rfind(' ') + 1);
    }
    void TearDown() override {
        simulator_.sendSignal(SIGTERM);
        EXPECT_TRUE(simulator_.waitForEnd(kPatienceMs));
    }

    bool watch(int columns, int rows, const std::vector<std::string>& tags,
               const TerminalProcess::Environment& environment = {{"TERM", "xterm"}}) {
        std::vector<std::string> command{
            kHostProgram, "--driver", kDriver, "--symbols",  ac500::test::projectFile("examples/plant.json"),
            "--plc",      plc_,       "watch", "--interval", "50"};
        command.insert(command.end(), tags.begin(), tags.end());
        return host_.start(command, columns, rows, environment);
    }
    // Until a whole picture, from its head line to the next, shows fresh values only.
    bool becomesFresh() {
        std::string::size_type begin = 0;
        std::string picture;
        do {
            if (!host_.waitForText("online", kPatienceMs)) {
                return false;
            }
            const std::string::size_type end = host_.shown().rfind("online");
            picture = host_.shown().substr(begin, end - begin);
            begin = end;
        } while (picture.find("fresh") == std::string::npos || picture.find("never received") != std::string::npos);
        return true;
    }
    void endWithCtrlC() {
        EXPECT_TRUE(host_.type("\x03"));
        EXPECT_TRUE(host_.waitForEnd(kPatienceMs));
        EXPECT_EQ(host_.exitCode(), 0);
    }

    ChildProcess simulator_;
    std::string plc_;
    TerminalProcess host_;
};

TEST_F(LiveWatchTest, StateAndAgeAreSeenWhateverTheValues) {
    ASSERT_TRUE(watch(80, 24, {"Main.recipe", "Main.recipe[1..10]", "Main.flags.b[0..15]", "Main.batch_name"}));
    ASSERT_TRUE(becomesFresh());
    endWithCtrlC();
    int fresh = 0;
    for (const std::string& line : plainLines(host_.shown())) {
        EXPECT_LE(characters(line), 80U) << line;
        const bool isRow = line.compare(0, 5, "Main.") == 0;
        fresh += isRow && std::regex_search(line, std::regex("  fresh           [0-9.]+ s$")) ? 1 : 0;
    }
    EXPECT_GE(fresh, 4);
}

TEST_F(LiveWatchTest, RowsBeyondTheScreenAreReachedWithEnter) {
    std::vector<std::string> tags;
    for (int i = 0; i < 16; ++i) {
        tags.push_back("Main.flags.b[" + std::to_string(i) + "]");
    }
    for (int i = 1; i <= 10; ++i) {
        tags.push_back("Main.recipe[" + std::to_string(i) + "]");
    }
    ASSERT_TRUE(watch(60, 24, tags));
    ASSERT_TRUE(becomesFresh());
    ASSERT_TRUE(host_.waitForText("page 1 of 2, rows 1 to 18 of 26", kPatienceMs));
    EXPECT_THAT(host_.shown(), Not(HasSubstr("Main.recipe[10]")));
    ASSERT_TRUE(host_.type("\n"));
    ASSERT_TRUE(host_.waitForText("Main.recipe[10]", kPatienceMs));
    ASSERT_TRUE(host_.waitForText("page 2 of 2, rows 19 to 26 of 26", kPatienceMs));
    ASSERT_TRUE(becomesFresh());
    ASSERT_TRUE(host_.type("1\n"));
    ASSERT_TRUE(host_.waitForText("page 1 of 2", kPatienceMs));
    endWithCtrlC();
}

TEST_F(LiveWatchTest, TheTerminalKeepsItsModes) {
    ASSERT_TRUE(watch(80, 24, {"Main.counter"}));
    const termios before = host_.modes();
    ASSERT_TRUE(host_.waitForText("fresh", kPatienceMs));
    const termios meanwhile = host_.modes();
    EXPECT_EQ(std::memcmp(&before, &meanwhile, sizeof before), 0);
    EXPECT_NE(meanwhile.c_lflag & ECHO, 0U);
    endWithCtrlC();
    // Neither another screen nor a hidden cursor.
    EXPECT_THAT(host_.shown(), Not(HasSubstr("\x1b[?")));
}

TEST_F(LiveWatchTest, NoColorIsObeyed) {
    ASSERT_TRUE(watch(80, 24, {"Main.counter"}, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}));
    ASSERT_TRUE(host_.waitForText("fresh", kPatienceMs));
    endWithCtrlC();
    EXPECT_THAT(host_.shown(), HasSubstr("\x1b[K"));
    EXPECT_FALSE(std::regex_search(host_.shown(), std::regex("\x1b\\[[0-9;]*m")));
}

TEST_F(LiveWatchTest, AnEmptyNoColorMeansNothing) {
    ASSERT_TRUE(watch(80, 24, {"Main.counter"}, {{"TERM", "xterm"}, {"NO_COLOR", ""}}));
    ASSERT_TRUE(host_.waitForText("\x1b[32mMain.counter", kPatienceMs));
    endWithCtrlC();
}

TEST_F(LiveWatchTest, ADumbTerminalGetsPlainLines) {
    ASSERT_TRUE(watch(80, 24, {"Main.setpoint"}, {{"TERM", "dumb"}}));
    ASSERT_TRUE(host_.waitForText("  Main.setpoint  100  fresh  ", kPatienceMs));
    endWithCtrlC();
    EXPECT_THAT(host_.shown(), Not(HasSubstr(kEscape)));
}

}  // namespace
