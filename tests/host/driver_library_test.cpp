#include "tools/host/driver_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
