#include "tools/host/plant_values.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "tools/text/iec_literal.h"
#include "tools/text/near_names.h"
#include "tools/text/text.h"

namespace ac500::host {

using symbol_file::integerLimits;
using symbol_file::IntegerLimits;
using symbol_file::Limit;
using symbol_file::NamedValue;
using symbol_file::Scale;
using symbol_file::TypeKind;
using symbol_file::ValueNotes;

namespace {

// More decimals than a double has digits say nothing.
constexpr int kMostDecimals = 15;

bool isFloat(const Tag& tag) {
    return kindOf(tag.form.code) == TypeKind::Float;
}

const Scale* scaleOf(const Tag& tag) {
    return tag.notes != nullptr && tag.notes->scale ? &*tag.notes->scale : nullptr;
}

double parsedNumber(const std::string& text) {
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// ---------------------------------------------------------------------------------------------------------------------
// Scaling
// ---------------------------------------------------------------------------------------------------------------------

// How many decimals a number is written with: 2 of "0.10", 6 of "1e-6".
int decimalsOf(const std::string& spelling) {
    const std::size_t exponentAt = spelling.find_first_of("eE");
    const std::size_t point = spelling.find('.');
    const std::string mantissa = spelling.substr(0, exponentAt);
    const int written = point == std::string::npos ? 0 : static_cast<int>(mantissa.size() - point - 1);
    int exponent = 0;
    if (exponentAt != std::string::npos) {
        const std::size_t digits = exponentAt + (spelling.compare(exponentAt + 1, 1, "+") == 0 ? 2 : 1);
        std::from_chars(spelling.data() + digits, spelling.data() + spelling.size(), exponent);
    }
    return std::max(written - exponent, 0);
}

double numberOf(const HostValue& inPlc) {
    struct Visitor {
        double operator()(bool v) const { return v ? 1 : 0; }
        double operator()(std::int64_t v) const { return static_cast<double>(v); }
        double operator()(std::uint64_t v) const { return static_cast<double>(v); }
        double operator()(float v) const { return static_cast<double>(v); }
        double operator()(double v) const { return v; }
        double operator()(const std::string&) const { return 0; }
    };
    return std::visit(Visitor(), inPlc);
}

// The nearest that the PLC can hold; nothing when it is out of range. The two halves of the way to the next value are told
// apart although neither number is exact.
std::optional<HostValue> unscaled(const Tag& tag, const Scale& scale, double plant) {
    const double exact = (plant - scale.offset.value) / scale.factor.value;
    if (tag.form.code == TypeCode::Lreal) {
        return std::isfinite(exact) || !std::isfinite(plant) ? std::optional<HostValue>(exact) : std::nullopt;
    }
    if (tag.form.code == TypeCode::Real) {
        const bool fits = std::fabs(exact) <= static_cast<double>(std::numeric_limits<float>::max());
        return fits || !std::isfinite(plant) ? std::optional<HostValue>(static_cast<float>(exact)) : std::nullopt;
    }
    const double inexactness = 4 * std::numeric_limits<double>::epsilon() *
                               (std::fabs(plant) + std::fabs(scale.offset.value)) / std::fabs(scale.factor.value);
    const double rounded = std::round(exact + std::copysign(inexactness, exact));
    const IntegerLimits limits = integerLimits(tag.form.code);
    if (!(rounded >= static_cast<double>(limits.smallest) && rounded <= static_cast<double>(limits.largest))) {
        return std::nullopt;
    }
    if (kindOf(tag.form.code) == TypeKind::Signed) {
        return static_cast<std::int64_t>(rounded);
    }
    return static_cast<std::uint64_t>(rounded);
}

// "-0.0", which a small negative number is rounded to, as "0.0".
std::string withoutSignOfZero(const std::string& number) {
    const bool isNegativeZero = number[0] == '-' && number.find_first_not_of("-0.") == std::string::npos;
    return isNegativeZero ? number.substr(1) : number;
}

// With the decimals of the scale, or as a float shows them, as long as that says which value it is; else as exact as need be.
std::string scaledText(const Tag& tag, const Scale& scale, const HostValue& inPlc) {
    const double exact = numberOf(inPlc) * scale.factor.value + scale.offset.value;
    const int decimals = std::max(decimalsOf(scale.factor.text), decimalsOf(scale.offset.text));
    std::string text = withoutSignOfZero(fmt::format("{}", exact));
    if (tag.form.code == TypeCode::Lreal || decimals > kMostDecimals) {
        return text;
    }
    std::string brief = withoutSignOfZero(isFloat(tag) ? fmt::format("{}", static_cast<float>(exact))
                                                       : fmt::format("{:.{}f}", exact, decimals));
    const std::optional<HostValue> back = unscaled(tag, scale, parsedNumber(brief));
    return back && *back == inPlc ? brief : text;
}

// ---------------------------------------------------------------------------------------------------------------------
// Names
// ---------------------------------------------------------------------------------------------------------------------

std::optional<text::WholeNumber> wholeOf(const HostValue& value) {
    struct Visitor {
        std::optional<text::WholeNumber> operator()(bool v) const { return text::wholeNumber(std::uint64_t{v}); }
        std::optional<text::WholeNumber> operator()(std::int64_t v) const { return text::wholeNumber(v); }
        std::optional<text::WholeNumber> operator()(std::uint64_t v) const { return text::wholeNumber(v); }
        std::optional<text::WholeNumber> operator()(float) const { return std::nullopt; }
        std::optional<text::WholeNumber> operator()(double) const { return std::nullopt; }
        std::optional<text::WholeNumber> operator()(const std::string&) const { return std::nullopt; }
    };
    return std::visit(Visitor(), value);
}

const NamedValue* namedValue(const ValueNotes& notes, const HostValue& value) {
    const std::optional<text::WholeNumber> whole = wholeOf(value);
    const auto found = std::find_if(notes.names.begin(), notes.names.end(),
                                    [&](const NamedValue& named) { return whole && named.value == *whole; });
    return found == notes.names.end() ? nullptr : &*found;
}

HostValue valueOf(const Tag& tag, const text::WholeNumber& whole) {
    if (isBoolean(tag.form)) {
        return whole.magnitude != 0;
    }
    if (kindOf(tag.form.code) == TypeKind::Signed) {
        return static_cast<std::int64_t>(whole.negative ? ~whole.magnitude + 1 : whole.magnitude);
    }
    return whole.magnitude;
}

std::string withoutQuotes(const std::string& text) {
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

// "; did you mean ...?", or all of them.
std::string namesRemedy(const ValueNotes& notes, const std::string& text) {
    std::vector<std::string> names;
    for (const NamedValue& named : notes.names) {
        names.push_back(named.name);
    }
    const std::vector<std::string> near = text::nearNames(text, names, 1);
    return near.empty() ? fmt::format("; its values are {}", fmt::join(names, ", "))
                        : fmt::format("; did you mean {}?", near.front());
}

std::optional<HostValue> parseNamed(const Tag& tag, const std::string& text, std::string* error) {
    const std::string name = withoutQuotes(text);
    for (const NamedValue& named : tag.notes->names) {
        if (text::lowerCase(named.name) == text::lowerCase(name)) {
            return valueOf(tag, named.value);
        }
    }
    std::string notANumber;
    const std::optional<HostValue> value = parseValue(tag.form, text, &notANumber);
    if (!value) {
        const bool beginsAsNumber = !text.empty() && std::string("+-0123456789").find(text[0]) != std::string::npos;
        *error = beginsAsNumber || text.find('#') != std::string::npos
                     ? notANumber
                     : fmt::format("\"{}\" is no name of a value{}", text, namesRemedy(*tag.notes, name));
    }
    return value;
}

// ---------------------------------------------------------------------------------------------------------------------
// Limits
// ---------------------------------------------------------------------------------------------------------------------

std::string withUnit(const Tag& tag, const std::string& text) {
    return tag.notes == nullptr || tag.notes->unit.empty() ? text : text + " " + tag.notes->unit;
}

std::string elementText(const Tag& tag, const HostValue& inPlc) {
    if (const Scale* scale = scaleOf(tag)) {
        return scaledText(tag, *scale, inPlc);
    }
    const NamedValue* named = tag.notes == nullptr ? nullptr : namedValue(*tag.notes, inPlc);
    return named == nullptr ? formatValue(tag.form, inPlc) : named->name;
}

// A value to be held against the limits: whole numbers exactly, everything else as people see it.
struct Measured {
    std::optional<text::WholeNumber> whole;
    double number = 0;
};

Measured measured(const Tag& tag, const HostValue& inPlc) {
    if (scaleOf(tag) != nullptr || isFloat(tag)) {
        return {std::nullopt, parsedNumber(elementText(tag, inPlc))};
    }
    return {wholeOf(inPlc), numberOf(inPlc)};
}

bool isBelow(const Measured& value, const Limit& limit) {
    return value.whole && limit.whole ? *value.whole < *limit.whole : !(value.number >= limit.number.value);
}

bool isAbove(const Measured& value, const Limit& limit) {
    return value.whole && limit.whole ? *limit.whole < *value.whole : !(value.number <= limit.number.value);
}

// True when the value keeps the limits; else *error says which it does not.
bool keepsLimits(const Tag& tag, const Measured& value, const std::string& shown, std::string* error) {
    if (tag.notes == nullptr) {
        return true;
    }
    const std::optional<Limit>& minimum = tag.notes->minimum;
    const std::optional<Limit>& maximum = tag.notes->maximum;
    if (minimum && isBelow(value, *minimum)) {
        *error = fmt::format("{} is below the smallest value, {}", shown, withUnit(tag, minimum->number.text));
        return false;
    }
    if (maximum && isAbove(value, *maximum)) {
        *error = fmt::format("{} is above the largest value, {}", shown, withUnit(tag, maximum->number.text));
        return false;
    }
    return true;
}

bool keepsLimits(const Tag& tag, const HostValue& inPlc, std::string* error) {
    return keepsLimits(tag, measured(tag, inPlc), withUnit(tag, elementText(tag, inPlc)), error);
}

// ---------------------------------------------------------------------------------------------------------------------
// One element
// ---------------------------------------------------------------------------------------------------------------------

std::string scaledRange(const Tag& tag, const Scale& scale) {
    const auto end = [&](double inPlc) { return inPlc * scale.factor.value + scale.offset.value; };
    double smallest = -static_cast<double>(std::numeric_limits<float>::max());
    double largest = -smallest;
    if (tag.form.code == TypeCode::Lreal) {
        return "what 64 bits hold";
    }
    if (!isFloat(tag)) {
        const IntegerLimits limits = integerLimits(tag.form.code);
        smallest = static_cast<double>(limits.smallest);
        largest = static_cast<double>(limits.largest);
    }
    return fmt::format("{:.10g} to {:.10g}", std::min(end(smallest), end(largest)),
                       std::max(end(smallest), end(largest)));
}

std::optional<HostValue> fromScaled(const Tag& tag, const Scale& scale, double plant, std::string* error) {
    if (!keepsLimits(tag, {std::nullopt, plant}, withUnit(tag, fmt::format("{}", plant)), error)) {
        return std::nullopt;
    }
    const std::optional<HostValue> inPlc = unscaled(tag, scale, plant);
    if (!inPlc) {
        *error = fmt::format("{} is out of range; {} with its scale goes from {}", plant,
                             typeTraits(tag.form.code)->name, scaledRange(tag, scale));
        return std::nullopt;
    }
    std::string beyond;
    if (!keepsLimits(tag, *inPlc, &beyond)) {
        *error = fmt::format("{} is rounded, and {}", plant, beyond);
        return std::nullopt;
    }
    return inPlc;
}

// A number in units of the plant is a float, whatever type the PLC has.
std::optional<HostValue> parseScaled(const Tag& tag, const Scale& scale, const std::string& text, std::string* error) {
    const std::optional<text::TypedLiteral> literal = text::splitTypedLiteral(text);
    if (literal && literal->type != "REAL" && literal->type != "LREAL") {
        *error = fmt::format(
            "{} is a value of type {}; what is scaled is written as a number, such as 12.5, or as REAL#12.5", text,
            literal->type);
        return std::nullopt;
    }
    const std::optional<HostValue> plant = parseValue({TypeCode::Lreal}, literal ? literal->value : text, error);
    return plant ? fromScaled(tag, scale, std::get<double>(*plant), error) : std::nullopt;
}

// Whether in words of the type, of the scale or of the enumeration.
std::optional<HostValue> parseElement(const Tag& tag, const std::string& text, std::string* error) {
    if (const Scale* scale = scaleOf(tag)) {
        return parseScaled(tag, *scale, text, error);
    }
    if (tag.notes != nullptr && !tag.notes->names.empty()) {
        return parseNamed(tag, text, error);
    }
    return parseValue(tag.form, text, error);
}

std::optional<std::string> withoutUnit(const Tag& tag, const std::string& text) {
    const std::string& unit = tag.notes == nullptr ? std::string() : tag.notes->unit;
    const bool ends =
        !unit.empty() && text.size() > unit.size() && text.compare(text.size() - unit.size(), unit.size(), unit) == 0;
    if (!ends) {
        return std::nullopt;
    }
    const std::string rest = text.substr(0, text.size() - unit.size());
    return rest.substr(0, rest.find_last_not_of(' ') + 1);
}

// A text that is a number with its unit taken for part of it is taken so: "5 1" of the unit "1" is not.
std::optional<HostValue> parseWithUnit(const Tag& tag, const std::string& text, std::string* error) {
    const std::optional<std::string> number = withoutUnit(tag, text);
    std::string ignored;
    const std::optional<HostValue> whole = number ? parseElement(tag, text, &ignored) : std::nullopt;
    return whole ? whole : parseElement(tag, number.value_or(text), error);
}

bool isWritable(const Tag& tag, std::string* error) {
    if (tag.isReadOnly) {
        *error = "it is read-only; the symbol file says so";
    }
    return !tag.isReadOnly;
}

// Has the value the type that the codec expects of the tag?
bool isOfForm(const Tag& tag, const HostValue& value) {
    if (isBoolean(tag.form)) {
        return std::holds_alternative<bool>(value);
    }
    switch (kindOf(tag.form.code)) {
        case TypeKind::Signed:
            return std::holds_alternative<std::int64_t>(value);
        case TypeKind::Unsigned:
        case TypeKind::BitString:
            return std::holds_alternative<std::uint64_t>(value);
        case TypeKind::Float:
            return tag.form.code == TypeCode::Real ? std::holds_alternative<float>(value)
                                                   : std::holds_alternative<double>(value);
        case TypeKind::Text:
            return std::holds_alternative<std::string>(value);
        case TypeKind::Truth:
        case TypeKind::Structure:
            break;
    }
    return false;
}

std::string otherType(const Tag& tag) {
    return fmt::format("the value is of another type than {}", typeTraits(tag.form.code)->name);
}

bool isCounted(const Tag& tag, const HostValues& values, std::string* error) {
    const bool isEnough = static_cast<int>(values.size()) == tag.elements;
    if (!isEnough) {
        *error = fmt::format("{} values are needed; {} given", tag.elements, values.size());
    }
    return isEnough;
}

// A value in the form of the codec is one that its text form says, too.
std::optional<HostValue> fromPlant(const Tag& tag, const HostValue& plant, std::string* error) {
    if (const Scale* scale = scaleOf(tag)) {
        if (std::holds_alternative<double>(plant)) {
            return fromScaled(tag, *scale, std::get<double>(plant), error);
        }
        *error = "a scaled value is to be given as a floating-point number";
        return std::nullopt;
    }
    if (!isOfForm(tag, plant)) {
        *error = otherType(tag);
        return std::nullopt;
    }
    const std::optional<HostValue> value = parseValue(tag.form, formatValue(tag.form, plant), error);
    return value && keepsLimits(tag, *value, error) ? std::optional<HostValue>(plant) : std::nullopt;
}

}  // namespace

HostValues plantValues(const Tag& tag, const HostValues& inPlc) {
    const Scale* scale = scaleOf(tag);
    if (scale == nullptr) {
        return inPlc;
    }
    HostValues plant;
    for (const HostValue& value : inPlc) {
        plant.emplace_back(std::isfinite(numberOf(value)) ? parsedNumber(scaledText(tag, *scale, value))
                                                          : numberOf(value) * scale->factor.value);
    }
    return plant;
}

std::optional<HostValues> parseHeldValues(const Tag& tag, const std::string& text, std::string* error) {
    Tag unlimited = tag;
    unlimited.isReadOnly = false;
    if (tag.notes != nullptr) {
        auto notes = std::make_shared<ValueNotes>(*tag.notes);
        notes->minimum.reset();
        notes->maximum.reset();
        unlimited.notes = notes;
    }
    return parsePlantValues(unlimited, text, error);
}

bool mayBeWritten(const Tag& tag, const HostValues& inPlc, std::string* error) {
    if (!isWritable(tag, error) || !isCounted(tag, inPlc, error)) {
        return false;
    }
    return std::all_of(inPlc.begin(), inPlc.end(), [&](const HostValue& value) {
        if (!isOfForm(tag, value)) {
            *error = otherType(tag);
            return false;
        }
        return parseValue(tag.form, formatValue(tag.form, value), error) && keepsLimits(tag, value, error);
    });
}

std::optional<HostValues> fromPlantValues(const Tag& tag, const HostValues& plant, std::string* error) {
    if (!isWritable(tag, error) || !isCounted(tag, plant, error)) {
        return std::nullopt;
    }
    HostValues values;
    for (const HostValue& value : plant) {
        const std::optional<HostValue> inPlc = fromPlant(tag, value, error);
        if (!inPlc) {
            return std::nullopt;
        }
        values.push_back(*inPlc);
    }
    return values;
}

std::optional<HostValues> parsePlantValues(const Tag& tag, const std::string& text, std::string* error) {
    if (!isWritable(tag, error)) {
        return std::nullopt;
    }
    const std::optional<std::vector<std::string>> parts = splitElements(tag.form, tag.elements, text, error);
    if (!parts) {
        return std::nullopt;
    }
    HostValues values;
    for (const std::string& part : *parts) {
        const std::optional<HostValue> value = parseWithUnit(tag, part, error);
        if (!value || !keepsLimits(tag, *value, error)) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    return values;
}

std::optional<HostValue> parsePlantValue(const Tag& tag, const std::string& text, std::string* error) {
    if (scaleOf(tag) != nullptr) {
        return parseValue({TypeCode::Lreal}, withoutUnit(tag, text).value_or(text), error);
    }
    return parseWithUnit(tag, text, error);
}

std::string formatPlantValues(const Tag& tag, const HostValues& inPlc) {
    std::string text;
    for (const HostValue& value : inPlc) {
        text += (text.empty() ? "" : ", ") + elementText(tag, value);
    }
    return text.empty() ? text : withUnit(tag, text);
}

bool hasPlantForm(const Tag& tag) {
    return timeKindOf(tag.form.code) ||
           (tag.notes != nullptr && (!tag.notes->unit.empty() || tag.notes->scale || !tag.notes->names.empty()));
}

}  // namespace ac500::host
