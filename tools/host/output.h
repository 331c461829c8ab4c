// What ac500-host shows: values, tags and statistics as text for people and as JSON for programs. Pure functions.
#ifndef AC500_TOOLS_HOST_OUTPUT_H
#define AC500_TOOLS_HOST_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/host/host_session.h"

namespace ac500::host {

using symbol_file::Leaf;

// Keys in the order in which they are set.
using Json = nlohmann::ordered_json;

// Of every document and of every line of `watch`. It changes when a program that reads the output has to; keys may be
// added without. docs/schema/ describes each command's output.
constexpr int kOutputVersion = 1;
// A document with nothing but its version.
Json newDocument();

// "INT", "INT[1..6]", "BIT of WORD".
std::string typeText(const Tag& tag);
std::string typeText(const Leaf& leaf);
// "120", or "bit 21" for a BIT variable.
std::string addressText(const Leaf& leaf);

// The value, or "?" when it is not known.
std::string valueText(const Tag& tag, const TagValue& value);
// "0.12 s", "3 min", or "-" when nothing was received.
std::string ageText(const TagValue& value);

// A number, scaled where the tag is, boolean, string, or a list of them for a list tag. Values with a name, and times, are
// numbers. Strings are also: whole numbers beyond 2^53 - 1 on either side, which many readers of JSON would round, in
// decimal; and what JSON has no number for, "nan", "inf" and "-inf".
Json valueJson(const Tag& tag, const HostValues& inPlc);
// {"tag", "type", "value", "text", "state", "age_ms"}; value, text and age are null when not known. "text" is the value as
// people see it, of tags with a unit, a scale or names and of times.
Json tagValueJson(const Tag& tag, const TagValue& value);
Json leafJson(const Leaf& leaf);
Json statisticsJson(const Statistics& statistics);
Json failureJson(const Failure& failure);

// A block of lines of at most 80 columns: the connection, what was counted, the times of passes, the settings in force, and a
// table of how long things took. `plc`: its address.
std::vector<std::string> sessionLines(const std::string& plc, const SessionSettings& settings,
                                      const SessionStatus& status, const Latencies& latencies, Time now);
// {"first_handshake": {"count", "sum", "p50", "p99", "longest", "last"}, ...}, in ms; of none but its count when that is 0.
Json latenciesJson(const Latencies& latencies, Time now);
Json connectionJson(const std::string& plc, const SessionStatus& status, Time now);
Json settingsJson(const SessionSettings& settings);

// Columns as wide as their widest cell, two blanks apart; the last column is not padded. Cells may hold texts of unknown
// origin, such as comments of a symbol file: "?" stands for what a terminal would obey, line ends included.
std::vector<std::string> alignColumns(std::vector<std::vector<std::string>> rows);

// How many characters a UTF-8 text has.
int displayWidth(const std::string& text);

// As many of the parts, from the first on, as fit the width, two blanks apart; a first part that does not fit is cut.
std::string fitParts(const std::vector<std::string>& parts, int width);

// Cuts a line of UTF-8 to so many characters; a cut line ends with "~".
std::string fitWidth(const std::string& line, int width);

}  // namespace ac500::host

#endif
