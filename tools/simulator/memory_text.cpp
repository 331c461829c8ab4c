#include "tools/simulator/memory_text.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

namespace ac500::sim {

using symbol_file::TypeCode;
using symbol_file::TypeKind;

namespace {

constexpr std::int64_t kMostElements = 12;
constexpr int kBitsPerWord = 16;

// What an address of a BIT variable counts, and what that of any other counts.
std::int64_t unitsOf(const Leaf& leaf) {
    return leaf.code == TypeCode::Bit ? 1 : elementBytes(leaf.code, leaf.stringCharacters);
}

// "Main.grid" and element 7 of [0..3,1..6] is "Main.grid[1,2]".
std::string elementTag(const Leaf& leaf, std::int64_t element) {
    std::string indices;
    for (std::size_t d = leaf.dimensions.size(); d-- > 0;) {
        const std::int64_t count = leaf.dimensions[d].count();
        const std::int64_t index = leaf.dimensions[d].lower + element % count;
        element /= count;
        indices = std::to_string(index) + (indices.empty() ? "" : ",") + indices;
    }
    return indices.empty() ? leaf.tag : leaf.tag + "[" + indices + "]";
}

// Addresses [begin, end) in the units of a leaf.
struct Range {
    std::int64_t begin;
    std::int64_t end;
};

// The bits in the bytes of a run. Within a word the second byte holds the lower bits, so a run of odd bytes is widened to
// whole words.
Range bitsIn(const ByteRun& run) {
    const std::int64_t firstWord = run.address / 2;
    const std::int64_t endWord = (run.address + run.size + 1) / 2;
    return {firstWord * kBitsPerWord, endWord * kBitsPerWord};
}

std::string placeOf(const TouchedRun& touched) {
    const ByteRun& run = touched.run;
    if (touched.isBit) {
        return fmt::format("area {}, bit {}", run.area, run.address);
    }
    return run.size == 0 ? fmt::format("area {}, no bytes", run.area)
                         : fmt::format("area {}, bytes {} to {}", run.area, run.address, run.address + run.size - 1);
}

std::optional<Range> rangeFor(const Leaf& leaf, const TouchedRun& touched) {
    const bool isBit = leaf.code == TypeCode::Bit;
    if (leaf.area != touched.run.area || (touched.isBit && !isBit)) {
        return std::nullopt;
    }
    if (touched.isBit) {
        return Range{touched.run.address, touched.run.address + 1};
    }
    return isBit ? bitsIn(touched.run) : Range{touched.run.address, touched.run.address + touched.run.size};
}

class Listing {
public:
    explicit Listing(const PlcMemory& memory) : memory_(memory) {}

    // Adds the elements of the leaf that the range touches. Are there any?
    bool add(const Leaf& leaf, const Range& range) {
        const std::int64_t units = unitsOf(leaf);
        const std::int64_t first = std::max<std::int64_t>(0, range.begin - leaf.address) / units;
        const std::int64_t end =
            std::min<std::int64_t>(leaf.elementCount(), (range.end - leaf.address + units - 1) / units);
        for (std::int64_t i = first; i < end; ++i) {
            const std::int64_t address = leaf.address + i * units;
            const std::int64_t used = kindOf(leaf.code) == TypeKind::Text ? leaf.stringCharacters : units;
            if (listed_ == kMostElements) {
                more_ += end - i;
                return true;
            }
            ++listed_;
            const bool isWhole = address >= range.begin && address + used <= range.end;
            append(fmt::format("{} = {}{}", elementTag(leaf, i), valueText(memory_, elementAt(leaf, address)),
                               isWhole ? "" : " (part)"));
        }
        return first < end;
    }

    void append(const std::string& text) { text_ += (text_.empty() ? "" : ", ") + text; }

    std::string text() const { return more_ == 0 ? text_ : fmt::format("{} and {} more", text_, more_); }

private:
    static Element elementAt(const Leaf& leaf, std::int64_t address) {
        Element element;
        element.code = leaf.code;
        element.area = leaf.area;
        element.address = address;
        element.stringCharacters = leaf.stringCharacters;
        return element;
    }

    const PlcMemory& memory_;
    std::string text_;
    std::int64_t listed_ = 0;
    std::int64_t more_ = 0;
};

}  // namespace

std::string MemoryText::describe(const PlcMemory& memory, const std::vector<TouchedRun>& touched) const {
    Listing listing(memory);
    for (const TouchedRun& each : touched) {
        bool isNamed = false;
        for (const Leaf& leaf : leaves_) {
            const std::optional<Range> range = rangeFor(leaf, each);
            isNamed = (range && range->begin < range->end && listing.add(leaf, *range)) || isNamed;
        }
        if (!isNamed) {
            listing.append(placeOf(each));
        }
    }
    return listing.text();
}

}  // namespace ac500::sim
