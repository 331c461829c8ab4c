#include "tools/audit/audit_trail.h"

#include "tests/audit/audit_files.h"

namespace ac500::audit {
namespace {

using testing::ElementsAre;

std::string intentLine(const std::string& id, const std::string& tag, const std::string& undoes = "") {
    Intent intent;
    intent.id = id;
    intent.tag = tag;
    intent.undoes = undoes;
    return textOf(intent) + "\n";
}

std::string endingLine(const std::string& of, const std::string& outcome) {
    return textOf(Ending{of, "t", outcome, ""}) + "\n";
}

class AuditTrailTest : public AuditFilesTest {
protected:
    Trail trail() const {
        std::string error;
        const std::optional<Trail> read = readTrail(file(), &error);
        EXPECT_TRUE(read) << error;
        return read.value_or(Trail());
    }
    std::vector<std::string> told() const {
        std::vector<std::string> lines;
        for (const Entry& entry : trail().entries) {
            lines.push_back(entry.intent.tag + " " + entry.outcome() + (entry.isUndone ? ", undone" : ""));
        }
        return lines;
    }
    std::vector<std::string> complaints() const {
        std::vector<std::string> lines;
        for (const UnreadableLine& line : trail().unreadable) {
            lines.push_back(std::filesystem::path(line.file).filename().string() + ":" + std::to_string(line.line) +
                            ": " + line.what);
        }
        return lines;
    }
};

TEST_F(AuditTrailTest, TellsEachWriteWithWhatCameOfIt) {
    fill(file(), intentLine("1", "A") + intentLine("2", "B") + endingLine("2", "refused") + endingLine("1", "done"));
    EXPECT_THAT(told(), ElementsAre("A done", "B refused"));
    EXPECT_THAT(complaints(), ElementsAre());
}

TEST_F(AuditTrailTest, TellsUnknownOfAWriteThatHasNoOutcome) {
    fill(file(), intentLine("1", "A"));
    EXPECT_THAT(told(), ElementsAre("A unknown"));
}

TEST_F(AuditTrailTest, GoesOverAllFilesOldestFirst) {
    fill(file() + ".2", intentLine("2", "B") + endingLine("1", "done"));
    fill(file() + ".1", intentLine("1", "A"));
    fill(file() + ".10", endingLine("2", "not sent"));
    fill(file(), intentLine("3", "C"));
    EXPECT_THAT(told(), ElementsAre("A done", "B not sent", "C unknown"));
}

TEST_F(AuditTrailTest, TellsOfATornLineAndReadsOn) {
    const std::string torn = intentLine("2", "B").substr(0, 60);
    fill(file(), intentLine("1", "A") + torn + "\n" + endingLine("1", "done") + endingLine("9", "done") + torn);
    EXPECT_THAT(told(), ElementsAre("A done"));
    EXPECT_THAT(complaints(), ElementsAre("audit.jsonl:2: it is no JSON object",
                                          "audit.jsonl:4: it ends a write that no line before it tells of",
                                          "audit.jsonl:5: it is torn: it is no JSON object"));
}

TEST_F(AuditTrailTest, KnowsWhatWasUndoneByAWriteThatWasDone) {
    fill(file(), intentLine("1", "A") + endingLine("1", "done") + intentLine("2", "B") + endingLine("2", "done") +
                     intentLine("3", "A", "1") + endingLine("3", "done") + intentLine("4", "B", "2") +
                     endingLine("4", "refused"));
    EXPECT_THAT(told(), ElementsAre("A done, undone", "B done", "A done", "B refused"));
}

TEST_F(AuditTrailTest, SaysWhichFileCannotBeRead) {
    std::string error;
    EXPECT_FALSE(readTrail(file("missing.jsonl"), &error));
    EXPECT_EQ(error, file("missing.jsonl") + " cannot be read: No such file or directory");
    EXPECT_FALSE(readTrail(file(".."), &error));
}

TEST_F(AuditTrailTest, AFileOfOtherLinesIsNoAudit) {
    std::string error;
    for (const char* text : {"tag,value\nMain.setpoint,1\n", "one line\n", "tag\nno end"}) {
        fill(file(), text);
        EXPECT_FALSE(readTrail(file(), &error)) << text;
        EXPECT_EQ(error, file() + " is no audit: none of its lines tells of a write");
    }
    fill(file(), intentLine("1", "A").substr(0, 60));
    EXPECT_TRUE(readTrail(file(), &error)) << "its only line is torn";
    fill(file(), "garbage\n" + endingLine("9", "done"));
    EXPECT_TRUE(readTrail(file(), &error)) << "the file before it was taken away";
}

TEST_F(AuditTrailTest, OfAnEmptyFileIsEmpty) {
    fill(file(), "");
    EXPECT_THAT(told(), ElementsAre());
}

}  // namespace
}  // namespace ac500::audit
