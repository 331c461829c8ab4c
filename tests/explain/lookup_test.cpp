// From what a user types to what it may mean.
#include "tools/explain/lookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::explain {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// "status 11-22 kRefusedBase" of each.
std::vector<std::string> texts(const std::vector<Code>& codes) {
    std::vector<std::string> all;
    for (const Code& code : codes) {
        all.push_back(std::string(groupKey(code.group)) + " " + numberText(code) + " " + code.name);
    }
    return all;
}

TEST(ParseNumber, KnowsTheNotationsOfCapturesManualsAndPrograms) {
    EXPECT_EQ(parseNumber("12"), 12);
    EXPECT_EQ(parseNumber("007"), 7);
    EXPECT_EQ(parseNumber("-1"), -1);
    EXPECT_EQ(parseNumber("0x0302"), 770);
    EXPECT_EQ(parseNumber("0XF01"), 3841);
    EXPECT_EQ(parseNumber("16#0f01"), 3841);
    EXPECT_EQ(parseNumber("03 02"), 770);
    EXPECT_EQ(parseNumber("0F01"), 3841);
    EXPECT_EQ(parseNumber("2147483647"), 2147483647);
}

TEST(ParseNumber, TakesNothingElse) {
    for (const char* text : {"", "-", "0x", "16#", "1.5", "12 ", " 12", "1e3", "0x0g", "face", "03  02", "03 2",
                             "2147483648", "99999999999999999999", "0xffffffffff", "--1", "kNoArea"}) {
        EXPECT_EQ(parseNumber(text), std::nullopt) << '"' << text << '"';
    }
}

TEST(Meanings, OfANumberAreAllThatItMayBe) {
    EXPECT_THAT(texts(meaningsOf("41")), ElementsAre("status 41 kStatusEmptyReply", "status 41 - 52 kEmptyBase"));
    EXPECT_THAT(texts(meaningsOf("13")), ElementsAre("status 11 - 22 kRefusedBase", "check 13 kSymbolFileReplyTooSmall",
                                                     "record 13 kBitAddressedType"));
    EXPECT_THAT(texts(meaningsOf("0x0302")), ElementsAre("plc 0x0302 "));
    EXPECT_THAT(texts(meaningsOf("770")), ElementsAre("plc 0x0302 "));
    EXPECT_THAT(texts(meaningsOf("-1")), ElementsAre("record -1 kNotMeasured"));
    EXPECT_THAT(meaningsOf("4711"), IsEmpty());
}

TEST(Meanings, MayBeRestrictedToAGroup) {
    EXPECT_THAT(texts(meaningsOf("3", Group::HostExit)), ElementsAre("exit 3 name"));
    EXPECT_THAT(meaningsOf("4", Group::Resolution), IsEmpty());
}

TEST(Meanings, OfANameNeedNeitherCaseNorTheK) {
    for (const char* name : {"kNoArea", "noarea", "KNOAREA", "NoArea"}) {
        EXPECT_THAT(texts(meaningsOf(name)), ElementsAre("resolution 12 kNoArea")) << name;
    }
    EXPECT_THAT(texts(meaningsOf("handshake")), ElementsAre("exit 5 handshake"));
    EXPECT_THAT(meaningsOf("area"), IsEmpty());
    EXPECT_THAT(meaningsOf(""), IsEmpty());
}

TEST(Meanings, OfTheWordsOfOutcomesAndStatesAreFound) {
    EXPECT_THAT(texts(meaningsOf("unknown")), ElementsAre("write 4 unknown"));
    EXPECT_THAT(texts(meaningsOf("not sent")), ElementsAre("write 3 not sent"));
    EXPECT_THAT(texts(meaningsOf("Refused")), ElementsAre("write 2 refused"));
    EXPECT_THAT(texts(meaningsOf("suspect")), ElementsAre("state 5 suspect"));
    EXPECT_THAT(texts(meaningsOf("write failed")), ElementsAre("state 4 write failed"));
}

TEST(Names, NearOnesAreOffered) {
    EXPECT_THAT(nearNamesOf("kNoAera"), ElementsAre("noarea"));
    EXPECT_THAT(nearNamesOf("handshak"), ElementsAre("handshake"));
    EXPECT_THAT(nearNamesOf("zzzzzzzzzzzz"), IsEmpty());
}

TEST(Groups, HaveAKeyEach) {
    EXPECT_EQ(groupOf("plc"), Group::PlcStatus);
    EXPECT_EQ(groupOf("EXIT"), Group::HostExit);
    EXPECT_EQ(groupOf("exits"), std::nullopt);
}

TEST(Family, TellsTheHostId) {
    const Code refused = meaningsOf("11", Group::Status).front();
    EXPECT_EQ(familyNote(refused, 11), "11 says that the variable served first has a hostId of 0, below 0 or above 11");
    EXPECT_EQ(familyNote(refused, 22), "22 says that the variable served first has hostId 11");
    EXPECT_EQ(familyNote(meaningsOf("201").front(), 201), "");
}

TEST(Unknown, NumberGetsAHintByItsSize) {
    EXPECT_THAT(unknownNumberHint(0x0777), HasSubstr("the PLC's firmware"));
    EXPECT_THAT(unknownNumberHint(139), HasSubstr("signal 11 ended the program"));
    EXPECT_THAT(unknownNumberHint(99), HasSubstr("another version of the driver"));
    EXPECT_THAT(unknownNumberHint(70000), HasSubstr("lists them all"));
    EXPECT_THAT(unknownNumberHint(-2), HasSubstr("lists them all"));
}

TEST(PlainText, HasNoMarkdown) {
    EXPECT_EQ(plainText("Call `PassVarName_2` first."), "Call PassVarName_2 first.");
    EXPECT_EQ(plainText("Correct ([worked records](host-interface.md#worked-records))."),
              "Correct (worked records (docs/host-interface.md#worked-records)).");
    EXPECT_EQ(plainText("`Main.temps` without `[ ]`; `[0]`"), "Main.temps without [ ]; [0]");
    EXPECT_EQ(plainText(""), "");
}

}  // namespace
}  // namespace ac500::explain
