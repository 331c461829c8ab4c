#include "tools/desk/element_places.h"

#include <algorithm>
#include <vector>

namespace ac500::desk {

using symbol_file::ArrayDimension;
using symbol_file::Leaf;
using symbol_file::TypeCode;

namespace {

using Indices = std::vector<int>;

std::string indicesText(const Indices& indices) {
    std::string text;
    for (const int index : indices) {
        text += (text.empty() ? "[" : ",") + std::to_string(index);
    }
    return text + "]";
}

Indices indicesAt(const Leaf& leaf, std::int64_t element) {
    Indices indices(leaf.dimensions.size());
    for (std::size_t i = indices.size(); i-- > 0;) {
        const ArrayDimension& dimension = leaf.dimensions[i];
        indices[i] = static_cast<int>(dimension.lower + element % dimension.count());
        element /= dimension.count();
    }
    return indices;
}

// From the beginning of the array, in the unit of its address.
std::int64_t distanceOf(const Leaf& leaf, const Indices& indices) {
    std::int64_t element = 0;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        element = element * leaf.dimensions[i].count() + indices[i] - leaf.dimensions[i].lower;
    }
    return element * (leaf.code == TypeCode::Bit ? 1 : elementBytes(leaf.code, leaf.stringCharacters));
}

// Enough elements of those that both arrays have to tell whether all keep their distance: a distance grows evenly with each
// index, so that the first and its next neighbours do. None: the arrays share no name.
std::vector<Indices> telling(const Leaf& before, const Leaf& after) {
    if (before.dimensions.size() != after.dimensions.size()) {
        return {};
    }
    Indices first;
    std::vector<std::size_t> wide;
    for (std::size_t i = 0; i < before.dimensions.size(); ++i) {
        const int lower = std::max(before.dimensions[i].lower, after.dimensions[i].lower);
        const int upper = std::min(before.dimensions[i].upper, after.dimensions[i].upper);
        if (lower > upper) {
            return {};
        }
        first.push_back(lower);
        if (lower < upper) {
            wide.push_back(i);
        }
    }
    std::vector<Indices> all{first};
    for (auto i = wide.rbegin(); i != wide.rend(); ++i) {
        all.push_back(first);
        ++all.back()[*i];
    }
    return all;
}

}  // namespace

std::string elementsName(const Leaf& leaf, std::int64_t first, std::int64_t last) {
    if (leaf.dimensions.empty()) {
        return leaf.tag;
    }
    const int row = leaf.dimensions.back().count();
    if (first / row != last / row) {
        return leaf.tag;
    }
    std::string text = indicesText(indicesAt(leaf, first));
    if (first != last) {
        text.insert(text.size() - 1, ".." + std::to_string(indicesAt(leaf, last).back()));
    }
    return leaf.tag + text;
}

std::optional<ShiftedElement> firstShifted(const Leaf& before, const Leaf& after) {
    for (const Indices& indices : telling(before, after)) {
        const std::int64_t old = distanceOf(before, indices);
        const std::int64_t now = distanceOf(after, indices);
        if (old != now) {
            return ShiftedElement{indicesText(indices), before.address + old, after.address + now};
        }
    }
    return std::nullopt;
}

bool elementsStay(const Leaf& before, const Leaf& after) {
    const bool isSameMemory =
        before.area == after.area && (before.code == TypeCode::Bit) == (after.code == TypeCode::Bit);
    if (before.dimensions.size() != after.dimensions.size()) {
        return isSameMemory && before.address == after.address;
    }
    const std::vector<Indices> both = telling(before, after);
    return isSameMemory && !both.empty() && std::all_of(both.begin(), both.end(), [&](const Indices& indices) {
               return before.address + distanceOf(before, indices) == after.address + distanceOf(after, indices);
           });
}

}  // namespace ac500::desk
