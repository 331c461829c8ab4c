// Values between text, numbers and the driver's host format, by type. Pure functions.
//
// Host format is what GetRegisterData and SetRegisterData exchange: 16-bit little-endian words, one byte per boolean,
// strings as they are. It is not symmetric: 8-bit elements are packed one per byte when they are read and take a word
// each when they are written (quirk 23).
#ifndef AC500_TOOLS_HOST_VALUE_CODEC_H
#define AC500_TOOLS_HOST_VALUE_CODEC_H

#include <QtCore/QByteArray>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::host {

using symbol_file::TypeCode;

// One element. bool for BOOL, BIT and a single bit; integers by sign; strings in UTF-8.
using HostValue = std::variant<bool, std::int64_t, std::uint64_t, float, double, std::string>;
using HostValues = std::vector<HostValue>;

// How elements of a type are transferred. A single bit of a variable has a form of its own.
struct ValueForm {
    TypeCode code = TypeCode::Bool;
    bool isBit = false;                                     // the tag names a bit of a variable of that type
    int stringCharacters = symbol_file::kStringCharacters;  // strings only
};

inline bool operator==(const ValueForm& a, const ValueForm& b) {
    return a.code == b.code && a.isBit == b.isBit && a.stringCharacters == b.stringCharacters;
}

bool isBoolean(ValueForm form);
bool isString(ValueForm form);

// What one element adds to the `count` argument of the driver's functions: 16-bit words for values of 16 bits and more
// and for strings, elements for all others.
int countPerElement(ValueForm form);

// Text to values: `elements` of them, separated by commas when there is more than one. TRUE/FALSE/1/0 for booleans and
// bits; integers within the range of the type, decimal or as 16#1F, 8#17, 2#1010 and 0x1F; decimal floats; numbers may hold
// underscores between digits and begin with the name of their type (INT#5); times and dates as T#1m30s, D#2026-11-22,
// TOD#12:00:00 and DT#2026-11-22-12:00:00, or as what they count; strings with or without double quotes (with quotes,
// \" \\ and \xNN are understood; needed in lists when a string holds a comma), at most as many characters of Latin-1 as
// their type has. Nothing on failure; *error then says what was expected.
std::optional<HostValues> parseValues(ValueForm form, int elements, const std::string& text, std::string* error);

// The same for one element.
std::optional<HostValue> parseValue(ValueForm form, const std::string& text, std::string* error);
// A list cut at its commas, but for those in quotes; for parseValue without blanks around the parts. One part, as it is,
// for one element.
std::optional<std::vector<std::string>> splitElements(ValueForm form, int elements, const std::string& text,
                                                      std::string* error);

// The text form, which parseValues takes back: BYTE to LWORD in hexadecimal, times as T#1m30s and the like, floats in their shortest exact form,
// strings in quotes, elements separated by ", ".
std::string formatValue(ValueForm form, const HostValue& value);
std::string formatValues(ValueForm form, const HostValues& values);

// For SetRegisterData. Strings: the text and a terminator, filled up to a whole word, never more than the variable has;
// only one element is written at a time.
QByteArray encodeForWrite(ValueForm form, const HostValues& values);
// The `count` argument that goes with the bytes of encodeForWrite.
int countForWrite(ValueForm form, const QByteArray& encoded);

// From GetRegisterData; elements beyond the end of `bytes` are left out.
HostValues decodeRead(ValueForm form, const QByteArray& bytes, int elements);

// False when a float among them is infinite or not a number.
bool areFinite(const HostValues& values);

// Equal as the PLC stores them: floats by their bits, so that a NaN equals itself.
bool sameValues(const HostValues& a, const HostValues& b);

}  // namespace ac500::host

#endif
