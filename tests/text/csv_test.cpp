#include "tools/text/csv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::text {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::vector<std::string>> cellsOf(const std::string& text, char separator = ',') {
    const ParsedCsv parsed = parseCsv(text, separator);
    EXPECT_EQ(parsed.errorLine, 0) << parsed.error;
    std::vector<std::vector<std::string>> rows;
    for (const CsvRow& row : parsed.rows) {
        rows.push_back(row.cells);
    }
    return rows;
}

TEST(Csv, RowsAndCells) {
    EXPECT_THAT(cellsOf("a,b\r\nc,,d\n,"),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "", "d"), ElementsAre("", "")));
    EXPECT_THAT(cellsOf("a;b,c", ';'), ElementsAre(ElementsAre("a", "b,c")));
    EXPECT_THAT(cellsOf(""), IsEmpty());
}

TEST(Csv, QuotedCells) {
    EXPECT_THAT(cellsOf("\"a,b\",\"say \"\"yes\"\"\",\"\"\n\"two\nlines\",x"),
                ElementsAre(ElementsAre("a,b", "say \"yes\"", ""), ElementsAre("two\nlines", "x")));
    EXPECT_THAT(cellsOf("a \"b\""), ElementsAre(ElementsAre("a \"b\"")));
}

TEST(Csv, BlankLinesAndCommentsBeforeTheHeaderAreNoRows) {
    const ParsedCsv parsed = parseCsv("# a\n\n \t\r\n#b\nx\n\"y\n#z\"\n\nw", ',');
    ASSERT_EQ(parsed.rows.size(), 3u);
    EXPECT_EQ(parsed.rows[0].line, 5);
    EXPECT_EQ(parsed.rows[1].line, 6);
    EXPECT_THAT(parsed.rows[1].cells, ElementsAre("y\n#z"));
    EXPECT_EQ(parsed.rows[2].line, 9);
}

TEST(Csv, ARowBehindTheHeaderMayBeginWithAHash) {
    EXPECT_THAT(cellsOf("# comment\nname,value\n#1,5\n#"),
                ElementsAre(ElementsAre("name", "value"), ElementsAre("#1", "5"), ElementsAre("#")));
}

TEST(Csv, ErrorsAreToldWithTheirLine) {
    EXPECT_EQ(parseCsv("a\n\"b\nc", ',').errorLine, 2);
    EXPECT_EQ(parseCsv("a\n\"b\nc\"d\n", ',').errorLine, 3);
    EXPECT_EQ(parseCsv("\"", ',').errorLine, 1);
    EXPECT_EQ(parseCsv("a\n\"b", ',').rows.size(), 1u);
}

TEST(Csv, CellsAreQuotedWhenTheyHaveTo) {
    EXPECT_EQ(csvCell("plain"), "plain");
    EXPECT_EQ(csvCell("-1.5"), "-1.5");
    EXPECT_EQ(csvCell("a,b"), "\"a,b\"");
    EXPECT_EQ(csvCell("0;1"), "\"0;1\"");
    EXPECT_EQ(csvCell("say \"yes\""), "\"say \"\"yes\"\"\"");
    EXPECT_EQ(csvCell("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(csvCell(" x"), "\" x\"");
    EXPECT_EQ(csvCell(""), "");
}

TEST(Csv, NoTextIsAFormula) {
    EXPECT_EQ(csvText("=1+1"), "'=1+1");
    EXPECT_EQ(csvText("+1"), "'+1");
    EXPECT_EQ(csvText("-1"), "'-1");
    EXPECT_EQ(csvText("@SUM(A1,A2)"), "\"'@SUM(A1,A2)\"");
    EXPECT_EQ(csvText("\t=1"), "'\t=1");
    EXPECT_EQ(csvText("\r=1"), "\"'\r=1\"");
    EXPECT_EQ(csvText("a=1"), "a=1");
    EXPECT_EQ(csvText(""), "");
}

TEST(Csv, WhatIsWrittenReadsBack) {
    for (const char* content : {"", "a", "a,b", "\"", "\"\"", "a\r\nb", " a ", ";", "x\ny,\"z\""}) {
        EXPECT_THAT(cellsOf("k," + csvCell(content) + "\n"), ElementsAre(ElementsAre("k", content))) << content;
    }
}

}  // namespace
}  // namespace ac500::text
