// Catalog is all that a symbol file offers, found by name at once: values, elements, and the names that are near a wrong
// one. Immutable and safe to share between threads.
#ifndef AC500_TOOLS_SELECTION_CATALOG_H
#define AC500_TOOLS_SELECTION_CATALOG_H

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/symbol_file/name_index.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::selection {

class Catalog {
public:
    explicit Catalog(symbol_file::SymbolFile file);
    Catalog(const Catalog&) = delete;
    Catalog& operator=(const Catalog&) = delete;
    Catalog(Catalog&&) = default;
    Catalog& operator=(Catalog&&) = default;

    const symbol_file::SymbolFile& file() const { return file_; }
    // In file order.
    const std::vector<symbol_file::Leaf>& leaves() const { return leaves_; }

    // A scalar or a whole array by its name without index; null when there is none.
    const symbol_file::Leaf* leafNamed(std::string_view tag) const;
    // The variable that an element, a bit, or a range of them belongs to; itself for a leaf. REQUIRES: isTag()
    const symbol_file::Leaf* leafHolding(const std::string& tag) const;
    // One element or bit by its concrete tag. On failure *reason says why.
    std::optional<symbol_file::Element> element(const std::string& tag, std::string* reason) const;
    // Is this a leaf, an element, a bit, or a range of them? On failure *reason says why not.
    bool isTag(const std::string& text, std::string* reason) const;

    // Is it an element or a bit of a variable that there is, but outside its bounds?
    bool isOutOfBounds(const std::string& tag) const;

    // Why a tag does not resolve, and which names are near. Compares it with every name that there is, so it takes its
    // time with a large file. REQUIRES: isTag() is false.
    std::string explain(const std::string& text) const;

private:
    // What to write in place of `text`, of which the element `tag` does not exist.
    std::string remedyFor(const std::string& tag, const std::string& text) const;

    symbol_file::SymbolFile file_;
    symbol_file::NameIndex index_;
    std::vector<symbol_file::Leaf> leaves_;
    std::unordered_map<std::string_view, std::size_t> leafByTag_;
};

// "Main.grid[2,3]" without the indices at its end: "Main.grid".
std::string withoutIndices(const std::string& tag);

}  // namespace ac500::selection

#endif
