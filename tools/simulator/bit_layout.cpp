#include "tools/simulator/bit_layout.h"

#include <algorithm>
#include <tuple>

namespace ac500::sim {

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

std::uint64_t extentOf(const Leaf& leaf) {
    const std::uint64_t elements = static_cast<std::uint64_t>(leaf.elementCount());
    const int width = leaf.code == TypeCode::Bit ? 1 : typeTraits(leaf.code)->widthBytes;
    return elements * static_cast<std::uint64_t>(width);
}

}  // namespace

BitLayout::BitLayout(const std::vector<Leaf>& leaves) {
    for (const Leaf& leaf : leaves) {
        const std::uint64_t begin = static_cast<std::uint64_t>(leaf.address);
        std::vector<Span>& spans = leaf.code == TypeCode::Bit ? bits_ : bytes_;
        spans.push_back({leaf.area, begin, begin + extentOf(leaf)});
    }
    normalise(bits_);
    normalise(bytes_);
}

bool BitLayout::isBitWrite(int area, std::uint64_t offset) const {
    return covers(bits_, area, offset) && !covers(bytes_, area, offset);
}

std::vector<Leaf> BitLayout::ambiguousBits(const std::vector<Leaf>& leaves) const {
    std::vector<Leaf> found;
    for (const Leaf& leaf : leaves) {
        if (leaf.code != TypeCode::Bit) {
            continue;
        }
        const std::uint64_t begin = static_cast<std::uint64_t>(leaf.address);
        const std::uint64_t end = begin + extentOf(leaf);
        const auto overlaps = [&](const Span& span) {
            return span.area == leaf.area && span.begin < end && begin < span.end;
        };
        if (std::any_of(bytes_.begin(), bytes_.end(), overlaps)) {
            found.push_back(leaf);
        }
    }
    return found;
}

bool BitLayout::covers(const std::vector<Span>& spans, int area, std::uint64_t address) {
    const Span wanted{area, address, address};
    const auto next = std::upper_bound(spans.begin(), spans.end(), wanted, startsBefore<Span>);
    if (next == spans.begin()) {
        return false;
    }
    const Span& candidate = *(next - 1);
    return candidate.area == area && address < candidate.end;
}

}  // namespace ac500::sim
