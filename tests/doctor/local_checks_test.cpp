// This machine, as the doctor judges it.
#include "tools/doctor/local_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::doctor {
namespace {

using std::chrono::seconds;
using std::chrono::system_clock;
using testing::HasSubstr;

system_clock::time_point at(std::int64_t unixSeconds) {
    return system_clock::time_point(seconds(unixSeconds));
}

TEST(Clock, ThatIsSetPasses) {
    const CheckLine line = checkClock(at(1795330000), false);
    EXPECT_EQ(line.grade, Grade::Pass);
    EXPECT_EQ(line.text, "2026-11-22T06:46:40.000Z");
    EXPECT_EQ(line.next, "");
}

TEST(Clock, ThatWasNeverSetIsToldAndSoIsOneThatIsFarAhead) {
    EXPECT_EQ(checkClock(at(86400), false).grade, Grade::Warn);       // 1970-01-02
    EXPECT_EQ(checkClock(at(1735689599), false).grade, Grade::Warn);  // 2024-12-31 23:59:59
    EXPECT_EQ(checkClock(at(1735689600), false).grade, Grade::Pass);  // 2025-01-01
    EXPECT_EQ(checkClock(at(4133980799), false).grade, Grade::Pass);  // 2100-12-31 23:59:59
    EXPECT_EQ(checkClock(at(4133980800), false).grade, Grade::Warn);  // 2101-01-01
    EXPECT_THAT(checkClock(at(86400), false).meaning, HasSubstr("the clock is not set"));
}

TEST(Clock, ThatWentBackFails) {
    EXPECT_EQ(checkClock(at(1795330000), true).grade, Grade::Fail);
}

TEST(Disk, NeedsRoomAndAWritableFolder) {
    const std::uint64_t enough = 64ULL << 20;
    EXPECT_EQ(checkDisk("/log", DiskSpace{enough + 1, true}).grade, Grade::Pass);
    EXPECT_EQ(checkDisk("/log", DiskSpace{enough + 1, true}).text, "/log: more than 64 MiB free");
    EXPECT_EQ(checkDisk("/log", DiskSpace{enough, true}).grade, Grade::Warn);
    EXPECT_EQ(checkDisk("/log", DiskSpace{3 << 20, true}).text, "/log: 3 MiB free");
    EXPECT_EQ(checkDisk("/log", DiskSpace{enough, false}).text, "/log: may not be written");
    EXPECT_EQ(checkDisk("/log", std::nullopt).text, "/log: is not there");
}

TEST(Disk, OfAFolderIsAsked) {
    EXPECT_GT(diskSpace("/proc/self/cwd")->freeBytes, 0u);
    EXPECT_FALSE(diskSpace("/nowhere/at/all").has_value());
}

TEST(Locale, OughtToBeUtf8) {
    EXPECT_EQ(checkLocale({"C.UTF-8", true, "UTF-8"}).grade, Grade::Pass);
    EXPECT_EQ(checkLocale({"", true, "ANSI_X3.4-1968"}).text, "none set: ANSI_X3.4-1968");
    EXPECT_EQ(checkLocale({"", true, "ANSI_X3.4-1968"}).grade, Grade::Warn);
    EXPECT_EQ(checkLocale({"xx_XX", false, ""}).text, "xx_XX: is not installed");
}

TEST(DriverFile, IsJudgedBeforeItIsLoaded) {
    ElfIdentity good{true, true, true, "64-bit x86-64"};
    EXPECT_EQ(checkDriverFile("d.so", good, 5, 5).text, "d.so: 64-bit x86-64, Qt 5");
    EXPECT_EQ(checkDriverFile("d.so", good, 0, 5).grade, Grade::Pass);
    EXPECT_EQ(checkDriverFile("d.so", good, 4, 5).text, "d.so: needs Qt 4, and this program runs with Qt 5");
    EXPECT_EQ(checkDriverFile("d.so", good, 4, 5).grade, Grade::Fail);
    const ElfIdentity other{true, true, false, "32-bit ARM, hard float"};
    EXPECT_THAT(checkDriverFile("d.so", other, 0, 5).text,
                HasSubstr("d.so: 32-bit ARM, hard float, and this program is "));
    EXPECT_EQ(checkDriverFile("d.so", {true, false, false, ""}, 0, 5).text, "d.so: no shared library");
    EXPECT_EQ(checkDriverFile("d.so", {}, 0, 5).text, "d.so: cannot be read");
}

}  // namespace
}  // namespace ac500::doctor
