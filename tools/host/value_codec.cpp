#include "tools/host/value_codec.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "tools/host/latin1.h"
#include "tools/text/iec_literal.h"
#include "tools/text/text.h"
#include "tools/wire/big_endian.h"

namespace ac500::host {

using symbol_file::IntegerLimits;
using symbol_file::TypeKind;

namespace {

int widthOf(ValueForm form) {
    return typeTraits(form.code)->widthBytes;
}

// ---------------------------------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------------------------------

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    const auto last = text.find_last_not_of(" \t");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// Cuts at commas outside quotes.
std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> parts(1);
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && quoted && i + 1 < text.size()) {
            parts.back() += text[i++];
        } else if (text[i] == '"') {
            quoted = !quoted;
        } else if (text[i] == ',' && !quoted) {
            parts.emplace_back();
            continue;
        }
        parts.back() += text[i];
    }
    return parts;
}

std::optional<HostValue> parseBoolean(const std::string& text, std::string* error) {
    const std::string word = text::lowerCase(text);
    if (word == "true" || word == "1") {
        return true;
    }
    if (word == "false" || word == "0") {
        return false;
    }
    *error = fmt::format("\"{}\" is no boolean; write TRUE, FALSE, 1 or 0", text);
    return std::nullopt;
}

// How far a number may be from 0.
std::uint64_t largestMagnitude(IntegerLimits limits, bool negative) {
    return negative ? ~static_cast<std::uint64_t>(limits.smallest) + 1 : limits.largest;
}

std::optional<HostValue> parseInteger(ValueForm form, const std::string& text, std::string* error) {
    const IntegerLimits limits = integerLimits(form.code);
    text::WholeNumber number;
    const text::Digits digits = text::parseWholeNumber(text, &number);
    if (digits == text::Digits::NotANumber) {
        *error = fmt::format("\"{}\" is no whole number; write it as 31, 16#1F, 2#1_1111 or 0x1F", text);
        return std::nullopt;
    }
    if (digits == text::Digits::TooLarge || number.magnitude > largestMagnitude(limits, number.negative)) {
        *error = fmt::format("{} is out of range; {} goes from {} to {}", text, typeTraits(form.code)->name,
                             limits.smallest, limits.largest);
        return std::nullopt;
    }
    if (kindOf(form.code) != TypeKind::Signed) {
        return number.magnitude;
    }
    return static_cast<std::int64_t>(number.negative ? ~number.magnitude + 1 : number.magnitude);
}

std::optional<HostValue> parseTime(ValueForm form, const std::string& text, std::string* error) {
    const text::TimeKind kind = *timeKindOf(form.code);
    if (const std::optional<std::uint32_t> value = text::parseTimeLiteral(kind, text)) {
        return std::uint64_t{*value};
    }
    const bool beginsAsNumber = !text.empty() && text[0] >= '0' && text[0] <= '9';
    text::WholeNumber number;
    if (beginsAsNumber &&
        (text.find('#') == std::string::npos || text::parseWholeNumber(text, &number) != text::Digits::NotANumber)) {
        return parseInteger(form, text, error);
    }
    *error = fmt::format("\"{}\" is no {}; write it as {}", text, typeTraits(form.code)->name,
                         text::timeLiteralExample(kind));
    return std::nullopt;
}

template <typename Float>
std::optional<HostValue> parseFloat(const std::string& text, const char* typeName, std::string* error) {
    Float value = 0;
    const std::string digits = text::withoutUnderscores(text).value_or(text);
    const char* begin = digits.data() + (!digits.empty() && digits[0] == '+' ? 1 : 0);
    const char* end = digits.data() + digits.size();
    const auto [rest, problem] = std::from_chars(begin, end, value);
    if (problem == std::errc::result_out_of_range) {
        *error = fmt::format("{} does not fit into {}", text, typeName);
        return std::nullopt;
    }
    if (problem != std::errc() || rest != end) {
        *error = fmt::format("\"{}\" is no number; write it as 12.5 or 1e-3", text);
        return std::nullopt;
    }
    return value;
}

std::optional<HostValue> parseString(ValueForm form, const std::string& text, std::string* error) {
    const std::optional<std::string> content = unquote(text, error);
    if (!content) {
        return std::nullopt;
    }
    const std::optional<std::string> latin1 = toLatin1(*content);
    if (!latin1) {
        *error = fmt::format("{} holds characters that a PLC string cannot (only Latin-1 can)", text);
        return std::nullopt;
    }
    if (latin1->size() > static_cast<std::size_t>(form.stringCharacters)) {
        *error = fmt::format("the string has {} characters; {} takes at most {}", latin1->size(),
                             form.stringCharacters == symbol_file::kStringCharacters
                                 ? "a PLC string"
                                 : typeName(form.code, form.stringCharacters),
                             form.stringCharacters);
        return std::nullopt;
    }
    if (latin1->find('\0') != std::string::npos) {
        *error = "a PLC string ends at its first zero byte; leave \\x00 out";
        return std::nullopt;
    }
    return *content;
}

