#include "tools/desk/meaning_diff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::desk {
namespace {

using symbol_file::Leaf;
using symbol_file::Limit;
using symbol_file::Scale;
using symbol_file::ValueNotes;
using testing::ElementsAre;
using testing::IsEmpty;

Leaf meaning(const ValueNotes& notes) {
    Leaf leaf;
    leaf.notes = std::make_shared<const ValueNotes>(notes);
    return leaf;
}

std::vector<std::string> differences(const Leaf& before, const Leaf& after) {
    std::vector<std::string> texts;
    for (const MeaningChange& change : meaningChanges(before, after)) {
        texts.push_back(change.what + ": " + change.before + " -> " + change.after);
    }
    return texts;
}

TEST(MeaningDiffTest, NoNotesAreAsGoodAsEmptyOnes) {
    EXPECT_THAT(differences(Leaf(), meaning({})), IsEmpty());
    EXPECT_THAT(differences(meaning({}), Leaf()), IsEmpty());
}

TEST(MeaningDiffTest, EveryNoteCounts) {
    ValueNotes before;
    before.unit = "bar";
    before.scale = Scale{{0.1, "0.1"}, {-40, "-40"}};
    before.minimum = Limit{{0, "0"}, std::nullopt};
    ValueNotes after;
    after.maximum = Limit{{7.5, "7.5"}, std::nullopt};
    EXPECT_THAT(differences(meaning(before), meaning(after)),
                ElementsAre("unit: bar -> ", "scale: x 0.1 + -40 -> ", "min: 0 -> ", "max:  -> 7.5"));
}

TEST(MeaningDiffTest, AScaleIsTheSameWhenItShowsTheSame) {
    ValueNotes one;
    one.scale = Scale();
    EXPECT_THAT(differences(meaning(one), meaning({})), IsEmpty());
    one.scale = Scale{{0.1, "0.1"}, {0, "0"}};
    ValueNotes other;
    other.scale = Scale{{0.1, "0.10"}, {0, "0"}};
    EXPECT_THAT(differences(meaning(one), meaning(other)), ElementsAre("scale: x 0.1 + 0 -> x 0.10 + 0"))
        << "another number of decimals";
}

TEST(MeaningDiffTest, LimitsAreComparedExactly) {
    ValueNotes one;
    one.minimum = Limit{{9007199254740992.0, "9007199254740992"}, text::WholeNumber{false, 9007199254740992u}};
    ValueNotes other;
    other.minimum = Limit{{9007199254740992.0, "9007199254740993"}, text::WholeNumber{false, 9007199254740993u}};
    EXPECT_THAT(differences(meaning(one), meaning(other)), ElementsAre("min: 9007199254740992 -> 9007199254740993"));
    other.minimum = Limit{{9007199254740992.0, "9007199254740992.0"}, std::nullopt};
    EXPECT_THAT(differences(meaning(one), meaning(other)), IsEmpty());
}

TEST(MeaningDiffTest, OfNamesThoseThatChangedAreTold) {
    ValueNotes before;
    before.names = {{{false, 0}, "off"}, {{false, 1}, "manual"}, {{true, 1}, "fault"}};
    ValueNotes after;
    after.names = {{{true, 1}, "fault"}, {{false, 1}, "auto"}, {{false, 0}, "off"}, {{false, 2}, "remote"}};
    EXPECT_THAT(differences(meaning(before), meaning(after)), ElementsAre("names: 1=manual -> 1=auto, 2=remote"));
    std::swap(before.names[0], before.names[1]);
    EXPECT_THAT(differences(meaning(before), meaning({})), ElementsAre("names: 1=manual, 0=off, -1=fault -> "));
}

TEST(MeaningDiffTest, OfBitsOnlyWhetherTheyCanBeNamedAndWritten) {
    ValueNotes notes;
    notes.unit = "bar";
    Leaf before = meaning(notes);
    before.bitAddressable = true;
    Leaf after;
    after.isReadOnly = true;
    EXPECT_THAT(differences(before, after),
                ElementsAre("unit: bar -> ", "readOnly: false -> true", "bits: true -> false"));
    EXPECT_EQ(bitMeaningChanges(before, after).size(), 2u);
}

}  // namespace
}  // namespace ac500::desk
