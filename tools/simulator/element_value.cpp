#include "tools/simulator/element_value.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include <fmt/format.h>

namespace ac500::sim {

using symbol_file::IntegerLimits;
using symbol_file::TypeCode;
using symbol_file::TypeKind;

namespace {

using wire::bigEndian;
using wire::fromBigEndian;

std::size_t widthOf(TypeCode code) {
    return static_cast<std::size_t>(typeTraits(code)->widthBytes);
}

// 2^exponent, exactly.
double power(std::size_t exponent) {
    return std::ldexp(1.0, static_cast<int>(exponent));
}

std::uint64_t limitedSigned(double number, std::size_t bits) {
    const double end = power(bits - 1);
    if (number >= end) {
        return (std::uint64_t{1} << (bits - 1)) - 1;
    }
    if (number <= -end) {
        return ~std::uint64_t{0} << (bits - 1);
    }
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
}

std::uint64_t limitedUnsigned(double number, std::size_t bits) {
    if (number >= power(bits)) {
        return ~std::uint64_t{0} >> (64 - bits);
    }
    return number <= 0 ? 0 : static_cast<std::uint64_t>(number);
}

// A finite number beyond the range of a 32-bit float is limited: converting it would be undefined.
float limitedFloat(double number) {
    const double limit = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(number) ? std::fmin(std::fmax(number, -limit), limit) : number);
}

Bytes encodeFloat(TypeCode code, double number) {
    return code == TypeCode::Real ? bigEndian(wire::bitCast<std::uint32_t>(limitedFloat(number)), sizeof(float))
                                  : bigEndian(wire::bitCast<std::uint64_t>(number), sizeof(double));
}

Bytes textBytes(const Element& element, const std::string& text) {
    const auto characters = static_cast<std::size_t>(element.stringCharacters);
    Bytes bytes = text.substr(0, characters);
    bytes.resize(characters + 1, '\0');
    return bytes;
}

Bytes encode(const Element& element, double number) {
    const TypeCode code = element.code;
    const double rounded = std::isnan(number) ? 0 : std::round(number);
    switch (kindOf(code)) {
        case TypeKind::Truth:
            return Bytes(1, rounded != 0 ? '\1' : '\0');
        case TypeKind::Signed:
            return bigEndian(limitedSigned(rounded, widthOf(code) * 8), widthOf(code));
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return bigEndian(limitedUnsigned(rounded, widthOf(code) * 8), widthOf(code));
        case TypeKind::Float:
            return encodeFloat(code, number);
        case TypeKind::Text:
            return textBytes(element, fmt::format("{}", number));
        case TypeKind::Structure:
            break;
    }
    return Bytes();
}

std::int64_t signedOf(const Bytes& bytes) {
    const std::size_t unused = 64 - bytes.size() * 8;
    return static_cast<std::int64_t>(fromBigEndian(bytes) << unused) >> unused;
}

double decodeSigned(const Bytes& bytes) {
    return static_cast<double>(signedOf(bytes));
}

// The Latin-1 characters of a PLC string.
std::string quoted(const Bytes& bytes) {
    std::string text;
    for (const char c : bytes.substr(0, bytes.find('\0'))) {
        const unsigned byte = static_cast<std::uint8_t>(c);
        if (c == '"' || c == '\\') {
            text += std::string("\\") + c;
        } else if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) {
            text += fmt::format("\\x{:02X}", byte);
        } else if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return '"' + text + '"';
}

double decodeFloat(const Bytes& bytes) {
    if (bytes.size() == sizeof(float)) {
        return static_cast<double>(wire::bitCast<float>(static_cast<std::uint32_t>(fromBigEndian(bytes))));
    }
    return wire::bitCast<double>(fromBigEndian(bytes));
}

double decode(TypeCode code, const Bytes& bytes) {
    switch (kindOf(code)) {
        case TypeKind::Truth:
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return static_cast<double>(fromBigEndian(bytes));
        case TypeKind::Signed:
            return decodeSigned(bytes);
        case TypeKind::Float:
            return decodeFloat(bytes);
        case TypeKind::Text:
            return std::strtod(bytes.c_str(), nullptr);
        case TypeKind::Structure:
            break;
    }
    return 0;
}

bool isSingleBit(const Element& element) {
    return element.code == TypeCode::Bit || element.bit >= 0;
}

// A bit of a variable: which byte holds it, counted from the variable's least significant end, and its mask there.
std::int64_t byteOfBit(const Element& element) {
    return element.address + typeTraits(element.code)->widthBytes - (element.bit / 8 + 1);
}

bool readBit(const PlcMemory& memory, const Element& element) {
    if (element.code == TypeCode::Bit) {
        return memory.bit(element.area, element.address);
    }
    const Bytes byte = memory.read({element.area, byteOfBit(element), 1});
    return ((static_cast<std::uint8_t>(byte[0]) >> (element.bit % 8)) & 1) != 0;
}

void writeBit(PlcMemory& memory, const Element& element, bool value) {
    if (element.code == TypeCode::Bit) {
        memory.setBit(element.area, element.address, value);
        return;
    }
    Bytes byte = memory.read({element.area, byteOfBit(element), 1});
    const unsigned mask = 1U << (element.bit % 8);
    const unsigned old = static_cast<std::uint8_t>(byte[0]);
    byte[0] = static_cast<char>(value ? old | mask : old & ~mask);
    memory.write(element.area, byteOfBit(element), byte);
}

void writeBytes(PlcMemory& memory, const Element& element, const Bytes& bytes) {
    memory.write(element.area, element.address, bytes);
}

bool parseBool(const std::string& text, bool* value) {
    *value = text == "TRUE" || text == "1";
    return *value || text == "FALSE" || text == "0";
}

// The digits of an integer text without their base prefix.
struct Digits {
    const char* begin;
    int base;
};

Digits digitsOf(const std::string& text) {
    const bool hexadecimal = text.compare(0, 3, "16#") == 0;
    return {text.c_str() + (hexadecimal ? 3 : 0), hexadecimal ? 16 : 10};
}

// strtoll and strtoull accept leading spaces, and a sign even after "16#" or for unsigned numbers.
bool startsWithDigit(const char* text) {
    return std::isxdigit(static_cast<unsigned char>(*text)) != 0;
}

bool parseSigned(const std::string& text, TypeCode code, Bytes* bytes) {
    const Digits digits = digitsOf(text);
    const bool negative = digits.base == 10 && text[0] == '-';
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(digits.begin, &end, digits.base);
    const IntegerLimits limits = integerLimits(code);
    *bytes = bigEndian(static_cast<std::uint64_t>(value), widthOf(code));
    return errno == 0 && startsWithDigit(digits.begin + (negative ? 1 : 0)) && *end == '\0' &&
           value >= limits.smallest && value <= static_cast<std::int64_t>(limits.largest);
}

bool parseUnsigned(const std::string& text, TypeCode code, Bytes* bytes) {
    const Digits digits = digitsOf(text);
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(digits.begin, &end, digits.base);
    *bytes = bigEndian(value, widthOf(code));
    return errno == 0 && startsWithDigit(digits.begin) && *end == '\0' && value <= integerLimits(code).largest;
}

bool parseFloat(const std::string& text, double* number) {
    char* end = nullptr;
    *number = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// The bytes of a whole variable that is no boolean; false when `text` is no value of the type.
bool parseValue(const Element& element, const std::string& text, Bytes* bytes) {
    const TypeCode code = element.code;
    double number = 0;
    switch (kindOf(code)) {
        case TypeKind::Signed:
            return parseSigned(text, code, bytes);
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return parseUnsigned(text, code, bytes);
        case TypeKind::Float: {
            const bool good = parseFloat(text, &number);
            *bytes = encode(element, number);
            return good;
        }
        case TypeKind::Text:
            *bytes = textBytes(element, text);
            return true;
        case TypeKind::Truth:
        case TypeKind::Structure:
            break;
    }
    return false;
}

}  // namespace

ByteRun runOf(const Element& element) {
    if (element.code == TypeCode::Bit) {
        return PlcMemory::wordOfBit(element.area, element.address);
    }
    return {element.area, element.address, elementBytes(element.code, element.stringCharacters)};
}

void writeNumber(PlcMemory& memory, const Element& element, double number) {
    if (isSingleBit(element)) {
        writeBit(memory, element, !std::isnan(number) && std::round(number) != 0);
    } else {
        writeBytes(memory, element, encode(element, number));
    }
}

double readNumber(const PlcMemory& memory, const Element& element) {
    if (isSingleBit(element)) {
        return readBit(memory, element) ? 1 : 0;
    }
    return decode(element.code, memory.read(runOf(element)));
}

bool writeText(PlcMemory& memory, const Element& element, const std::string& text) {
    Bytes bytes;
    bool truth = false;
    if (isSingleBit(element) || element.code == TypeCode::Bool) {
        if (!parseBool(text, &truth)) {
            return false;
        }
        writeNumber(memory, element, truth ? 1 : 0);
        return true;
    }
    if (!parseValue(element, text, &bytes)) {
        return false;
    }
    writeBytes(memory, element, bytes);
    return true;
}

std::string valueText(const PlcMemory& memory, const Element& element) {
    if (isSingleBit(element)) {
        return readBit(memory, element) ? "TRUE" : "FALSE";
    }
    const Bytes bytes = memory.read(runOf(element));
    switch (kindOf(element.code)) {
        case TypeKind::Truth:
            return fromBigEndian(bytes) != 0 ? "TRUE" : "FALSE";
        case TypeKind::Signed:
            return std::to_string(signedOf(bytes));
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return std::to_string(fromBigEndian(bytes));
        case TypeKind::Float:
            return bytes.size() == sizeof(float) ? fmt::format("{}", static_cast<float>(decodeFloat(bytes)))
                                                 : fmt::format("{}", decodeFloat(bytes));
        case TypeKind::Text:
            return quoted(bytes);
        case TypeKind::Structure:
            break;
    }
    return std::string();
}

void copyValue(PlcMemory& memory, const Element& source, const Element& target) {
    if (source.code != target.code || isSingleBit(source) || isSingleBit(target)) {
        writeNumber(memory, target, readNumber(memory, source));
        return;
    }
    const Bytes bytes = memory.read(runOf(source));
    const bool isText = kindOf(source.code) == TypeKind::Text;
    writeBytes(memory, target, isText ? textBytes(target, bytes) : bytes);
}

}  // namespace ac500::sim
