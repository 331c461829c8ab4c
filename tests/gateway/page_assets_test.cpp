// The page as it is embedded: whole, with a build of its own, and nothing under other names.
#include "tools/gateway/page/assets.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::gateway {
namespace {

std::string textOf(const Asset& asset) {
    return std::string(reinterpret_cast<const char*>(asset.bytes), asset.length);
}

TEST(PageAssets, PageCarriesTheBuildThatStreamsTell) {
    const Asset* page = findAsset("index.html");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(pageBuild().size(), 16u);
    EXPECT_NE(textOf(*page).find("<meta name=\"build\" content=\"" + std::string(pageBuild()) + "\">"),
              std::string::npos);
    EXPECT_EQ(textOf(*page).find("@PAGE_BUILD@"), std::string::npos);
}

TEST(PageAssets, ModulesAreServedAsWhatTheyAre) {
    const Asset* module = findAsset("main.js");
    ASSERT_NE(module, nullptr);
    EXPECT_STREQ(module->contentType, "text/javascript; charset=utf-8");
    EXPECT_EQ(textOf(*module).substr(0, 11), "// The page");
    EXPECT_STREQ(findAsset("page.css")->contentType, "text/css; charset=utf-8");
    EXPECT_STREQ(findAsset("icon.svg")->contentType, "image/svg+xml");
}

TEST(PageAssets, ChartsAreThereWholeWithTheirLicence) {
    const Asset* charts = findAsset("dygraph.min.js");
    ASSERT_NE(charts, nullptr);
    EXPECT_GT(charts->length, 100000u);
    EXPECT_EQ(textOf(*charts).substr(0, 12), "/*! @license");
}

TEST(PageAssets, EtagsDifferAndStandInQuotes) {
    const std::string first = findAsset("main.js")->etag;
    EXPECT_EQ(first.size(), 18u);
    EXPECT_EQ(first.front(), '"');
    EXPECT_EQ(first.back(), '"');
    EXPECT_NE(first, findAsset("page.css")->etag);
}

TEST(PageAssets, OtherNamesAreNoAssets) {
    EXPECT_EQ(findAsset("nothing.js"), nullptr);
    EXPECT_EQ(findAsset(""), nullptr);
    EXPECT_EQ(findAsset("../main.js"), nullptr);
}

// What must not stand in the page, since its policy forbids it: scripts, styles and handlers in the markup, other hosts.
TEST(PageAssets, PageHasNothingInlineAndNothingFromElsewhere) {
    const std::string page = textOf(*findAsset("index.html"));
    for (const char* forbidden : {"<style", " style=", " onclick=", " onload=", "javascript:", "http://", "https://"}) {
        EXPECT_EQ(page.find(forbidden), std::string::npos) << forbidden;
    }
    EXPECT_EQ(page.find("<script>"), std::string::npos);
}

}  // namespace
}  // namespace ac500::gateway
