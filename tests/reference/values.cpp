#include "tests/reference/values.h"

#include <algorithm>

namespace reference {

namespace {

enum class Group { kBoolean, kByte, kWord, kDoubleWord, kLongWord, kString, kBit, kNone };

Group groupOf(int code) {
    switch (code) {
        case 1:
            return Group::kBoolean;
        case 2:
        case 14:
        case 15:
            return Group::kByte;
        case 3:
        case 4:
        case 16:
            return Group::kWord;
        case 5:
        case 6:
        case 7:
        case 17:
            return Group::kDoubleWord;
        case 8:
        case 9:
        case 18:
        case 21:
            return Group::kLongWord;
        case 10:
        case 11:
            return Group::kString;
        case 13:
            return Group::kBit;
        default:
            return Group::kNone;
    }
}

std::string zeros(std::int64_t count) {
    return std::string(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)), '\0');
}

// The key of the word that holds a bit, counted `index` bits after the bit address of a place or a record.
std::uint64_t wordKey(std::int32_t area, std::int32_t bitAddress, std::int64_t index) {
    const std::uint64_t bit = std::uint64_t{static_cast<std::uint32_t>(bitAddress)} + static_cast<std::uint64_t>(index);
    return (std::uint64_t{static_cast<std::uint32_t>(area)} << 32) | ((bit >> 4) * 2);
}

int bitInWord(std::int32_t bitAddress, std::int64_t index) {
    return static_cast<int>(
        (std::uint64_t{static_cast<std::uint32_t>(bitAddress)} + static_cast<std::uint64_t>(index)) & 15);
}

}  // namespace

std::uint64_t imageKey(std::int32_t area, std::int32_t address) {
    return (std::uint64_t{static_cast<std::uint32_t>(area)} << 32) | static_cast<std::uint32_t>(address);
}

int bytesWithBits(int typeCode) {
    switch (groupOf(typeCode)) {
        case Group::kByte:
            return 1;
        case Group::kWord:
            return 2;
        case Group::kDoubleWord:
            return 4;
        case Group::kLongWord:
            return 8;
        default:
            return 0;
    }
}

std::uint8_t Image::byteAt(std::uint64_t key) {
    return bytes_[key];
}

void Image::clearUnlessStarted(std::uint64_t key, int width) {
    if (bytes_.count(key) != 0) {
        return;
    }
    for (int i = 0; i < width; ++i) {
        bytes_[key + static_cast<std::uint64_t>(i)] = 0;
    }
}

std::string Image::readBits(const Place& place, std::int32_t count) {
    std::string out = zeros(count);
    const std::int64_t width = bytesWithBits(place.dataType);
    if (place.bitIndex >= 8 * width) {
        return out;
    }
    if (place.bitIndex < 0) {
        throw LeftOpen();
    }
    for (std::int64_t k = 0; k < count; ++k) {
        const std::int64_t bit = place.bitIndex + k;
        if (bit >= 8 * width) {
            break;
        }
        const std::uint64_t key = imageKey(place.area, place.address) + static_cast<std::uint64_t>(width - 1 - bit / 8);
        out[static_cast<std::size_t>(k)] = static_cast<char>((byteAt(key) >> (bit % 8)) & 1);
    }
    return out;
}

std::string Image::readReversed(const Place& place, std::int64_t elements, std::int64_t length, int width) {
    std::string out = zeros(length);
    for (std::int64_t e = 0; e < elements; ++e) {
        const std::uint64_t key = imageKey(place.area, place.address) + static_cast<std::uint64_t>(e * width);
        clearUnlessStarted(key, width);
        for (int i = 0; i < width; ++i) {
            out.at(static_cast<std::size_t>(e * width + i)) =
                static_cast<char>(byteAt(key + static_cast<std::uint64_t>(width - 1 - i)));
        }
    }
    return out;
}

std::string Image::read(const Place& place, std::int32_t count) {
    if (place.isBit == 1) {
        return readBits(place, count);
    }
    const std::int64_t n = count;
    const std::uint64_t base = imageKey(place.area, place.address);
    // How many of `requested` elements are there; a scalar is one.
    const auto limited = [&](std::int64_t requested) {
        return place.isArray != 0 ? std::min<std::int64_t>(requested, place.arrayCount) : std::int64_t{1};
    };
    if (n <= 0 && place.isArray == 0 && groupOf(place.dataType) != Group::kString &&
        groupOf(place.dataType) != Group::kNone) {
        throw LeftOpen();  // one element into no room
    }
    std::string out;
    switch (groupOf(place.dataType)) {
        case Group::kBoolean:
            out = zeros(n);
            for (std::int64_t i = 0; i < limited(n); ++i) {
                out.at(static_cast<std::size_t>(i)) = byteAt(base + static_cast<std::uint64_t>(i)) != 0 ? 1 : 0;
            }
            return out;
        case Group::kByte:
            out = zeros(2 * n);
            for (std::int64_t i = 0; i < limited(n); ++i) {
                out.at(static_cast<std::size_t>(i)) = static_cast<char>(byteAt(base + static_cast<std::uint64_t>(i)));
            }
            return out;
        case Group::kWord:
            return readReversed(place, limited(n), 2 * n, 2);
        case Group::kDoubleWord:
            return readReversed(place, limited((n + 1) / 2), (n + 1) / 2 * 4, 4);
        case Group::kLongWord:
            return readReversed(place, limited((n + 3) / 4), (n + 3) / 4 * 8, 8);
        case Group::kString:
            out = zeros(2 * n);
            for (std::size_t i = 0; i < out.size(); ++i) {
                out[i] = static_cast<char>(byteAt(base + i));
            }
            return out;
        case Group::kBit:
            out = zeros(n);
            for (std::int64_t i = 0; i < limited(n); ++i) {
                const std::uint64_t key = wordKey(place.area, place.address, i);
                clearUnlessStarted(key, 2);
                const int word = byteAt(key) * 256 + byteAt(key + 1);
                out.at(static_cast<std::size_t>(i)) = static_cast<char>((word >> bitInWord(place.address, i)) & 1);
            }
            return out;
        case Group::kNone:
            return zeros(2 * n);
    }
    return out;
}

