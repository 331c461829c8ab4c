// What became of the variables of a PLC program from one symbol file to the next: moved, retyped, renamed, gone, new, or with
// another meaning; and what a panel that still has the old file would now write to. Pure functions.
#ifndef AC500_TOOLS_DESK_SYMBOLS_DIFF_H
#define AC500_TOOLS_DESK_SYMBOLS_DIFF_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/desk/element_places.h"
#include "tools/desk/meaning_diff.h"
#include "tools/selection/catalog.h"
#include "tools/selection/tag_list.h"

namespace ac500::desk {

// A tag as one of the files has it.
struct PlacedTag {
    std::string tag;
    std::string type;  // "INT[1..6]", "STRING(20)", "bit of WORD"
    int area = 0;
    std::int64_t address = 0;  // bytes; bits for BIT variables
    bool isBitAddress = false;
};

struct SymbolChange {
    std::optional<PlacedTag> before;  // nothing: the tag is new
    std::optional<PlacedTag> after;   // nothing: it vanished; of a renamed tag with its new name
    bool isMoved = false;
    bool isRetyped = false;
    bool isRenamed = false;                 // another tag of the same type lies where it was, and its own name is gone
    std::optional<ShiftedElement> shifted;  // of a whole array: elements lie elsewhere in it than they did
    std::vector<MeaningChange> meaning;     // of a bit that vanished: why

    // Other variables and elements of the new file that lie where the tag was in the old one, and did not before: who still
    // has the old file and writes the tag writes them. At most kMostHits; the first in the order of memory.
    static constexpr std::size_t kMostHits = 10;
    std::vector<std::string> hits;
    bool hasMoreHits = false;

    bool isVanished() const { return !after; }
    bool isNew() const { return !before; }
    bool isAny() const {
        return isMoved || shifted || isRetyped || isRenamed || !meaning.empty() || isVanished() || isNew() ||
               !hits.empty();
    }
};

struct SymbolsDiff {
    std::vector<SymbolChange> changes;  // in the order of the old file or of the list; what is new behind
    std::size_t compared = 0;           // tags that were looked at
    std::vector<selection::SelectionProblem> problems;  // of a list: names that neither file has
};

// All values of both files, arrays as one. Takes time in proportion to their number.
SymbolsDiff diffSymbols(const selection::Catalog& before, const selection::Catalog& after);

// Only what the entries stand for, in either file: tags, elements, bits, patterns, structures.
SymbolsDiff diffSymbols(const selection::Catalog& before, const selection::Catalog& after,
                        const std::vector<selection::Entry>& entries);

// Tags of the guards of the old file, when the new one expects the same number of each although variables of `diff` do not
// lie where they lay: a host with the old file then notices nothing. None when all is well, and of a file without guards.
std::vector<std::string> guardsThatStayed(const SymbolsDiff& diff, const selection::Catalog& before,
                                          const selection::Catalog& after);

}  // namespace ac500::desk

#endif
