#include "tools/host/bit_check.h"

#include <fmt/format.h>

namespace ac500::host {

namespace {

std::uint64_t wordOf(const HostValues& bits) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < bits.size(); ++i) {
        word |= std::uint64_t{std::get<bool>(bits[i])} << i;
    }
    return word;
}

}  // namespace

Tag allBitsOf(const Tag& bits) {
    Tag all = bits;
    all.isList = true;
    all.isIndexed = true;
    all.firstIndex = 0;
    all.firstBit = 0;
    all.elements = 8 * typeTraits(bits.form.code)->widthBytes;
    all.prefix = bits.prefix.substr(0, bits.prefix.rfind('[') + 1);
    all.text = fmt::format("{}0..{}]", all.prefix, all.elements - 1);
    return all;
}

std::uint64_t maskOf(const Tag& bits) {
    std::uint64_t mask = 0;
    for (int i = 0; i < bits.elements; ++i) {
        mask |= std::uint64_t{1} << (bits.firstBit + i);
    }
    return mask;
}

BitCheck checkBits(const BitWrite& write) {
    const std::uint64_t before = wordOf(write.before);
    const std::uint64_t after = wordOf(write.after);
    const std::uint64_t mask = maskOf(write.tag);
    BitCheck check;
    check.isInPlc = (after & mask) == wordOf(write.written) << write.tag.firstBit;
    check.isAlone = ((before ^ after) & ~write.ours) == 0;

    const int digits = 2 * typeTraits(write.tag.form.code)->widthBytes;
    const std::string change =
        fmt::format("the variable was 0x{:0{}X} before the write and is 0x{:0{}X} now", before, digits, after, digits);
    if (!check.isInPlc) {
        const HostValues inPlc(write.after.begin() + write.tag.firstBit,
                               write.after.begin() + write.tag.firstBit + write.tag.elements);
        check.text =
            fmt::format("{} was written, but the PLC has {}; {}: {}", formatValues(write.tag.form, write.written),
                        formatValues(write.tag.form, inPlc), change,
                        check.isAlone ? "its program may have changed it back, or another panel wrote the "
                                        "variable at the same time"
                                      : "another panel, or the PLC's program, wrote the variable at the same "
                                        "time and took it back");
    } else if (!check.isAlone) {
        check.text = fmt::format(
            "written, but other bits changed meanwhile: {}; another panel, or the PLC's program, "
            "writes the same variable",
            change);
    }
    return check;
}

}  // namespace ac500::host
