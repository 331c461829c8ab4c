#include "tools/host/target_overlap.h"

#include <algorithm>
#include <cstdint>

namespace ac500::host {

namespace {

constexpr int kBitsPerByte = 8;
constexpr int kWordBytes = 2;

// Bits of an area, counted through its bytes: [begin, end).
struct BitRun {
    int area = 0;
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::size_t target = 0;
};

// Numbers are big-endian in the PLC: bit 0 is the lowest of the last byte.
std::int64_t positionOfBit(std::int64_t address, int widthBytes, int bit) {
    return (address + widthBytes - 1 - bit / kBitsPerByte) * kBitsPerByte + bit % kBitsPerByte;
}

std::int64_t positionOfElement(const Tag& tag, int element) {
    if (tag.form.isBit) {
        return positionOfBit(tag.address, typeTraits(tag.form.code)->widthBytes, tag.firstBit + element);
    }
    // A BIT variable stands in the word that its bit address names.
    constexpr int kWordBits = kWordBytes * kBitsPerByte;
    const std::int64_t bit = tag.address + element;
    return positionOfBit(bit / kWordBits * kWordBytes, kWordBytes, static_cast<int>(bit % kWordBits));
}

void addRunsOf(const Tag& tag, std::size_t target, std::vector<BitRun>* runs) {
    if (tag.form.isBit || tag.form.code == TypeCode::Bit) {
        for (int i = 0; i < tag.elements; ++i) {
            const std::int64_t position = positionOfElement(tag, i);
            runs->push_back({tag.area, position, position + 1, target});
        }
        return;
    }
    for (const ByteRun& run : tag.byteRuns()) {
        runs->push_back({run.area, run.address * kBitsPerByte, (run.address + run.size) * kBitsPerByte, target});
    }
}

}  // namespace

std::optional<TargetOverlap> findOverlap(const std::vector<Tag>& targets) {
    std::vector<BitRun> runs;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        addRunsOf(targets[i], i, &runs);
    }
    std::sort(runs.begin(), runs.end(), [](const BitRun& a, const BitRun& b) {
        return a.area < b.area || (a.area == b.area && a.begin < b.begin);
    });
    // The runs of one target keep apart, so the run that reaches farthest so far is met by another target's or by none.
    std::size_t farthest = 0;
    for (std::size_t i = 1; i < runs.size(); ++i) {
        if (runs[i].area == runs[farthest].area && runs[i].begin < runs[farthest].end) {
            return TargetOverlap{std::min(runs[farthest].target, runs[i].target),
                                 std::max(runs[farthest].target, runs[i].target)};
        }
        farthest = i;
    }
    return std::nullopt;
}

}  // namespace ac500::host
