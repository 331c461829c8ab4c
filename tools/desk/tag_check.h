// What is wrong with lists of tags: what each answer of the driver means in words, and what only shows when lists are seen as
// a whole. Pure functions of plain values; what the driver answers is handed in.
#ifndef AC500_TOOLS_DESK_TAG_CHECK_H
#define AC500_TOOLS_DESK_TAG_CHECK_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/desk/byte_runs.h"

namespace ac500::desk {

enum class Severity { Warning, Error };

// "warning", "error".
const char* severityName(Severity severity);

enum class FindingKind {
    Unknown,         // the driver does not resolve it
    OutOfBounds,     // the driver resolves it, to bytes beyond the array or the variable
    NotTransferred,  // a structure, or whatever else the driver does not read as one value
    Elsewhere,       // driver and symbol file have it in different places
    GivenTwice,
    Value,      // does not fit the type, or its limits
    TextCut,    // a text that is longer than what would be transferred
    ReadOnly,   // it is written, and must not be
    SharedWord  // several panels write into one variable, one of them bits
};

// For programs: "unknown", "out_of_bounds", ...
const char* kindName(FindingKind kind);

// Where a tag is named.
struct Place {
    std::string list;  // the file's name, "standard input", or empty: the command line
    int row = 0;       // of the list, from 1
};

// "tags.csv:12", "command line".
std::string placeText(const Place& place);

struct Finding {
    Severity severity = Severity::Error;
    FindingKind kind = FindingKind::Unknown;
    Place place;
    std::string tag;
    std::optional<int> driverCode;  // when it says something
    std::string text;               // what is wrong, and what to do
};

// What a resolution code of the driver means: "the structure has no such member".
std::string codeText(int code);

// A tag of a list, as it is written there.
struct NamedTag {
    std::string tag;
    Place place;
};

// A warning for every tag that its list has named before. `tags`: of one list, in order.
std::vector<Finding> givenTwice(const std::vector<NamedTag>& tags);

// A tag that a panel writes, and the variable that it is, or is a part of.
struct WrittenTag {
    NamedTag named;
    std::size_t panel = 0;
    ByteRun variable;
    bool isBit = false;  // of a variable; bits with an address of their own are none
};

// A warning for every tag that shares a variable with another panel's, when one of the two is a bit: a bit is written as the
// whole variable, so one panel takes back what the other has written just before. `panels`: their names, by number.
std::vector<Finding> sharedWords(const std::vector<WrittenTag>& tags, const std::vector<std::string>& panels);

struct Tally {
    int errors = 0;
    int warnings = 0;
};
Tally countFindings(const std::vector<Finding>& findings);

}  // namespace ac500::desk

#endif
