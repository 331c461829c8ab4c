// Comma-separated values as RFC 4180 has them. Pure functions.
#ifndef AC500_TOOLS_TEXT_CSV_H
#define AC500_TOOLS_TEXT_CSV_H

#include <string>
#include <vector>

namespace ac500::text {

struct CsvRow {
    int line = 1;  // where the row begins, from 1
    std::vector<std::string> cells;
};

struct ParsedCsv {
    std::vector<CsvRow> rows;  // without blank lines and comments; what stands before an error
    int errorLine = 0;         // 0: all of it was read
    std::string error;         // what is wrong and what to do
};

// Rows end with LF or CRLF. A cell in quotes may hold separators, line ends and, doubled, quotes. A blank line is no row,
// and a line that begins with "#" is a comment as long as no row stands before it: behind the header it is data.
ParsedCsv parseCsv(const std::string& text, char separator);

// One cell as it is written: in quotes when it holds a comma, a semicolon, which spreadsheets of some countries separate
// cells by, a quote, a line end, or a blank at an end.
std::string csvCell(const std::string& content);
// The same for a text that anyone may have written: a spreadsheet takes what begins with = + - @, a tab or a line end for
// a formula, so an apostrophe goes before it.
std::string csvText(const std::string& content);

}  // namespace ac500::text

#endif
