#include "tools/selection/tag_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>
#include <sstream>

namespace ac500::selection {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// "text@row", with "/interval" and "=value" where there are any.
std::vector<std::string> shown(const EntryList& list) {
    std::vector<std::string> texts;
    for (const Entry& entry : list.entries) {
        texts.push_back(entry.text + "@" + std::to_string(entry.origin.row) +
                        (entry.intervalMs ? "/" + std::to_string(*entry.intervalMs) : "") +
                        (entry.value ? "=" + *entry.value : ""));
    }
    return texts;
}

std::vector<std::string> complaints(const EntryList& list) {
    std::vector<std::string> texts;
    for (const SelectionProblem& problem : list.problems) {
        EXPECT_EQ(problem.kind, ProblemKind::List);
        texts.push_back(problem.text);
    }
    return texts;
}

TEST(TagList, OneEntryALineWithoutBlankLinesAndComments) {
    const EntryList list = parseList("l", "# pumps\r\nMain.a\r\n\r\n   Main.p*  \n#Main.b\nMain.grid[2,3]");
    EXPECT_THAT(complaints(list), ElementsAre());
    EXPECT_THAT(shown(list), ElementsAre("Main.a@2", "Main.p*@4", "Main.grid[2,3]@6"));
}

TEST(TagList, ALineMayGiveAValue) {
    EXPECT_THAT(shown(parseList("l", "Main.a = 5\nMain.b=x=y\nMain.c=\n")),
                ElementsAre("Main.a@1=5", "Main.b@2=x=y", "Main.c@3="));
}

TEST(TagList, AByteOrderMarkIsNoPartOfTheFirstTag) {
    EXPECT_THAT(shown(parseList("l", "\xEF\xBB\xBFMain.a\n")), ElementsAre("Main.a@1"));
}

TEST(TagList, ATableHasAHeader) {
    const EntryList list = parseList("l.csv",
                                     "# exported\n\nTag , Interval,VALUE\nMain.a,500,1.5\n\"Main.grid[2,3]\",,\n"
                                     "Main.b,,\"say \"\"yes\"\", then\nno\"\nMain.c\n");
    EXPECT_THAT(complaints(list), ElementsAre());
    EXPECT_THAT(shown(list),
                ElementsAre("Main.a@4/500=1.5", "Main.grid[2,3]@5", "Main.b@6=say \"yes\", then\nno", "Main.c@8"));
}

TEST(TagList, ATableMayUseSemicolonsAndHaveOneColumn) {
    EXPECT_THAT(shown(parseList("l", "tag;value\nMain.grid[2,3];1,5\n")), ElementsAre("Main.grid[2,3]@2=1,5"));
    EXPECT_THAT(shown(parseList("l", "tag\nMain.a\n")), ElementsAre("Main.a@2"));
}

TEST(TagList, ARowOfEmptyCellsSaysNothing) {
    const EntryList list = parseList("l", "tag;value\n;\nMain.a;1\n ; \n\"\"\n;;\n");
    EXPECT_THAT(complaints(list), ElementsAre());
    EXPECT_THAT(shown(list), ElementsAre("Main.a@3=1"));
    EXPECT_THAT(complaints(parseList("l", "tag,value\n,5\n")), ElementsAre(HasSubstr("l:2: column tag: is empty")));
}

TEST(TagList, ARowOfATableMayBeginWithAHash) {
    EXPECT_THAT(shown(parseList("l", "# head\ntag,value\n#Main.a,1\n")), ElementsAre("#Main.a@3=1"));
}

TEST(TagList, ProblemsOfATableNameRowAndColumn) {
    EXPECT_THAT(
        complaints(parseList("l.csv", "tag,min,max\nMain.a,1,2\n")),
        ElementsAre("l.csv:1: column 2: \"min\" is no column of a list of tags; there are tag, interval and value",
                    "l.csv:1: column 3: \"max\" is no column of a list of tags; there are tag, interval and value"));
    EXPECT_THAT(complaints(parseList("l.csv", "tag,tag\nMain.a,b\n")),
                ElementsAre("l.csv:1: column 2: \"tag\" is there already; remove one of them"));
    EXPECT_THAT(
        complaints(parseList("l.csv", "tag,interval\nMain.a,0\nMain.b,fast\nMain.c,86400001\n,5\n")),
        ElementsAre("l.csv:2: column interval: \"0\" is no time in ms; give a whole number from 1 to 86400000",
                    "l.csv:3: column interval: \"fast\" is no time in ms; give a whole number from 1 to 86400000",
                    HasSubstr("l.csv:4: column interval: \"86400001\""),
                    "l.csv:5: column tag: is empty; name a tag, or remove the row"));
    EXPECT_THAT(complaints(parseList("l.csv", "tag,value\nMain.grid[2,3],5\n")),
                ElementsAre(HasSubstr("l.csv:2: has 3 cells, but the header has 2; put a cell")));
    EXPECT_THAT(complaints(parseList("l.csv", "tag,value\nMain.a,\"5\n")),
                ElementsAre("l.csv:2: a quote is not closed; end the cell with \""));
    EXPECT_THAT(complaints(parseList("l.csv", "tag,value\nMain.a,\"5\"6\n")),
                ElementsAre(StartsWith("l.csv:2: something follows a closing quote")));
}

TEST(TagList, TakesWhatTagsPrintsAsJson) {
    const EntryList list = parseList("l",
                                     "{\"version\": 1, \"tags\": [\n {\"tag\": \"Main.a\", \"type\": \"INT\"},\n"
                                     " {\"tag\": \"Main.grid\", \"dimensions\": [[1, 2]]}]}");
    EXPECT_THAT(complaints(list), ElementsAre());
    EXPECT_THAT(shown(list), ElementsAre("Main.a@2", "Main.grid@3"));
}

TEST(TagList, OtherJsonIsToldWhere) {
    EXPECT_THAT(complaints(parseList("l", "{\"values\": []}")),
                ElementsAre(StartsWith("l:1: this JSON names no tags")));
    EXPECT_THAT(complaints(parseList("l", "\n[\"Main.a\"]")), ElementsAre(StartsWith("l:2: this JSON names no tags")));
    EXPECT_THAT(complaints(parseList("l", "{\"tags\": [{\"tag\": \"Main.a\"},\n{\"name\": \"b\"}, 5]}")),
                ElementsAre("l:2: an entry of \"tags\" has no \"tag\" with a name",
                            "l:2: an entry of \"tags\" has no \"tag\" with a name"));
    EXPECT_THAT(complaints(parseList("l", "{\"tags\": [\n,]}")), ElementsAre(StartsWith("l:2:1: ")));
}

TEST(TagList, AListThatNamesNothingIsAProblem) {
    for (const char* content : {"", "\n\n", "# nothing\n", "tag,value\n", "{\"tags\": []}"}) {
        EXPECT_THAT(complaints(parseList("l", content)), ElementsAre("l: names no tag; write one a line")) << content;
    }
}

TEST(TagList, AListDoesNotNameAnotherList) {
    EXPECT_THAT(
        complaints(parseList("l", "Main.a\n@other\n-\n")),
        ElementsAre("l:2: \"@other\": a list cannot name another list", "l:3: \"-\": a list cannot name another list"));
}

TEST(TagList, ControlCharactersDoNotReachTheTerminal) {
    EXPECT_THAT(complaints(parseList("l", "tag,\x1b[2J\n")), ElementsAre(HasSubstr("\"?[2j\" is no column")));
}

TEST(EntriesOfACommandLine, AreWordsFilesAndTheStandardInput) {
    const QTemporaryDir directory;
    const std::string file = directory.filePath("l.txt").toStdString();
    std::ofstream(file) << "\nMain.b\n";
    std::istringstream input("Main.c\n");
    const EntryList list = entriesOf({"Main.a", "@" + file, "-", "Main.d=5"}, input);
    EXPECT_THAT(complaints(list), ElementsAre());
    EXPECT_THAT(shown(list), ElementsAre("Main.a@0", "Main.b@2", "Main.c@1", "Main.d=5@0"));
    EXPECT_EQ(list.entries[0].origin.text(), "");
    EXPECT_EQ(list.entries[1].origin.text(), file + ":2: ");
    EXPECT_EQ(list.entries[2].origin.text(), "standard input:1: ");
}

TEST(EntriesOfACommandLine, ListsThatCannotBeReadAreAllTold) {
    std::istringstream input("Main.c\n");
    EXPECT_THAT(complaints(entriesOf({"@/nowhere/l.txt", "@", "-", "-"}, input)),
                ElementsAre("/nowhere/l.txt: cannot be read: No such file or directory",
                            "@: there is no file name; write @FILE", "-: the standard input can be read once only"));
}

TEST(EntriesOfACommandLine, AListWithoutEndIsRefused) {
    std::istringstream input;
    EXPECT_THAT(complaints(entriesOf({"@/dev/zero"}, input)),
                ElementsAre("/dev/zero: is larger than 64 MiB; this is no list of tags, or it has to be split"));
}

}  // namespace
}  // namespace ac500::selection
