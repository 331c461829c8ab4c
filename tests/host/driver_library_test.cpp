#include "tools/host/driver_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "tests/support/places.h"

namespace ac500::host {
namespace {

using testing::HasSubstr;

TEST(DriverLibrary, AMissingFileIsNamed) {
    std::string error;
    EXPECT_EQ(DriverLibrary::load("/nowhere/libac500driver.so", &error), nullptr);
    EXPECT_THAT(error, HasSubstr("/nowhere/libac500driver.so"));
    EXPECT_THAT(error, HasSubstr("--driver"));
}

TEST(DriverLibrary, AMissingEntryPointIsNamed) {
    std::string error;
    EXPECT_EQ(DriverLibrary::load("libm.so.6", &error), nullptr);
    EXPECT_THAT(error, HasSubstr("libm.so.6"));
    EXPECT_THAT(error, HasSubstr("\"SetComInfo\""));
}

TEST(DriverLibrary, ADriverForAnotherQtIsRefusedBeforeItIsLoaded) {
    std::string error;
    EXPECT_EQ(DriverLibrary::load(test::kDriverForQt4, &error), nullptr);
    EXPECT_THAT(error, testing::StartsWith(test::kDriverForQt4));
    EXPECT_THAT(error, HasSubstr("is built for Qt 4, and this program runs with Qt 5.15."));
}

TEST(DriverLibrary, ADriverForAnotherQtIsRefusedWhereTheSystemsLoaderFindsIt) {
    std::string error;
    EXPECT_EQ(DriverLibrary::load("libac500_driver_for_qt4.so", &error), nullptr);
    EXPECT_THAT(error, testing::StartsWith(test::kDriverForQt4));
    EXPECT_THAT(error, HasSubstr("is built for Qt 4"));
}

TEST(DriverLibrary, EachCopyHasADriverObjectOfItsOwn) {
    std::string error;
    const auto shared = DriverLibrary::load(test::kDriver, &error);
    ASSERT_NE(shared, nullptr) << error;
    auto first = DriverLibrary::loadCopy(test::kDriver, &error);
    ASSERT_NE(first, nullptr) << error;
    const auto second = DriverLibrary::loadCopy(test::kDriver, &error);
    ASSERT_NE(second, nullptr) << error;
    EXPECT_EQ(first->path(), test::kDriver);
    EXPECT_NE(first->functions().object, nullptr);
    EXPECT_NE(first->functions().object, shared->functions().object);
    EXPECT_NE(first->functions().object, second->functions().object);
}

// A descriptor that is used again makes the name of another copy, which must not be taken for one that is gone.
TEST(DriverLibrary, ACopyIsGoneWithItsOwner) {
    std::string error;
    for (int round = 0; round < 3; ++round) {
        const auto first = DriverLibrary::loadCopy(test::kDriver, &error);
        ASSERT_NE(first, nullptr) << error;
        auto other = DriverLibrary::loadCopy(test::kDriver, &error);
        ASSERT_NE(other, nullptr) << error;
        other.reset();
        std::ifstream maps("/proc/self/maps");
        const std::string loaded{std::istreambuf_iterator<char>(maps), {}};
        std::set<std::string> inodes;
        std::istringstream lines(loaded);
        for (std::string line; std::getline(lines, line);) {
            if (line.find("memfd:ac500driver") != std::string::npos) {
                std::istringstream fields(line);
                std::string field;
                for (int i = 0; i < 5; ++i) {
                    fields >> field;
                }
                inodes.insert(field);
            }
        }
        EXPECT_EQ(inodes.size(), 1u) << loaded;
    }
}

TEST(DriverLibrary, WhatCannotBeCopiedIsNamed) {
    std::string error;
    EXPECT_EQ(DriverLibrary::loadCopy("/nowhere/libac500driver.so", &error), nullptr);
    EXPECT_THAT(error, HasSubstr("/nowhere/libac500driver.so cannot be opened: No such file or directory"));
    EXPECT_EQ(DriverLibrary::loadCopy("libac500-nowhere.so", &error), nullptr);
    EXPECT_THAT(error, HasSubstr("libac500-nowhere.so"));
    EXPECT_EQ(DriverLibrary::loadCopy("libm.so.6", &error), nullptr);
    EXPECT_THAT(error, HasSubstr("libm.so.6: has no entry point \"SetComInfo\""));
}

TEST(DriverLibrary, WhereNoCandidateExistsTheLastIsNamed) {
    std::string error;
    EXPECT_EQ(DriverLibrary::loadFirst({"/nowhere/a.so", "/nowhere/b.so"}, &error), nullptr);
    EXPECT_THAT(error, HasSubstr("/nowhere/b.so"));
}

TEST(DriverLibrary, IsLookedForBesideTheProgramFirst) {
    const std::vector<std::string> paths = defaultDriverPaths();
    ASSERT_EQ(paths.size(), 3u);
    EXPECT_THAT(paths[0], testing::EndsWith("/libac500driver.so"));
    EXPECT_THAT(paths[1], testing::EndsWith("/lib/libac500driver.so"));
    EXPECT_EQ(paths[2], "libac500driver.so");
}

}  // namespace
}  // namespace ac500::host
