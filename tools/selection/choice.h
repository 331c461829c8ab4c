// From what a user says to the tags that it stands for.
#ifndef AC500_TOOLS_SELECTION_CHOICE_H
#define AC500_TOOLS_SELECTION_CHOICE_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/selection/catalog.h"
#include "tools/selection/tag_list.h"

namespace ac500::selection {

// One tag, as the host finds it: a variable, an element, a row of an array, a bit, a range.
struct ChosenTag {
    std::string tag;
    Origin origin;
    std::optional<int> intervalMs;
    std::optional<std::string> value;
};

struct Choice {
    // In the order in which they were named; those that are right, also beside others that are not. More than allowed are
    // left out.
    std::vector<ChosenTag> tags;
    std::vector<SelectionProblem> problems;  // all that were found
};

// What may an entry stand for?
enum class Expansion {
    Allowed,      // several tags
    WholeArrays,  // the same, but an array of several dimensions is one tag, by its name: for listing
    None,         // one tag: for writing
};

struct ChoiceLimits {
    std::size_t mostTags = 5000;
    Expansion expansion = Expansion::Allowed;
};

// An entry is one of these:
// - a tag: it stays as it is written,
// - an array of several dimensions: its rows,
// - a scope, a structure, or an array of structures: all its values,
// - a pattern: whatever it matches of all these; with an index at its end ("Main.recipe[*]"), elements of arrays.
// What one of the last three gives is left out when it was named before; a tag that is named twice is there twice.
// A pattern that matches nothing is a problem, and so is a name that nothing has: it is told with the names that are near,
// in a large file only for the first of many wrong ones.
Choice choose(const Catalog& catalog, const std::vector<Entry>& entries, const ChoiceLimits& limits);

}  // namespace ac500::selection

#endif
