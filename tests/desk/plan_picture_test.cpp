#include "tools/desk/plan_picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QXmlStreamReader>

namespace ac500::desk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Counts elements with a class, and fails on a document that is no XML.
int drawn(const std::string& svg, const char* cssClass) {
    QXmlStreamReader reader(QByteArray::fromStdString(svg));
    int count = 0;
    while (!reader.atEnd()) {
        reader.readNext();
        count += reader.isStartElement() && reader.attributes().value("class") == QLatin1String(cssClass) ? 1 : 0;
    }
    EXPECT_FALSE(reader.hasError()) << reader.errorString().toStdString();
    return count;
}

std::string pictureOf(const ObservedPass& pass, const std::vector<WantedTag>& wanted) {
    const ReadPlan plan = makeReadPlan(pass, wanted);
    return svgOf({"A <title>", "in short & plain", pass, wanted, plan});
}

const ObservedPass kTwoRequests{{{{{1, 0, 10}}, 26, 23}, {{{1, 300, 4}}, 26, 17}}, 2};
const std::vector<WantedTag> kTwoTags{{"Main.a<b", {{1, 0, 4}, {1, 8, 2}}}, {"Main.far", {{1, 300, 4}}}};

TEST(CharacterMapTest, ALineForEachUsedRow) {
    EXPECT_THAT(characterMapOf(kTwoRequests, kTwoTags),
                ElementsAre("1 byte a character: # wanted - read along + both . not read | requests", "Area 1",
                            "    0 |####----##......" + std::string(48, '.') + "| 1", "  ...",
                            "  256 |" + std::string(44, '.') + "####" + std::string(16, '.') + "| 2"));
}

TEST(CharacterMapTest, NoLineIsLongerThanATerminal) {
    ObservedPass pass;
    std::vector<WantedTag> wanted{{"Main.all", {}}};
    for (int i = 0; i < 20000; ++i) {
        const ByteRun item{1 + i % 3, 1500000000 + 100 * std::int64_t{i}, 50};
        pass.requests.push_back({{item}, 26, 63});
        wanted[0].runs.push_back(item);
    }
    pass.listItems = 20000;
    const std::vector<std::string> lines = characterMapOf(pass, wanted);
    EXPECT_LE(lines.size(), 40u);
    for (const std::string& line : lines) {
        EXPECT_LE(line.size(), 80u) << line;
    }
}

TEST(CharacterMapTest, NothingIsOneLine) {
    EXPECT_EQ(characterMapOf({}, {}).size(), 1u);
}

TEST(PlanPictureTest, WantedAndReadAlongAreDrawnForEachRun) {
    const std::string svg = pictureOf(kTwoRequests, kTwoTags);
    EXPECT_EQ(drawn(svg, "wanted"), 6) << "legend, [0,4), [8,10), [300,304), two bars";
    EXPECT_EQ(drawn(svg, "along"), 4) << "legend, [4,8), two bars, one of them of no height";
    EXPECT_EQ(drawn(svg, "unread"), 3) << "legend, two rows";
    EXPECT_EQ(drawn(svg, "one"), 3) << "legend, two requests";
    EXPECT_THAT(svg, HasSubstr("class=\"wanted\" x=\"104.00\""));
}

TEST(PlanPictureTest, NumbersAndNamesAreToldAsText) {
    const std::string svg = pictureOf(kTwoRequests, kTwoTags);
    EXPECT_THAT(svg, HasSubstr(">A &lt;title&gt;<"));
    EXPECT_THAT(svg, HasSubstr(">in short &amp; plain<"));
    EXPECT_THAT(svg, HasSubstr("A row is 256 bytes."));
    EXPECT_THAT(svg, HasSubstr("bytes from 4 on in area 1, between Main.a&lt;b and Main.a&lt;b"));
}

TEST(PlanPictureTest, NothingIsLoadedFromElsewhere) {
    const std::string svg = pictureOf(kTwoRequests, kTwoTags);
    EXPECT_THAT(svg, Not(HasSubstr("href")));
    EXPECT_THAT(svg, Not(HasSubstr("<script")));
}

TEST(PlanPictureTest, AHugeListMakesNoHugePicture) {
    ObservedPass pass;
    std::vector<WantedTag> wanted;
    for (int i = 0; i < 50000; ++i) {
        const std::int64_t address = 12 * std::int64_t{i};
        pass.requests.push_back({{{1, address, 10}}, 26, 23});
        wanted.push_back({"Main.v" + std::to_string(i), {{1, address, 3}, {1, address + 7, 3}}});
    }
    pass.listItems = 50000;
    const std::string svg = pictureOf(pass, wanted);
    EXPECT_LT(svg.size(), 2000000u);
    EXPECT_LE(drawn(svg, "unread"), 37) << "legend and rows";
    EXPECT_GT(drawn(svg, "many"), 1) << "requests closer than can be drawn";
    EXPECT_THAT(svg, HasSubstr("50000 requests in 240 bars, each the mean of some"));
}

TEST(PlanPictureTest, NothingMakesAPictureToo) {
    EXPECT_EQ(drawn(pictureOf({}, {}), "unread"), 1);
}

}  // namespace
}  // namespace ac500::desk
