#include "tools/host/needed_libraries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/places.h"

namespace ac500::host {
namespace {

using testing::Contains;
using testing::IsEmpty;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::string> neededBy(const std::string& content) {
    // Its own for each process: tests that run at the same time have one each.
    const std::string path = testing::TempDir() + "needed_libraries_test_" + std::to_string(::getpid()) + ".so";
    std::ofstream(path, std::ios::binary) << content;
    const std::vector<std::string> needed = neededLibraries(path);
    std::remove(path.c_str());
    return needed;
}

TEST(NeededLibraries, AreReadOutOfTheFile) {
    EXPECT_THAT(neededLibraries(test::kDriverForQt4), Contains("libQtCore.so.4"));
    EXPECT_THAT(neededLibraries(test::kDriverForQt4), Contains("libc.so.6"));
}

TEST(NeededLibraries, AFileThatIsMissingOrNoLibraryNeedsNone) {
    EXPECT_THAT(neededLibraries("/nowhere/libac500driver.so"), IsEmpty());
    EXPECT_THAT(neededBy(""), IsEmpty());
    EXPECT_THAT(neededBy("#!/bin/sh\nexit 0\n"), IsEmpty());
}

TEST(NeededLibraries, ALibraryForMachinesOfAnotherWordLengthNeedsNone) {
    std::string content = contentOf(test::kDriverForQt4);
    content[4] = content[4] == 1 ? 2 : 1;  // EI_CLASS
    EXPECT_THAT(neededBy(content), IsEmpty());
}

TEST(NeededLibraries, ALibraryMayBeCutAnywhere) {
    const std::string content = contentOf(test::kDriverForQt4);
    ASSERT_THAT(neededBy(content), Contains("libQtCore.so.4"));
    for (std::size_t size = 0; size < 4096; size += 61) {
        neededBy(content.substr(0, size));
    }
}

// Offsets, sizes and addresses of every header go astray, one after the other.
TEST(NeededLibraries, ALibraryMayHaveAnyByteInItsHeaders) {
    const std::string content = contentOf(test::kDriverForQt4);
    for (std::size_t at = 0; at < 512; ++at) {
        std::string broken = content;
        broken[at] = static_cast<char>(0xFF);
        neededBy(broken);
    }
}

TEST(QtVersion, IsThatOfTheCoreLibrary) {
    EXPECT_EQ(qtVersionAmong({"libQtCore.so.4", "libc.so.6"}), 4);
    EXPECT_EQ(qtVersionAmong({"libstdc++.so.6", "libQt5Core.so.5"}), 5);
    EXPECT_EQ(qtVersionAmong({"libQt6Core.so.6"}), 6);
}

TEST(QtVersion, IsNoneWithoutACoreLibrary) {
    EXPECT_EQ(qtVersionAmong({}), 0);
    EXPECT_EQ(qtVersionAmong({"libc.so.6", "libQt5Network.so.5", "libMyCore.so.4"}), 0);
}

}  // namespace
}  // namespace ac500::host
