#include "tools/symbol_file/wireshark_map.h"

namespace ac500::symbol_file {

namespace {

constexpr char kHeader[] = "ac500-wireshark-map 1\n";

std::string cell(const std::string& text) {
    return '\t' + text;
}

std::string boundsOf(const Leaf& leaf) {
    std::string bounds;
    for (const ArrayDimension& dimension : leaf.dimensions) {
        bounds +=
            (bounds.empty() ? "" : ",") + std::to_string(dimension.lower) + ".." + std::to_string(dimension.upper);
    }
    return bounds;
}

// With the length of strings, also of those that symbol files need not give one.
std::string typeOf(const Leaf& leaf) {
    const TypeTraits* traits = typeTraits(leaf.code);
    return traits->kind == TypeKind::Text
               ? std::string(traits->name) + "(" + std::to_string(leaf.stringCharacters) + ")"
               : traits->name;
}

std::string notesOf(const ValueNotes& notes) {
    std::string cells = cell(notes.unit);
    cells += cell(notes.scale ? notes.scale->factor.text : "");
    cells += cell(notes.scale ? notes.scale->offset.text : "");
    for (const NamedValue& named : notes.names) {
        cells += cell(toText(named.value) + "=" + named.name);
    }
    return cells;
}

std::string lineOf(const Leaf& leaf) {
    const char* unit = leaf.code == TypeCode::Bit ? "bit" : "byte";
    return std::to_string(leaf.area) + cell(unit) + cell(std::to_string(leaf.address)) + cell(typeOf(leaf)) +
           cell(boundsOf(leaf)) + cell(leaf.tag) + (leaf.notes ? notesOf(*leaf.notes) : "") + '\n';
}

}  // namespace

std::string wiresharkMap(const SymbolFile& file) {
    std::string map = kHeader;
    for (const Leaf& leaf : listLeaves(file)) {
        map += lineOf(leaf);
    }
    return map;
}

}  // namespace ac500::symbol_file
