#include "tools/simulator/bit_layout.h"

#include <algorithm>
#include <tuple>

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

template <class Span>
bool startsBefore(const Span& left, const Span& right) {
    return std::tie(left.area, left.begin) < std::tie(right.area, right.begin);
}

// Sorts and merges what touches or overlaps, so that a search may look at one span only.
template <class Span>
void normalise(std::vector<Span>& spans) {
    std::sort(spans.begin(), spans.end(), startsBefore<Span>);
    std::vector<Span> merged;
    for (const Span& span : spans) {
        if (!merged.empty() && merged.back().area == span.area && span.begin <= merged.back().end) {
            merged.back().end = std::max(merged.back().end, span.end);
        } else {
            merged.push_back(span);
        }
    }
    spans.swap(merged);
}

std::int64_t extentOf(const Leaf& leaf) {
    const int width = leaf.code == TypeCode::Bit ? 1 : elementBytes(leaf.code, leaf.stringCharacters);
    return std::int64_t{leaf.elementCount()} * width;
}

}  // namespace

BitLayout::BitLayout(const std::vector<Leaf>& leaves) {
    for (const Leaf& leaf : leaves) {
        std::vector<Span>& spans = leaf.code == TypeCode::Bit ? bits_ : bytes_;
        spans.push_back({leaf.area, leaf.address, leaf.address + extentOf(leaf)});
    }
    normalise(bits_);
    normalise(bytes_);
}

bool BitLayout::isBitWrite(int area, std::int64_t address) const {
    return covers(bits_, area, address) && !covers(bytes_, area, address);
}

std::vector<Leaf> BitLayout::ambiguousBits(const std::vector<Leaf>& leaves) const {
    std::vector<Leaf> found;
    for (const Leaf& leaf : leaves) {
        if (leaf.code != TypeCode::Bit) {
            continue;
        }
        const std::int64_t end = leaf.address + extentOf(leaf);
        const auto overlaps = [&](const Span& span) {
            return span.area == leaf.area && span.begin < end && leaf.address < span.end;
        };
        if (std::any_of(bytes_.begin(), bytes_.end(), overlaps)) {
            found.push_back(leaf);
        }
    }
    return found;
}

bool BitLayout::covers(const std::vector<Span>& spans, int area, std::int64_t address) {
    const Span wanted{area, address, address};
    const auto next = std::upper_bound(spans.begin(), spans.end(), wanted, startsBefore<Span>);
    if (next == spans.begin()) {
        return false;
    }
    const Span& candidate = *(next - 1);
    return candidate.area == area && address < candidate.end;
}

}  // namespace ac500::sim
