// Tag is what a user names: one variable, one bit, or a run of elements of one array row. TagTable finds it in a symbol
// file. Plain values; a TagTable is immutable and safe to share between threads.
#ifndef AC500_TOOLS_HOST_TAG_H
#define AC500_TOOLS_HOST_TAG_H

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/host/request_frame.h"
#include "tools/host/run_plan.h"
#include "tools/host/value_codec.h"
#include "tools/selection/catalog.h"
#include "tools/selection/tag_range.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::host {

using symbol_file::ArrayDimension;
using symbol_file::Leaf;
using symbol_file::SymbolFile;

struct Tag {
    std::string text;  // as the user wrote it: "Main.recipe[1..5]"
    ValueForm form;
    bool isList = false;  // shown and given as a list, also when it has one element

    // The driver's names of the elements, whichever way the user wrote them, are prefix + (firstIndex + i) + "]", or the prefix alone without an index.
    std::string prefix;
    bool isIndexed = false;
    int firstIndex = 0;
    int elements = 1;
    int rowExtent = 0;  // elements of the row in the driver's eyes; 0: not an element of an array

    int area = 0;
    std::int64_t address = 0;  // of the first element; of the variable for a bit of it; a bit address for BIT variables
    int firstBit = 0;          // of bits of a variable: the number of the first

    bool isReadOnly = false;
    bool isOnlyWrittenHere = false;                        // nobody else is to write it
    std::shared_ptr<const symbol_file::ValueNotes> notes;  // null without any

    // Of strings in arrays: the name of an element up to its last index, the lower bound of that, and where the first element
    // of all lies.
    std::string arrayPrefix;
    int arrayLower = 0;
    std::int64_t arrayAddress = 0;

    std::string elementName(int element) const;
    // The bytes that must be received before the value is known.
    std::vector<ByteRun> byteRuns() const;
    // What the driver is asked to read. A bit is read as the variable that holds it.
    std::vector<RunChunk> readPlan() const;
    // What the driver is asked to write. A bit is written as the variable that holds it, so that must be read first.
    std::vector<RunChunk> writePlan() const;
    // The driver reads and writes no more words of a string than its array has elements, so strings in arrays are
    // transferred by address.
    bool isStringInArray() const { return isString(form) && rowExtent > 0; }

    // What the driver finds at a byte at or before the element, and how far before. Other than elementName() and 0 only for
    // strings of other lengths than 80 in arrays: the driver counts them by 81 bytes, so its elements are not those of the PLC.
    struct NearName {
        std::string name;
        int bytesBefore = 0;
    };
    NearName nearName(int element) const;
};

// Do two tags share a byte?
bool overlap(const std::vector<ByteRun>& a, const std::vector<ByteRun>& b);

// "[1..5]", "[0..2,1..3]"; empty without dimensions.
std::string boundsText(const std::vector<ArrayDimension>& dimensions);

class TagTable {
public:
    explicit TagTable(SymbolFile file) : catalog_(std::move(file)) {}

    const selection::Catalog& catalog() const { return catalog_; }
    const SymbolFile& file() const { return catalog_.file(); }
    // In file order.
    const std::vector<Leaf>& leaves() const { return catalog_.leaves(); }

    // Understands "Main.motor.speed", "Main.grid[2,3]", "Main.recipe[1..5]", "Main.recipe" (the whole of a
    // one-dimensional array), "Main.flags.b[3]", "Main.flags.3" and "Main.flags.b[0..7]". Nothing when there is no such thing; *error
    // then says what is wrong and which names are near.
    std::optional<Tag> find(const std::string& text, std::string* error) const;

private:
    std::optional<Tag> wholeArray(const std::string& text, const Leaf& leaf, std::string* error) const;
    std::optional<Tag> single(const std::string& text, std::string* error) const;
    std::optional<Tag> range(const std::string& text, const selection::TagRange& range, std::string* error) const;
    int rowExtentOf(const std::string& elementTag) const;
    void placeInArray(const std::string& elementTag, Tag* tag) const;

    selection::Catalog catalog_;
};

}  // namespace ac500::host

#endif
