// Lists of tags as files have them, and where each entry of a selection came from.
#ifndef AC500_TOOLS_SELECTION_TAG_LIST_H
#define AC500_TOOLS_SELECTION_TAG_LIST_H

#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace ac500::selection {

// Where an entry stands: a row of a list, or the command line.
struct Origin {
    std::string list;  // the file's name, "standard input", or empty: the command line
    int row = 0;       // of the list, from 1

    // "tags.csv:12: ", or nothing for the command line.
    std::string text() const;
};

// What one row of a list, or one word of a command line, says. Nothing of it is looked up yet.
struct Entry {
    std::string text;  // a tag, a pattern, a structure
    Origin origin;
    std::optional<int> intervalMs;     // how often the value is wanted
    std::optional<std::string> value;  // a value for the tag, as text
};

enum class ProblemKind {
    Name,     // there is no such tag, or a pattern matches nothing
    List,     // a list cannot be read
    TooMany,  // more tags than allowed
};

struct SelectionProblem {
    ProblemKind kind;
    std::string text;  // what is wrong, where, and what to do
};

struct EntryList {
    std::vector<Entry> entries;
    std::vector<SelectionProblem> problems;  // all that were found; the entries are usable when there is none
};

constexpr int kLongestIntervalMs = 24 * 60 * 60 * 1000;

// Reads a list, whichever of three kinds it is:
// - text: a tag, pattern or structure a line, or TAG=VALUE; "#" begins a comment, blank lines are passed over,
// - CSV (commas or semicolons) with a header row: a column tag, and if wanted interval (ms) and value,
// - the JSON that `tags --json` prints: {"tags": [{"tag": "Main.counter"}, ...]}.
EntryList parseList(const std::string& listName, const std::string& content);

// The words of a command line: "@FILE" is what the list in the file says, "-" what the list in `input` says, and every
// other word is an entry of its own.
EntryList entriesOf(const std::vector<std::string>& words, std::istream& input);

// Is this word a list rather than an entry?
bool namesList(const std::string& word);

// What to do about a word that names no tag, but a file: "; there is a file of this name: write @FILE ...". Else nothing.
std::string fileRemedy(const std::string& word);

}  // namespace ac500::selection

#endif
