// What ac500-host shows as CSV (RFC 4180), for spreadsheets: numbers stay numbers, truth values are TRUE and FALSE, and no
// text is taken for a formula. Pure functions.
#ifndef AC500_TOOLS_HOST_CSV_OUTPUT_H
#define AC500_TOOLS_HOST_CSV_OUTPUT_H

#include <string>
#include <vector>

#include "tools/host/output.h"

namespace ac500::host {

// The header rows, without a line end.
constexpr char kValueCsvHeader[] = "tag,type,value,unit,state,age_ms";
constexpr char kLeafCsvHeader[] = "tag,type,area,address,unit,comment";

// A row for each element, so that a value has a cell of its own: "Main.recipe[2],INT,-20,bar,fresh,12". What is not known is
// an empty cell. Numbers are scaled where the tag is; values with a name, and times, are numbers.
std::vector<std::string> valueCsv(const Tag& tag, const TagValue& value);
std::string leafCsv(const Leaf& leaf);

}  // namespace ac500::host

#endif