// "5" of "INT#5", when the type is that of the variable; nothing when it is another.
std::optional<std::string> withoutType(ValueForm form, const std::string& text, std::string* error) {
    const std::optional<text::TypedLiteral> literal = text::splitTypedLiteral(text);
    if (!literal || timeKindOf(form.code)) {
        return text;
    }
    const std::string type = isBoolean(form) ? "BOOL" : typeTraits(form.code)->name;
    if (literal->type == type) {
        return literal->value;
    }
    *error = fmt::format("{} is a value of another type; the variable is of type {}", text, type);
    return std::nullopt;
}

// ---------------------------------------------------------------------------------------------------------------------
// Host format
// ---------------------------------------------------------------------------------------------------------------------

// The host's words are little-endian, whatever this machine is.
void appendLittleEndian(std::uint64_t bits, int bytes, QByteArray* to) {
    for (int i = 0; i < bytes; ++i) {
        to->append(static_cast<char>((bits >> (8 * i)) & 0xFF));
    }
}

std::uint64_t littleEndianAt(const QByteArray& bytes, int position, int width) {
    std::uint64_t bits = 0;
    for (int i = 0; i < width; ++i) {
        bits |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[position + i])) << (8 * i);
    }
    return bits;
}

std::uint64_t bitsOf(const HostValue& value) {
    struct Visitor {
        std::uint64_t operator()(bool v) const { return v ? 1 : 0; }
        std::uint64_t operator()(std::int64_t v) const { return static_cast<std::uint64_t>(v); }
        std::uint64_t operator()(std::uint64_t v) const { return v; }
        std::uint64_t operator()(float v) const { return wire::bitCast<std::uint32_t>(v); }
        std::uint64_t operator()(double v) const { return wire::bitCast<std::uint64_t>(v); }
        std::uint64_t operator()(const std::string&) const { return 0; }
    };
    return std::visit(Visitor(), value);
}

std::int64_t signExtended(std::uint64_t bits, int width) {
    const int unused = 64 - 8 * width;
    return static_cast<std::int64_t>(bits << unused) >> unused;
}

HostValue fromBits(ValueForm form, std::uint64_t bits) {
    switch (kindOf(form.code)) {
        case TypeKind::Signed:
            return signExtended(bits, widthOf(form));
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return bits;
        case TypeKind::Float:
            break;
        case TypeKind::Truth:
        case TypeKind::Text:
        case TypeKind::Structure:
            return bits != 0;
    }
    if (form.code == TypeCode::Real) {
        return wire::bitCast<float>(static_cast<std::uint32_t>(bits));
    }
    return wire::bitCast<double>(bits);
}

// The words of a string of odd length end with its terminator; those of an even one leave it out.
int bytesOfString(ValueForm form) {
    return (form.stringCharacters + 1) / 2 * 2;
}

QByteArray encodeString(ValueForm form, const std::string& text) {
    const std::string latin1 = toLatin1(text).value_or("");
    QByteArray bytes(latin1.data(), static_cast<int>(latin1.size()));
    if (bytes.size() < form.stringCharacters) {
        bytes.append('\0');
    }
    if (bytes.size() % 2 != 0) {
        bytes.append('\0');
    }
    return bytes;
}

// Bytes that one element takes in the result of a read.
int readStride(ValueForm form) {
    if (isBoolean(form)) {
        return 1;
    }
    return isString(form) ? bytesOfString(form) : widthOf(form);
}

}  // namespace

bool isBoolean(ValueForm form) {
    return form.isBit || kindOf(form.code) == TypeKind::Truth;
}

bool isString(ValueForm form) {
    return !form.isBit && kindOf(form.code) == TypeKind::Text;
}

int countPerElement(ValueForm form) {
    if (isString(form)) {
        return bytesOfString(form) / 2;
    }
    return isBoolean(form) ? 1 : std::max(1, widthOf(form) / 2);
}

