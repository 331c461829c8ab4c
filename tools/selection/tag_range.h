// A tag that ends with a range of indices: "Main.recipe[1..5]", "Main.grid[2,1..3]", "Main.flags.b[0..7]". Pure functions.
#ifndef AC500_TOOLS_SELECTION_TAG_RANGE_H
#define AC500_TOOLS_SELECTION_TAG_RANGE_H

#include <optional>
#include <string>

namespace ac500::selection {

struct TagRange {
    std::string prefix;  // up to the range: "Main.grid[2,"
    std::string first;   // the tag of the first element: "Main.grid[2,1]"
    std::string last;
    int lower = 0;
    int upper = 0;  // belongs to the range
};

// Nothing when no range stands at the end, and for one that is wrong: *error then says so, else it stays as it is.
std::optional<TagRange> rangeAtEnd(const std::string& tag, std::string* error);

}  // namespace ac500::selection

#endif
