#include "tools/audit/audit_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::audit {
namespace {

Intent fullIntent() {
    return {"4711-1",
            "2026-11-22T07:45:12.345Z",
            "anna",
            "panel7",
            "10.0.0.5:1201",
            "Main.level",
            "INT",
            1,
            1024,
            "2250",
            "2300",
            "21.50 m",
            "22.00 m",
            "a-1",
            "4710-9"};
}

std::string whyNot(const std::string& text) {
    std::string error;
    return parseLine(text, &error) ? "it is a line" : error;
}

TEST(AuditLine, OfAWriteSaysWhoWhenWhereAndWhat) {
    EXPECT_EQ(textOf(fullIntent()),
              R"({"version":1,"event":"write","id":"4711-1","time":"2026-11-22T07:45:12.345Z","user":"anna",)"
              R"("host":"panel7","plc":"10.0.0.5:1201","tag":"Main.level","type":"INT","area":1,"address":1024,)"
              R"("old":"2250","new":"2300","old_shown":"21.50 m","new_shown":"22.00 m","number":"a-1",)"
              R"("undoes":"4710-9"})");
    Intent plain = fullIntent();
    plain.shownBefore = plain.shownAfter = plain.number = plain.undoes = "";
    plain.after = "line\nend \"quote\"";
    EXPECT_EQ(textOf(plain),
              R"({"version":1,"event":"write","id":"4711-1","time":"2026-11-22T07:45:12.345Z","user":"anna",)"
              R"("host":"panel7","plc":"10.0.0.5:1201","tag":"Main.level","type":"INT","area":1,"address":1024,)"
              R"("old":"2250","new":"line\nend \"quote\""})");
}

TEST(AuditLine, HasTheLettersOfEveryLanguageAsTheyAre) {
    Intent intent = fullIntent();
    intent.user = "Jürgen 王";
    EXPECT_NE(textOf(intent).find("\"user\":\"Jürgen 王\""), std::string::npos) << textOf(intent);
}

TEST(AuditLine, OfAnOutcomeRefersToItsWrite) {
    EXPECT_EQ(textOf(Ending{"4711-1", "2026-11-22T07:45:12.400Z", "done", ""}),
              R"({"version":1,"event":"outcome","of":"4711-1","time":"2026-11-22T07:45:12.400Z","outcome":"done"})");
    EXPECT_EQ(textOf(Ending{"4711-1", "2026-11-22T07:45:12.400Z", "refused", "no"}),
              R"({"version":1,"event":"outcome","of":"4711-1","time":"2026-11-22T07:45:12.400Z","outcome":"refused",)"
              R"("reason":"no"})");
}

TEST(AuditLine, ComesBackAsItWas) {
    std::string error;
    const std::optional<Line> intent = parseLine(textOf(fullIntent()), &error);
    ASSERT_TRUE(intent) << error;
    const Intent& back = std::get<Intent>(*intent);
    EXPECT_EQ(back.id, "4711-1");
    EXPECT_EQ(back.time, "2026-11-22T07:45:12.345Z");
    EXPECT_EQ(back.user, "anna");
    EXPECT_EQ(back.host, "panel7");
    EXPECT_EQ(back.plc, "10.0.0.5:1201");
    EXPECT_EQ(back.tag, "Main.level");
    EXPECT_EQ(back.type, "INT");
    EXPECT_EQ(back.area, 1);
    EXPECT_EQ(back.address, 1024);
    EXPECT_EQ(back.before, "2250");
    EXPECT_EQ(back.after, "2300");
    EXPECT_EQ(back.shownBefore, "21.50 m");
    EXPECT_EQ(back.shownAfter, "22.00 m");
    EXPECT_EQ(back.number, "a-1");
    EXPECT_EQ(back.undoes, "4710-9");
    const std::optional<Line> ending = parseLine(textOf(Ending{"4711-1", "t", "refused", "no"}), &error);
    ASSERT_TRUE(ending) << error;
    EXPECT_EQ(std::get<Ending>(*ending).of, "4711-1");
    EXPECT_EQ(std::get<Ending>(*ending).time, "t");
    EXPECT_EQ(std::get<Ending>(*ending).outcome, "refused");
    EXPECT_EQ(std::get<Ending>(*ending).reason, "no");
}

TEST(AuditLine, ThatIsNoneSaysWhy) {
    EXPECT_EQ(whyNot(""), "it is no JSON object");
    EXPECT_EQ(whyNot("[1]"), "it is no JSON object");
    EXPECT_EQ(whyNot(textOf(fullIntent()).substr(0, 100)), "it is no JSON object");
    EXPECT_EQ(whyNot(R"({"event":"write"})"), "\"version\" is missing");
    EXPECT_EQ(whyNot(R"({"version":1})"), "\"event\" is missing");
    EXPECT_EQ(whyNot(R"({"version":1,"event":"sleep"})"), "\"event\" is neither \"write\" nor \"outcome\"");
    EXPECT_EQ(whyNot(R"({"version":2,"event":"outcome","of":"a","time":"t","outcome":"done"})"),
              "its version is not 1");
    EXPECT_EQ(whyNot(R"({"version":1,"event":"outcome","of":7,"time":"t","outcome":"done"})"),
              "\"of\" is of another kind");
    EXPECT_EQ(whyNot(R"({"version":1,"event":"outcome","of":"a","time":"t","outcome":"done","reason":1})"),
              "\"reason\" is of another kind");
    std::string noArea = textOf(fullIntent());
    noArea.replace(noArea.find("\"area\":1"), 8, "\"area\":\"\"");
    EXPECT_EQ(whyNot(noArea), "\"area\" is of another kind");
}

TEST(AuditLine, MayBeginAnAuditWhenItIsOneOrATornOne) {
    const std::string line = textOf(fullIntent());
    EXPECT_TRUE(mayBeginAudit(""));
    EXPECT_TRUE(mayBeginAudit(line));
    EXPECT_TRUE(mayBeginAudit(line.substr(0, 1)));
    EXPECT_TRUE(mayBeginAudit(line.substr(0, 60)));
    EXPECT_TRUE(mayBeginAudit(R"({"event":"outcome","version":1,"of":"a","time":"t","outcome":"done"})"));
    EXPECT_FALSE(mayBeginAudit("tag,value"));
    EXPECT_FALSE(mayBeginAudit("x" + line.substr(0, 60)));
    EXPECT_FALSE(mayBeginAudit(R"({"version":1,"event":"sleep"})")) << "whole, and none";
    EXPECT_FALSE(mayBeginAudit("{}"));
}

}  // namespace
}  // namespace ac500::audit