std::optional<HostValue> parseValue(ValueForm form, const std::string& text, std::string* error) {
    if (isString(form)) {
        return parseString(form, text, error);
    }
    const std::optional<std::string> value = withoutType(form, text, error);
    if (!value) {
        return std::nullopt;
    }
    if (isBoolean(form)) {
        return parseBoolean(*value, error);
    }
    if (timeKindOf(form.code)) {
        return parseTime(form, *value, error);
    }
    if (form.code == TypeCode::Real) {
        return parseFloat<float>(*value, "REAL", error);
    }
    if (form.code == TypeCode::Lreal) {
        return parseFloat<double>(*value, "LREAL", error);
    }
    return parseInteger(form, *value, error);
}

std::optional<std::vector<std::string>> splitElements(ValueForm form, int elements, const std::string& text,
                                                      std::string* error) {
    if (elements == 1 && isString(form)) {
        return std::vector<std::string>{text};  // blanks included
    }
    std::vector<std::string> parts = elements == 1 ? std::vector<std::string>{text} : splitList(text);
    if (static_cast<int>(parts.size()) != elements) {
        *error = fmt::format("{} values are needed, separated by commas; {} given", elements, parts.size());
        return std::nullopt;
    }
    for (std::string& part : parts) {
        part = trimmed(part);
    }
    return parts;
}

std::optional<HostValues> parseValues(ValueForm form, int elements, const std::string& text, std::string* error) {
    const std::optional<std::vector<std::string>> parts = splitElements(form, elements, text, error);
    if (!parts) {
        return std::nullopt;
    }
    HostValues values;
    for (const std::string& part : *parts) {
        const std::optional<HostValue> value = parseValue(form, part, error);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    return values;
}

std::string formatValue(ValueForm form, const HostValue& value) {
    struct Visitor {
        ValueForm form;
        std::string operator()(bool v) const {
            return form.isBit || form.code == TypeCode::Bit ? (v ? "1" : "0") : (v ? "TRUE" : "FALSE");
        }
        std::string operator()(std::int64_t v) const { return std::to_string(v); }
        std::string operator()(std::uint64_t v) const {
            if (const std::optional<text::TimeKind> kind = timeKindOf(form.code)) {
                return text::timeLiteral(*kind, static_cast<std::uint32_t>(v));
            }
            return kindOf(form.code) == TypeKind::BitString ? fmt::format("0x{:0{}X}", v, 2 * widthOf(form))
                                                            : std::to_string(v);
        }
        std::string operator()(float v) const { return fmt::format("{}", v); }
        std::string operator()(double v) const { return fmt::format("{}", v); }
        std::string operator()(const std::string& v) const { return quote(v); }
    };
    return std::visit(Visitor{form}, value);
}

std::string formatValues(ValueForm form, const HostValues& values) {
    std::string text;
    for (const HostValue& value : values) {
        text += (text.empty() ? "" : ", ") + formatValue(form, value);
    }
    return text;
}

QByteArray encodeForWrite(ValueForm form, const HostValues& values) {
    if (isString(form)) {
        return encodeString(form, std::get<std::string>(values.front()));
    }
    const int stride = isBoolean(form) ? 1 : std::max(2, widthOf(form));
    QByteArray bytes;
    for (const HostValue& value : values) {
        appendLittleEndian(bitsOf(value), stride, &bytes);
    }
    return bytes;
}

int countForWrite(ValueForm form, const QByteArray& encoded) {
    return isBoolean(form) ? encoded.size() : encoded.size() / 2;
}

HostValues decodeRead(ValueForm form, const QByteArray& bytes, int elements) {
    const int stride = readStride(form);
    HostValues values;
    for (int i = 0; i < elements && (i + 1) * stride <= bytes.size(); ++i) {
        if (isString(form)) {
            values.emplace_back(fromLatin1(bytes.mid(i * stride, form.stringCharacters)));
        } else if (isBoolean(form)) {
            values.emplace_back(bytes[i] != 0);
        } else {
            values.push_back(fromBits(form, littleEndianAt(bytes, i * stride, stride)));
        }
    }
    return values;
}

bool areFinite(const HostValues& values) {
    struct Visitor {
        bool operator()(float v) const { return std::isfinite(v); }
        bool operator()(double v) const { return std::isfinite(v); }
        bool operator()(bool) const { return true; }
        bool operator()(std::int64_t) const { return true; }
        bool operator()(std::uint64_t) const { return true; }
        bool operator()(const std::string&) const { return true; }
    };
    return std::all_of(values.begin(), values.end(),
                       [](const HostValue& value) { return std::visit(Visitor(), value); });
}

bool sameValues(const HostValues& a, const HostValues& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const HostValue& left, const HostValue& right) {
        return left.index() == right.index() &&
               (std::holds_alternative<std::string>(left) ? left == right : bitsOf(left) == bitsOf(right));
    });
}

}  // namespace ac500::host
