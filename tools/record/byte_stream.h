// Numbers and texts as a record has them: integers in groups of seven bits, the lowest group first and with the top bit set
// in all but the last; signed ones folded (0, -1, 1, -2 ... become 0, 1, 2, 3 ...); numbers of fixed width with the lowest
// byte first. Nothing depends on the machine.
#ifndef AC500_TOOLS_RECORD_BYTE_STREAM_H
#define AC500_TOOLS_RECORD_BYTE_STREAM_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ac500::record {

inline void putU8(std::string& to, unsigned value) {
    to.push_back(static_cast<char>(static_cast<unsigned char>(value)));
}

template <typename Unsigned>
void putFixed(std::string& to, Unsigned value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        putU8(to, static_cast<unsigned>((value >> (8 * i)) & 0xFF));
    }
}

// Numbers that are appended together: a call for each byte takes longer than all the rest.
template <std::size_t mostNumbers>
class NumberRow {
public:
    void add(std::uint64_t value) {
        while (value >= 0x80) {
            bytes_[size_++] = static_cast<char>(static_cast<unsigned char>(value | 0x80U));
            value >>= 7;
        }
        bytes_[size_++] = static_cast<char>(value);
    }
    std::string_view bytes() const { return {bytes_.data(), size_}; }

private:
    static constexpr std::size_t kLongestNumber = 10;

    std::array<char, kLongestNumber * mostNumbers> bytes_;
    std::size_t size_ = 0;
};

inline void putNumber(std::string& to, std::uint64_t value) {
    NumberRow<1> row;
    row.add(value);
    to.append(row.bytes());
}

inline std::uint64_t folded(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    return value < 0 ? ~(bits << 1) : bits << 1;
}

inline std::int64_t unfolded(std::uint64_t value) {
    const std::uint64_t bits = (value & 1) != 0 ? ~(value >> 1) : value >> 1;
    return static_cast<std::int64_t>(bits);
}

inline void putSigned(std::string& to, std::int64_t value) {
    putNumber(to, folded(value));
}

// The same as each by itself.
template <std::size_t count>
void putSignedRow(std::string& to, const std::array<std::int32_t, count>& values) {
    NumberRow<count> row;
    for (const std::int32_t value : values) {
        row.add(folded(value));
    }
    to.append(row.bytes());
}

inline void putBytes(std::string& to, std::string_view bytes) {
    putNumber(to, bytes.size());
    to.append(bytes);
}

inline void putText(std::string& to, std::u16string_view text) {
    constexpr std::size_t kUnitsOfRow = 32;
    putNumber(to, text.size());
    while (!text.empty()) {
        NumberRow<kUnitsOfRow> row;
        for (const char16_t unit : text.substr(0, kUnitsOfRow)) {
            row.add(unit);
        }
        to.append(row.bytes());
        text.remove_prefix(std::min(text.size(), kUnitsOfRow));
    }
}

// Takes a row of bytes apart from the front. What is not there fails the source for good: it then yields zeros and empty
// texts, and whoever reads asks once, at the end, whether that happened.
class ByteSource {
public:
    // The bytes must outlive the source.
    explicit ByteSource(std::string_view bytes) : rest_(bytes) {}

    bool failed() const { return failed_; }
    void fail() {
        failed_ = true;
        rest_ = {};
    }
    std::size_t left() const { return rest_.size(); }
    bool atEnd() const { return rest_.empty(); }

    unsigned u8() {
        const std::string_view byte = take(1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
    }

    template <typename Unsigned>
    Unsigned fixed() {
        Unsigned value = 0;
        for (std::size_t i = 0; i < sizeof value; ++i) {
            value = static_cast<Unsigned>(value | static_cast<Unsigned>(static_cast<Unsigned>(u8()) << (8 * i)));
        }
        return value;
    }

    std::uint64_t number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const unsigned byte = u8();
            if (shift == 63 && byte > 1) {
                break;
            }
            value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
            if ((byte & 0x80) == 0) {
                return failed_ ? 0 : value;
            }
        }
        fail();
        return 0;
    }

    // A number that must be at most `largest`.
    std::uint64_t numberUpTo(std::uint64_t largest) {
        const std::uint64_t value = number();
        if (value > largest) {
            fail();
            return 0;
        }
        return value;
    }
    std::uint32_t u32() { return static_cast<std::uint32_t>(numberUpTo(0xFFFFFFFFU)); }

    std::int64_t signedNumber() { return unfolded(number()); }
    std::int32_t i32() {
        const std::int64_t value = signedNumber();
        if (value < INT32_MIN || value > INT32_MAX) {
            fail();
            return 0;
        }
        return static_cast<std::int32_t>(value);
    }

    // A count of things that take at least one byte each, so that there cannot be more of them than bytes.
    std::size_t count() { return static_cast<std::size_t>(numberUpTo(left())); }

    std::string_view take(std::size_t wanted) {
        if (wanted > rest_.size()) {
            fail();
            return {};
        }
        const std::string_view taken = rest_.substr(0, wanted);
        rest_.remove_prefix(wanted);
        return taken;
    }
    std::string_view bytes() { return take(count()); }

    std::u16string text() {
        const std::size_t units = count();
        std::u16string text;
        text.reserve(units);
        for (std::size_t i = 0; i < units && !failed_; ++i) {
            text.push_back(static_cast<char16_t>(numberUpTo(0xFFFF)));
        }
        return text;
    }

private:
    std::string_view rest_;
    bool failed_ = false;
};

}  // namespace ac500::record

#endif
