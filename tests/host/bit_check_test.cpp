#include "tools/host/bit_check.h"

#include <gtest/gtest.h>

namespace ac500::host {

using symbol_file::parseSymbolFile;

namespace {

constexpr char kBits[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "flags", "type": "WORD", "area": 1, "offset": 4, "bits": true},
    {"name": "wide", "type": "LINT", "area": 1, "offset": 8, "bits": true}
  ]}]})";

Tag bitTag(const std::string& text) {
    const TagTable table(parseSymbolFile(kBits).file);
    std::string error;
    const std::optional<Tag> tag = table.find(text, &error);
    EXPECT_TRUE(tag) << error;
    return tag.value_or(Tag());
}

HostValues bitsOf(std::uint64_t word, int count) {
    HostValues bits;
    for (int i = 0; i < count; ++i) {
        bits.emplace_back((word >> i & 1) != 0);
    }
    return bits;
}

// A write of 1 to bit 3 of a WORD.
BitCheck writtenToBit3(std::uint64_t before, std::uint64_t after, std::uint64_t ours = 0x0008) {
    return checkBits({bitTag("Main.flags.b[3]"), {true}, bitsOf(before, 16), bitsOf(after, 16), ours});
}

TEST(BitCheck, AllBitsOfAVariable) {
    const Tag flags = allBitsOf(bitTag("Main.flags.b[3]"));
    EXPECT_EQ(flags.text, "Main.flags.b[0..15]");
    EXPECT_EQ(flags.elements, 16);
    EXPECT_EQ(flags.elementName(0), "Main.flags.b[0]");
    EXPECT_EQ(flags.elementName(15), "Main.flags.b[15]");
    EXPECT_EQ(allBitsOf(bitTag("Main.wide.b[60..62]")).text, "Main.wide.b[0..63]");
    EXPECT_EQ(allBitsOf(bitTag("Main.wide.60")).text, "Main.wide.b[0..63]");
}

TEST(BitCheck, WhichBits) {
    EXPECT_EQ(maskOf(bitTag("Main.flags.b[0]")), 0x1U);
    EXPECT_EQ(maskOf(bitTag("Main.flags.b[4..6]")), 0x70U);
    EXPECT_EQ(maskOf(bitTag("Main.wide.b[63]")), 0x8000000000000000U);
    EXPECT_EQ(maskOf(bitTag("Main.wide.b[0..63]")), 0xFFFFFFFFFFFFFFFFU);
}

TEST(BitCheck, AWriteThatNobodyDisturbedHasNothingToTell) {
    const BitCheck check = writtenToBit3(0x0101, 0x0109);
    EXPECT_TRUE(check.isInPlc);
    EXPECT_TRUE(check.isAlone);
    EXPECT_EQ(check.text, "");
}

TEST(BitCheck, OtherBitsThatThisHostWroteAreNoDisturbance) {
    EXPECT_EQ(writtenToBit3(0x0101, 0x0129, 0x0028).text, "");
    EXPECT_FALSE(writtenToBit3(0x0101, 0x0169, 0x0028).isAlone);
}

TEST(BitCheck, ABitThatAnotherPanelTookBack) {
    const BitCheck check = writtenToBit3(0x0101, 0x0121);
    EXPECT_FALSE(check.isInPlc);
    EXPECT_FALSE(check.isAlone);
    EXPECT_EQ(check.text,
              "1 was written, but the PLC has 0; the variable was 0x0101 before the write and is 0x0121 now: another "
              "panel, or the PLC's program, wrote the variable at the same time and took it back");
}

TEST(BitCheck, ABitThatIsAsItWasBefore) {
    const BitCheck check = writtenToBit3(0x0101, 0x0101);
    EXPECT_FALSE(check.isInPlc);
    EXPECT_TRUE(check.isAlone);
    EXPECT_EQ(check.text,
              "1 was written, but the PLC has 0; the variable was 0x0101 before the write and is 0x0101 now: its "
              "program may have changed it back, or another panel wrote the variable at the same time");
}

TEST(BitCheck, OtherBitsThatChangedAreToldWithAWriteThatArrived) {
    const BitCheck check = writtenToBit3(0x0101, 0x0028);
    EXPECT_TRUE(check.isInPlc);
    EXPECT_FALSE(check.isAlone);
    EXPECT_EQ(check.text,
              "written, but other bits changed meanwhile: the variable was 0x0101 before the write and is 0x0028 now; "
              "another panel, or the PLC's program, writes the same variable");
}

TEST(BitCheck, SeveralBitsOfAWideVariable) {
    const Tag tag = bitTag("Main.wide.b[61..63]");
    const HostValues written{true, false, true};
    const std::uint64_t ours = 0xE000000000000000U;
    EXPECT_EQ(checkBits({tag, written, bitsOf(0x4000000000000001U, 64), bitsOf(0xA000000000000001U, 64), ours}).text,
              "");
    EXPECT_EQ(checkBits({tag, written, bitsOf(1, 64), bitsOf(0x2000000000000001U, 64), ours}).text,
              "1, 0, 1 was written, but the PLC has 1, 0, 0; the variable was 0x0000000000000001 before the write and "
              "is 0x2000000000000001 now: its program may have changed it back, or another panel wrote the variable at "
              "the same time");
}

}  // namespace
}  // namespace ac500::host
