// Are short rows of bytes equal? Most of what a record compares has a few bytes, a thousand times in a cycle: a call, of
// memcmp or of these, takes longer than what it does. So all is in place, and without a loop where there are few.
#ifndef AC500_TOOLS_RECORD_EQUAL_BYTES_H
#define AC500_TOOLS_RECORD_EQUAL_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ac500::record {

// The bits in which two words in memory differ.
template <typename Word>
[[gnu::always_inline]] inline Word differentBits(const char* a, const char* b) {
    Word left = 0;
    Word right = 0;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return static_cast<Word>(left ^ right);
}

// The bits in which the first two words of both differ.
template <typename Word>
[[gnu::always_inline]] inline Word differentBitsOfTwo(const char* a, const char* b) {
    return differentBits<Word>(a, b) | differentBits<Word>(a + sizeof(Word), b + sizeof(Word));
}

// Words at the end may overlap what was compared before. REQUIRES: at least one word.
template <typename Word>
[[gnu::always_inline]] inline bool areSameInWords(const char* a, const char* b, std::size_t size) {
    constexpr std::size_t kTwo = 2 * sizeof(Word);
    if (size <= kTwo) {
        const std::size_t last = size - sizeof(Word);
        return (differentBits<Word>(a, b) | differentBits<Word>(a + last, b + last)) == 0;
    }
    const std::size_t last = size - kTwo;
    for (std::size_t at = kTwo; at < last; at += kTwo) {
        if (differentBitsOfTwo<Word>(a + at, b + at) != 0) {
            return false;
        }
    }
    return (differentBitsOfTwo<Word>(a, b) | differentBitsOfTwo<Word>(a + last, b + last)) == 0;
}

[[gnu::always_inline]] inline bool areSameBytes(const char* a, const char* b, std::size_t size) {
    if (size >= sizeof(std::uint64_t)) {
        return areSameInWords<std::uint64_t>(a, b, size);
    }
    if (size >= sizeof(std::uint32_t)) {
        return (differentBits<std::uint32_t>(a, b) |
                differentBits<std::uint32_t>(a + size - sizeof(std::uint32_t), b + size - sizeof(std::uint32_t))) == 0;
    }
    if (size >= sizeof(std::uint16_t)) {
        return differentBits<std::uint16_t>(a, b) == 0 && a[size - 1] == b[size - 1];
    }
    return size == 0 || *a == *b;
}

[[gnu::always_inline]] inline bool areSameBytes(std::string_view a, std::string_view b) {
    return a.size() == b.size() && areSameBytes(a.data(), b.data(), a.size());
}

[[gnu::always_inline]] inline bool areSameTexts(std::u16string_view a, std::u16string_view b) {
    return a.size() == b.size() && areSameBytes(reinterpret_cast<const char*>(a.data()),
                                                reinterpret_cast<const char*>(b.data()), a.size() * sizeof(char16_t));
}

}  // namespace ac500::record

#endif
