// Other names in place of those that tell whose plant it is.
#include "tools/doctor/disguise.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::doctor {
namespace {

using testing::Pair;
using testing::UnorderedElementsAre;

TEST(Disguise, TheSameOriginalGetsTheSameNameInAnyCase) {
    Disguise disguise;
    disguise.learnWords("name", "Boiler.Pressure[3].set_point");
    EXPECT_EQ(disguise.apply("Boiler.Pressure[3] and BOILER.pressure, boiler.SET_POINT"),
              "name1.name2[3] and name1.name2, name1.name3");
    EXPECT_EQ(disguise.apply("Boiler"), "name1");
    EXPECT_THAT(disguise.pairs(),
                UnorderedElementsAre(Pair("Boiler", "name1"), Pair("Pressure", "name2"), Pair("set_point", "name3")));
}

TEST(Disguise, OnlyWholeWordsAreReplaced) {
    Disguise disguise;
    disguise.learn("name", "run");
    EXPECT_EQ(disguise.apply("run running rerun run2 run_ \"run\" run: ürun run"),
              "name1 running rerun run2 run_ \"name1\" name1: ürun name1");
}

TEST(Disguise, TheLongestOriginalCounts) {
    Disguise disguise;
    disguise.learn("path", "/home/meier");
    disguise.learn("path", "/home/meier/plant.json");
    disguise.learn("user", "meier");
    EXPECT_EQ(disguise.apply("/home/meier/plant.json /home/meier/x meier /home/meiers"),
              "path1 path2/x user1 /home/meiers");
}

TEST(Disguise, IPv4AddressesAreFoundByTheirForm) {
    Disguise disguise;
    EXPECT_EQ(disguise.apply("to 10.0.0.5:1201 from 10.0.0.7, 10.0.0.5; 1.2.3, 1.2.3.4567, 300.1.1.1, v1.2.3.4"),
              "to address1:1201 from address2, address1; 1.2.3, 1.2.3.4567, 300.1.1.1, v1.2.3.4");
}

TEST(Disguise, NamesThatLookLikeAReplacementAreReplacedToo) {
    Disguise disguise;
    disguise.learnWords("name", "name1.pump");
    EXPECT_EQ(disguise.apply("name1.pump name2"), "name2.name3 name2");
}

TEST(Disguise, NumbersAndNothingAreNoNames) {
    Disguise disguise;
    disguise.learnWords("name", "Main.grid[2,30].b[3]..");
    disguise.learn("host", "");
    EXPECT_EQ(disguise.apply("2 30 3 b"), "2 30 3 name1");
    EXPECT_EQ(disguise.apply(""), "");
}

TEST(Disguise, LettersBeyondAsciiBelongToAWord) {
    Disguise disguise;
    disguise.learnWords("name", "Zulauf Süd");
    EXPECT_EQ(disguise.apply("Süd, Süden, zulauf"), "name1, Süden, name2");
}

}  // namespace
}  // namespace ac500::doctor
