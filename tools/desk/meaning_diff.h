// What a value means to people, from one symbol file to the next: unit, scale, limits, names, and what a host may do with it.
// Comments do not count. Pure functions.
#ifndef AC500_TOOLS_DESK_MEANING_DIFF_H
#define AC500_TOOLS_DESK_MEANING_DIFF_H

#include <string>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::desk {

// One thing that changed, with its values as people read them; an empty value: there is none.
struct MeaningChange {
    // The key of symbol files: "unit", "scale", "min", "max", "names", "readOnly", "onlyWriter", "bits", "guard".
    std::string what;
    std::string before;
    std::string after;
};

// In the order of symbol files. Of "names" only those that are not the same in both.
std::vector<MeaningChange> meaningChanges(const symbol_file::Leaf& before, const symbol_file::Leaf& after);

// Likewise for bits of the variables, of which only "readOnly", "onlyWriter" and "bits" count.
std::vector<MeaningChange> bitMeaningChanges(const symbol_file::Leaf& before, const symbol_file::Leaf& after);

}  // namespace ac500::desk

#endif
