#include "symbols/tag_path.h"

#include <cstring>

namespace ac500 {

namespace {

const int kNoDigit = 99;
const int kUnitsAtOnce = 4;

// Whether one of four UTF-16 units is that one: whether one of the four differences is 0.
inline bool hasUnit(const QChar* units, ushort unit) {
    const quint64 kOnes = Q_UINT64_C(0x0001000100010001);
    quint64 differences = 0;
    std::memcpy(&differences, units, sizeof differences);
    differences ^= kOnes * unit;
    return ((differences - kOnes) & ~differences & (kOnes << 15)) != 0;
}

int digitValue(QChar digit) {
    const int code = digit.unicode();
    if (code >= '0' && code <= '9') {
        return code - '0';
    }
    if (code >= 'a' && code <= 'z') {
        return code - 'a' + 10;
    }
    if (code >= 'A' && code <= 'Z') {
        return code - 'A' + 10;
    }
    return kNoDigit;
}

TextSpan trimmed(const TextSpan& text) {
    int start = 0;
    int end = text.length();
    while (start < end && text.at(start).isSpace()) {
        ++start;
    }
    while (end > start && text.at(end - 1).isSpace()) {
        --end;
    }
    return text.part(start, end - start);
}

TextSpan from(const TextSpan& text, int start) {
    return text.part(start, text.length() - start);
}

bool isMinus(QChar character) {
    const ushort kMinusSign = 0x2212;  // as typeset; QString::toInt takes it, too
    return character == QLatin1Char('-') || character.unicode() == kMinusSign;
}

bool startsWithHexPrefix(const TextSpan& text) {
    return text.length() > 1 && text.at(0) == QLatin1Char('0') && (text.at(1).unicode() | 0x20) == 'x';
}

// REQUIRES: base is 2 to 36.
bool readDigits(const TextSpan& digits, int base, qint64 most, qint64* value) {
    *value = 0;
    for (int i = 0; i < digits.length(); ++i) {
        const int digit = digitValue(digits.at(i));
        *value = *value * base + digit;
        if (digit >= base || *value > most) {
            return false;
        }
    }
    return !digits.isEmpty();
}

}  // namespace

bool TextSpan::contains(char character) const {
    const ushort unit = static_cast<uchar>(character);
    if (length_ < kUnitsAtOnce) {
        return firstIndexOf(character) >= 0;
    }
    const QChar* const last = text_ + length_ - kUnitsAtOnce;
    for (const QChar* units = text_; units < last; units += kUnitsAtOnce) {
        if (hasUnit(units, unit)) {
            return true;
        }
    }
    return hasUnit(last, unit);
}

int TextSpan::firstIndexOf(char character, int from) const {
    for (int i = from; i < length_; ++i) {
        if (text_[i] == QLatin1Char(character)) {
            return i;
        }
    }
    return -1;
}

int TextSpan::lastIndexOf(char character) const {
    int i = length_ - 1;
    while (i >= 0 && text_[i] != QLatin1Char(character)) {
        --i;
    }
    return i;
}

bool operator==(const TextSpan& a, const TextSpan& b) {
    if (a.length() != b.length() || a.isEmpty()) {
        return a.length() == b.length();
    }
    const int last = a.length() - 1;
    return a.at(last) == b.at(last) &&  // first: neighbours differ there, "value1", "value2"
           std::memcmp(a.data(), b.data(), sizeof(QChar) * static_cast<std::size_t>(last)) == 0;
}

TextSpans split(const TextSpan& text, char separator) {
    TextSpans pieces;
    int start = 0;
    for (int end = text.firstIndexOf(separator); end >= 0; end = text.firstIndexOf(separator, start)) {
        pieces.append(text.part(start, end - start));
        start = end + 1;
    }
    pieces.append(from(text, start));
    return pieces;
}

Component splitComponent(const TextSpan& component) {
    Component result;
    result.hasIndexList = component.contains('[') && component.contains(']');
    if (!result.hasIndexList) {
        result.name = component;
        return result;
    }
    const int open = component.lastIndexOf('[');
    result.name = component.part(0, open);
    result.indexList = component.part(open + 1, qMax(component.length() - 1 - (open + 1), 0));
    return result;
}

bool hasPlaceholder(const TextSpan& text) {
    if (!text.contains('%')) {
        return false;
    }
    for (int i = 0; i + 1 < text.length(); ++i) {
        if (text.at(i) == QLatin1Char('%') && text.at(i + 1) == QLatin1Char('%')) {
            return true;
        }
    }
    return false;
}

bool readNumber(const TextSpan& text, int base, qint32* number) {
    *number = 0;
    TextSpan rest = trimmed(text);
    const bool isNegative = !rest.isEmpty() && isMinus(rest.at(0));
    if (isNegative || (!rest.isEmpty() && rest.at(0) == QLatin1Char('+'))) {
        rest = from(rest, 1);
    }
    if ((base == 0 || base == 16) && startsWithHexPrefix(rest)) {
        rest = from(rest, 2);
        base = 16;
    } else if (base == 0) {
        base = !rest.isEmpty() && rest.at(0) == QLatin1Char('0') ? 8 : 10;
    }

    const qint64 most = Q_INT64_C(0x7FFFFFFF) + (isNegative ? 1 : 0);
    qint64 value = 0;
    if (!readDigits(rest, base, most, &value)) {
        return false;
    }
    *number = static_cast<qint32>(isNegative ? -value : value);
    return true;
}

qint32 numberOrZero(const TextSpan& text) {
    qint32 number = 0;
    readNumber(text, 10, &number);
    return number;
}

}  // namespace ac500
