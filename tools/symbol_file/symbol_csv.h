// A symbol file as a table of comma-separated values, in both directions, without loss. docs/symbol-file.md gives the
// columns.
#ifndef AC500_TOOLS_SYMBOL_FILE_SYMBOL_CSV_H
#define AC500_TOOLS_SYMBOL_FILE_SYMBOL_CSV_H

#include <string>
#include <vector>

#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

struct CsvProblem {
    int line = 0;        // of the table, where the row begins; 0: the table as a whole
    std::string column;  // its name; empty: the row as a whole
    std::string what;    // what is wrong and what to do
};
// "plant.csv:12: column offset: ..."
std::string describe(const std::string& fileName, const CsvProblem& problem);

struct ImportedCsv {
    JsonValue document;                // a good symbol file exactly when `problems` is empty
    std::vector<CsvProblem> problems;  // in line order; all that were found
};

// Commas or semicolons, with a header row.
ImportedCsv importCsv(const std::string& text);

// REQUIRES: a good symbol file
std::string exportCsv(const JsonValue& document);

}  // namespace ac500::symbol_file

#endif
