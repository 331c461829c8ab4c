#include "tools/simulator/element_value.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <fmt/format.h>

namespace ac500::sim {

namespace {

using wire::bigEndian;
using wire::fromBigEndian;

constexpr std::size_t kStringBytes = 81;  // 80 characters and a terminator

enum class Family { Boolean, Signed, Unsigned, Float, Double, Text };

Family familyOf(TypeCode code) {
    switch (code) {
        case TypeCode::Bool:
        case TypeCode::Bit:
            return Family::Boolean;
        case TypeCode::Sint:
        case TypeCode::Int:
        case TypeCode::Dint:
        case TypeCode::Lint:
            return Family::Signed;
        case TypeCode::Real:
            return Family::Float;
        case TypeCode::Lreal:
            return Family::Double;
        case TypeCode::String:
        case TypeCode::Cstring:
            return Family::Text;
        case TypeCode::Uint:
        case TypeCode::Udint:
        case TypeCode::Usint:
        case TypeCode::Byte:
        case TypeCode::Word:
        case TypeCode::Dword:
        case TypeCode::Lword:
        case TypeCode::Ulint:
        case TypeCode::Struct:
            break;
    }
    return Family::Unsigned;
}

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

Bytes floatBytes(float number) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    return bigEndian(bits, sizeof(bits));
}

Bytes doubleBytes(double number) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    return bigEndian(bits, sizeof(bits));
}

// A finite number beyond the range of a 32-bit float is limited: converting it would be undefined.
float limitedFloat(double number) {
    const double limit = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(number) ? std::fmin(std::fmax(number, -limit), limit) : number);
}

Bytes textBytes(const std::string& text) {
    Bytes bytes = text.substr(0, kStringBytes - 1);
    bytes.resize(kStringBytes, '\0');
    return bytes;
}

Bytes encode(TypeCode code, double number) {
    const double rounded = std::isnan(number) ? 0 : std::round(number);
    switch (familyOf(code)) {
        case Family::Boolean:
            return Bytes(1, rounded != 0 ? '\1' : '\0');
        case Family::Signed:
            return bigEndian(limitedSigned(rounded, widthOf(code) * 8), widthOf(code));
        case Family::Unsigned:
            return bigEndian(limitedUnsigned(rounded, widthOf(code) * 8), widthOf(code));
        case Family::Float:
            return floatBytes(limitedFloat(number));
        case Family::Double:
            return doubleBytes(number);
        case Family::Text:
            return textBytes(fmt::format("{}", number));
    }
    return Bytes();
}

double decodeSigned(const Bytes& bytes) {
    const std::size_t unused = 64 - bytes.size() * 8;
    return static_cast<double>(static_cast<std::int64_t>(fromBigEndian(bytes) << unused) >> unused);
}

double decodeFloat(const Bytes& bytes) {
    const std::uint32_t bits = static_cast<std::uint32_t>(fromBigEndian(bytes));
    float number = 0;
    std::memcpy(&number, &bits, sizeof(number));
    return static_cast<double>(number);
}

double decodeDouble(const Bytes& bytes) {
    const std::uint64_t bits = fromBigEndian(bytes);
    double number = 0;
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

double decode(TypeCode code, const Bytes& bytes) {
    switch (familyOf(code)) {
        case Family::Boolean:
        case Family::Unsigned:
            return static_cast<double>(fromBigEndian(bytes));
        case Family::Signed:
            return decodeSigned(bytes);
        case Family::Float:
            return decodeFloat(bytes);
        case Family::Double:
            return decodeDouble(bytes);
        case Family::Text:
            return std::strtod(bytes.c_str(), nullptr);
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

bool parseSigned(const std::string& text, std::size_t bits, Bytes* bytes) {
    const Digits digits = digitsOf(text);
    const bool negative = digits.base == 10 && text[0] == '-';
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(digits.begin, &end, digits.base);
    const long long limit = static_cast<long long>(~std::uint64_t{0} >> (65 - bits));
    *bytes = bigEndian(static_cast<std::uint64_t>(value), bits / 8);
    return errno == 0 && startsWithDigit(digits.begin + (negative ? 1 : 0)) && *end == '\0' && value <= limit &&
           value >= -limit - 1;
}

bool parseUnsigned(const std::string& text, std::size_t bits, Bytes* bytes) {
    const Digits digits = digitsOf(text);
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(digits.begin, &end, digits.base);
    *bytes = bigEndian(value, bits / 8);
    return errno == 0 && startsWithDigit(digits.begin) && *end == '\0' && value <= (~std::uint64_t{0} >> (64 - bits));
}

bool parseFloat(const std::string& text, double* number) {
    char* end = nullptr;
    *number = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// The bytes of a whole variable that is no boolean; false when `text` is no value of the type.
bool parseValue(TypeCode code, const std::string& text, Bytes* bytes) {
    double number = 0;
    switch (familyOf(code)) {
        case Family::Signed:
            return parseSigned(text, widthOf(code) * 8, bytes);
        case Family::Unsigned:
            return parseUnsigned(text, widthOf(code) * 8, bytes);
        case Family::Float:
        case Family::Double: {
            const bool good = parseFloat(text, &number);
            *bytes = encode(code, number);
            return good;
        }
        case Family::Text:
            *bytes = textBytes(text);
            return true;
        case Family::Boolean:
            break;
    }
    return false;
}

}  // namespace

ByteRun runOf(const Element& element) {
    if (element.code == TypeCode::Bit) {
        return PlcMemory::wordOfBit(element.area, element.address);
    }
    return {element.area, element.address, typeTraits(element.code)->widthBytes};
}

void writeNumber(PlcMemory& memory, const Element& element, double number) {
    if (isSingleBit(element)) {
        writeBit(memory, element, encode(TypeCode::Bool, number)[0] != '\0');
    } else {
        writeBytes(memory, element, encode(element.code, number));
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
    if (!parseValue(element.code, text, &bytes)) {
        return false;
    }
    writeBytes(memory, element, bytes);
    return true;
}

void copyValue(PlcMemory& memory, const Element& source, const Element& target) {
    if (source.code == target.code && !isSingleBit(source) && !isSingleBit(target)) {
        writeBytes(memory, target, memory.read(runOf(source)));
    } else {
        writeNumber(memory, target, readNumber(memory, source));
    }
}

}  // namespace ac500::sim