void Image::store(const Variable& variable) {
    if (variable.dataType != 13) {
        std::size_t position = 0;
        storeReply(variable.data, &position, variable);
        return;
    }
    for (std::int64_t i = 0; i < variable.size; ++i) {
        const std::uint64_t key = wordKey(variable.area, variable.offset, i);
        clearUnlessStarted(key, 2);
        int word = byteAt(key) * 256 + byteAt(key + 1);
        const int mask = 1 << bitInWord(variable.offset, i);
        if (i < static_cast<std::int64_t>(variable.data.size()) && variable.data[static_cast<std::size_t>(i)] != 0) {
            word |= mask;
        } else {
            word &= ~mask;
        }
        bytes_[key + 1] = static_cast<std::uint8_t>(word % 256);
        bytes_[key] = static_cast<std::uint8_t>(word / 256);
    }
}

void Image::storeReply(const std::string& reply, std::size_t* position, const Variable& request) {
    const auto extended = static_cast<std::uint64_t>(std::int64_t{request.offset});
    const std::uint64_t base = (std::uint64_t{static_cast<std::uint32_t>(request.area)} << 32) | extended;
    for (std::int64_t j = 0; j < request.size; ++j) {
        std::uint8_t value = 0;
        if (*position < reply.size()) {
            value = static_cast<std::uint8_t>(reply[*position]);
            ++*position;
        }
        bytes_[base + static_cast<std::uint64_t>(j)] = value;
    }
}

std::string Image::wholeVariable(const Place& place, int bytes) {
    const std::uint64_t key = imageKey(place.area, place.address);
    clearUnlessStarted(key, bytes);
    std::string result;
    for (int i = 0; i < bytes; ++i) {
        result += static_cast<char>(byteAt(key + static_cast<std::uint64_t>(i)));
    }
    return result;
}

std::string payload(const Place& place, const std::string& in, std::int32_t count) {
    const Group group = groupOf(place.dataType);
    std::int64_t n = group == Group::kString ? count : 1;
    if (place.isArray != 0) {
        n = std::min(count, place.arrayCount);
    }
    const auto have = static_cast<std::int64_t>(in.size());
    // Elements of `width` bytes, each reversed, as long as the host's value holds them whole.
    const auto reversed = [&](std::int64_t elements, int width) {
        std::string out = zeros(elements * width);
        for (std::int64_t e = 0; e < elements && (e + 1) * width <= have; ++e) {
            for (int i = 0; i < width; ++i) {
                out[static_cast<std::size_t>(e * width + i)] = in[static_cast<std::size_t>(e * width + width - 1 - i)];
            }
        }
        return out;
    };
    std::string out;
    switch (group) {
        case Group::kBoolean:
        case Group::kBit:
            out = zeros(n);
            for (std::int64_t e = 0; e < n && e < have; ++e) {
                out[static_cast<std::size_t>(e)] = in[static_cast<std::size_t>(e)] != 0 ? 1 : 0;
            }
            return out;
        case Group::kByte:
            out = zeros(n);
            for (std::int64_t e = 0; e < n && 2 * e < have; ++e) {
                out[static_cast<std::size_t>(e)] = in[static_cast<std::size_t>(2 * e)];
            }
            return out;
        case Group::kWord:
            return reversed(n, 2);
        case Group::kDoubleWord:
            return reversed((n + 1) / 2, 4);
        case Group::kLongWord:
            return reversed((n + 3) / 4, 8);
        case Group::kString:
            out = zeros(2 * n);
            for (std::int64_t i = 0; i < 2 * n && i < have; ++i) {
                out[static_cast<std::size_t>(i)] = in[static_cast<std::size_t>(i)];
            }
            return out;
        case Group::kNone:
            return "";
    }
    return out;
}

void writeBits(const Place& place, const std::string& in, std::int32_t count, std::string* bytes) {
    const auto width = static_cast<std::int64_t>(bytes->size());
    if (place.bitIndex >= 8 * width) {
        return;
    }
    if (place.bitIndex < 0) {
        throw LeftOpen();
    }
    const std::int64_t m = std::min<std::int64_t>(count, static_cast<std::int64_t>(in.size()));
    for (std::int64_t j = 0; j < m && place.bitIndex + j < 8 * width; ++j) {
        const std::int64_t bit = place.bitIndex + j;
        char& target = (*bytes)[static_cast<std::size_t>(width - 1 - bit / 8)];
        const int mask = 1 << (bit % 8);
        target = static_cast<char>(in[static_cast<std::size_t>(j)] != 0 ? target | mask : target & ~mask);
    }
}

}  // namespace reference
