#include "tools/host/plc_bytes.h"

#include <fmt/format.h>

#include <cstring>

namespace ac500::host {

namespace {

constexpr int kByteBits = 8;

std::string bigEndian(std::uint64_t number, int width) {
    std::string bytes;
    for (int i = width - 1; i >= 0; --i) {
        bytes += static_cast<char>(number >> (kByteBits * i) & 0xFF);
    }
    return bytes;
}

template <typename Number, typename Float>
std::uint64_t patternOf(Float value) {
    static_assert(sizeof(Number) == sizeof(Float));
    Number pattern = 0;
    std::memcpy(&pattern, &value, sizeof(pattern));
    return pattern;
}

std::string bytesOf(ValueForm form, const HostValue& value) {
    const int width = typeTraits(form.code)->widthBytes;
    if (const bool* truth = std::get_if<bool>(&value)) {
        return std::string(1, *truth ? '\1' : '\0');
    }
    if (const std::int64_t* number = std::get_if<std::int64_t>(&value)) {
        return bigEndian(static_cast<std::uint64_t>(*number), width);
    }
    if (const std::uint64_t* number = std::get_if<std::uint64_t>(&value)) {
        return bigEndian(*number, width);
    }
    if (const float* number = std::get_if<float>(&value)) {
        return bigEndian(patternOf<std::uint32_t>(*number), width);
    }
    if (const double* number = std::get_if<double>(&value)) {
        return bigEndian(patternOf<std::uint64_t>(*number), width);
    }
    return encodeForWrite(form, {value}).toStdString();
}

PlcBytes wholeVariable(const Tag& bits, const HostValues& values, HostValues all) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        all.at(static_cast<std::size_t>(bits.firstBit) + i) = values[i];
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        word |= std::uint64_t{std::get<bool>(all[i])} << i;
    }
    return {bits.area, bits.address, bigEndian(word, typeTraits(bits.form.code)->widthBytes)};
}

}  // namespace

std::vector<PlcBytes> plcBytes(const Tag& tag, const HostValues& values, const HostValues& bitsBefore) {
    if (tag.form.isBit) {
        return {wholeVariable(tag, values, bitsBefore)};
    }
    std::vector<PlcBytes> all;
    const std::vector<ByteRun> runs = tag.byteRuns();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::string bytes = bytesOf(tag.form, values[i]);
        if (isString(tag.form)) {
            all.push_back({tag.area, runs[i].address, bytes});
        } else if (all.empty()) {
            all.push_back({tag.area, tag.address, bytes});
        } else {
            all.back().bytes += bytes;
        }
    }
    return all;
}

std::string hexText(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += fmt::format("{}{:02X}", text.empty() ? "" : " ", static_cast<unsigned char>(byte));
    }
    return text;
}

}  // namespace ac500::host
