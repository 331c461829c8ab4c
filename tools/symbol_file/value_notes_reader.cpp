#include "tools/symbol_file/value_notes_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "tools/symbol_file/limits.h"
#include "tools/text/text.h"

namespace ac500::symbol_file {
namespace {

// Two neighbours of a scaled type lie at least so many steps of a double apart, so that each can be told from the other
// after all rounding on the way there and back, and the middle between them from both.
constexpr double kStepsBetweenNeighbours = 1024;

// What the values of a type can be, as people see them.
struct Span {
    double smallest;
    double largest;
};

class NotesReader {
public:
    NotesReader(const ObjectReader& declaration, TypeCode code, ProblemList* problems)
        : declaration_(declaration), code_(code), problems_(problems) {}

    ValueNotes read() {
        readUnit();
        readScale();
        readNames();
        notes_.minimum = readLimit("min");
        notes_.maximum = readLimit("max");
        checkOrder();
        return std::move(notes_);
    }

private:
    bool isWhole() const { return kindOf(code_) == TypeKind::Signed || isNatural(); }
    bool isNatural() const { return kindOf(code_) == TypeKind::Unsigned || kindOf(code_) == TypeKind::BitString; }
    bool isFloat() const { return kindOf(code_) == TypeKind::Float; }
    bool isTime() const { return timeKindOf(code_).has_value(); }
    std::string type() const { return code_ == TypeCode::Struct ? "a structure" : typeTraits(code_)->name; }

    // The value of a key that a declaration of this type can have.
    std::optional<JsonNode> findFor(const char* key, bool isPossible, const char* onlyFor) const {
        const std::optional<JsonNode> node = declaration_.find(key);
        if (node && !isPossible) {
            problems_->add(*node, std::string("\"") + key + "\" does not go with " + type() + ", only with " + onlyFor +
                                      "; remove it");
            return std::nullopt;
        }
        return node;
    }

    void readUnit() {
        const auto node = findFor("unit", (isWhole() || isFloat()) && !isTime(), "numbers");
        const auto unit = readText(node, problems_);
        if (!unit) {
            return;
        }
        notes_.unit = *unit;
        const bool isShowable =
            text::withoutControls(*unit) == *unit && unit->find_first_of("\",") == std::string::npos;
        if (unit->empty() || !isShowable || unit->front() == ' ' || unit->back() == ' ' ||
            unit->size() > kMaxUnitBytes) {
            problems_->add(*node, inQuotes(*unit) + " is no unit; write at most " + std::to_string(kMaxUnitBytes) +
                                      " bytes without quotes, commas and blanks at either end, for example \"m3/h\"");
        }
    }

    // -----------------------------------------------------------------------------------------------------------------
    // Scale
    // -----------------------------------------------------------------------------------------------------------------

    std::optional<Decimal> readDecimal(const std::optional<JsonNode>& node) const {
        const auto value = readNumber(node, problems_);
        if (!value) {
            return std::nullopt;
        }
        if (!std::isfinite(*value)) {
            problems_->add(*node, "is " + shown(node->value->text) + ", beyond every number; correct it");
            return std::nullopt;
        }
        return Decimal{*value, node->value->text};
    }

    void readScale() {
        const auto node = findFor("scale", (isWhole() || isFloat()) && !isTime(), "numbers");
        if (!node) {
            return;
        }
        const ObjectReader object(*node, {"factor", "offset"}, problems_);
        Scale scale;
        const auto factor = object.find("factor");
        if (const auto decimal = readDecimal(factor)) {
            scale.factor = *decimal;
        }
        if (const auto decimal = readDecimal(object.find("offset"))) {
            scale.offset = *decimal;
        }
        if (object.isObject() && node->value->members.empty()) {
            problems_->add(*node, "says nothing; give a factor or an offset, or remove it");
        }
        if (scale.factor.value == 0) {
            problems_->add(*factor, "is 0, which makes all values one; write what the PLC's number is multiplied by");
            return;
        }
        if (isWhole() && !tellsApart(scale)) {
            problems_->add(*node, "with this scale two values of " + type() +
                                      " cannot be told apart, because a number of 64 bits has too few digits; use a "
                                      "narrower type or a smaller offset");
            return;
        }
        notes_.scale = scale;
    }

    bool tellsApart(const Scale& scale) const {
        const Span span = spanOf(scale);
        const double largest =
            std::max({std::fabs(span.smallest), std::fabs(span.largest), std::fabs(scale.offset.value)});
        const double step = largest * std::numeric_limits<double>::epsilon();
        return std::isfinite(largest) && std::fabs(scale.factor.value) >= kStepsBetweenNeighbours * step &&
               std::fabs(scale.factor.value) >= std::numeric_limits<double>::min() * 1e16;
    }

    Span spanOf(const Scale& scale) const {
        Span raw{-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
        if (code_ == TypeCode::Real) {
            raw = {-std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};
        } else if (isWhole()) {
            const IntegerLimits limits = integerLimits(code_);
            raw = {static_cast<double>(limits.smallest), static_cast<double>(limits.largest)};
        }
        const double first = raw.smallest * scale.factor.value + scale.offset.value;
        const double last = raw.largest * scale.factor.value + scale.offset.value;
        return {std::min(first, last), std::max(first, last)};
    }

    // -----------------------------------------------------------------------------------------------------------------
    // Names
    // -----------------------------------------------------------------------------------------------------------------

    void readNames() {
        const bool isTruth = kindOf(code_) == TypeKind::Truth;
        const auto node = findFor("names", (isWhole() && !isTime()) || isTruth, "whole numbers and booleans");
        if (!node) {
            return;
        }
        if (node->value->kind != JsonValue::Kind::Object) {
            problems_->add(*node, "is no object; write each value with its name: {\"0\": \"off\", \"1\": \"on\"}");
            return;
        }
        if (notes_.scale) {
            problems_->add(*node, "\"names\" and \"scale\" cannot both be given; remove one of them");
        }
        if (node->value->members.empty()) {
            problems_->add(*node, "names no value; add one, or remove \"names\"");
        }
        std::set<text::WholeNumber> values;
        std::set<std::string> names;
        for (const JsonMember& member : node->value->members) {
            const std::optional<text::WholeNumber> value = readNamedValue(*node, member);
            const std::optional<std::string> name = readValueName(node->member(member));
            if (value && !values.insert(*value).second) {
                problems_->addAtKey(*node, member, inQuotes(member.key) + " has a name already; remove one");
            }
            if (name && !names.insert(text::lowerCase(*name)).second) {
                problems_->add(node->member(member),
                               inQuotes(*name) + " names another value already; upper and lower case are the same");
            }
            if (value && name) {
                notes_.names.push_back({*value, *name});
            }
        }
    }

    std::optional<text::WholeNumber> readNamedValue(const JsonNode& names, const JsonMember& member) const {
        text::WholeNumber value;
        const bool isNumber = text::parseWholeNumber(member.key, &value) == text::Digits::Good;
        if (isNumber && isInRange(value)) {
            return value;
        }
        problems_->addAtKey(
            names, member, inQuotes(member.key) + " is no value of " + type() + "; write a whole number that it holds");
        return std::nullopt;
    }

    bool isInRange(const text::WholeNumber& value) const {
        const IntegerLimits limits = integerLimits(code_);
        return !(value < text::wholeNumber(limits.smallest)) && !(text::wholeNumber(limits.largest) < value);
    }

    // A name can be told from every value that is written with digits, and stands in a list.
    std::optional<std::string> readValueName(const JsonNode& node) const {
        const auto name = readText(node, problems_);
        if (!name) {
            return std::nullopt;
        }
        const bool isShowable =
            text::withoutControls(*name) == *name && name->find_first_of("\",#") == std::string::npos;
        const bool isWord = !name->empty() && name->front() != ' ' && name->back() != ' ' &&
                            std::string("+-0123456789").find(name->front()) == std::string::npos;
        const std::string lower = text::lowerCase(*name);
        const bool isTruthWord = kindOf(code_) == TypeKind::Truth && (lower == "true" || lower == "false");
        if (isShowable && isWord && !isTruthWord && name->size() <= kMaxValueNameBytes) {
            return name;
        }
        problems_->add(node, inQuotes(*name) + " cannot name a value; write at most " +
                                 std::to_string(kMaxValueNameBytes) +
                                 " bytes without quotes, commas and \"#\", with no digit and no sign in front");
        return std::nullopt;
    }

    // -----------------------------------------------------------------------------------------------------------------
    // Limits
    // -----------------------------------------------------------------------------------------------------------------

    std::optional<Limit> readLimit(const char* key) const {
        const auto node = findFor(key, isWhole() || isFloat(), "numbers, times and dates");
        if (!node) {
            return std::nullopt;
        }
        std::optional<Limit> limit;
        if (isTime() && node->value->kind == JsonValue::Kind::String) {
            limit = readTime(*node);
        } else if (isWhole() && !notes_.scale) {
            limit = readWhole(*node);
        } else if (const auto decimal = readDecimal(node)) {
            limit = Limit{*decimal, std::nullopt};
        }
        return limit && isReachable(*limit, *node) ? limit : std::nullopt;
    }

    std::optional<Limit> readTime(const JsonNode& node) const {
        const std::string& literal = node.value->text;
        text::WholeNumber count;
        if (literal.find('#') != std::string::npos &&
            text::parseWholeNumber(literal, &count) == text::Digits::Good) {  // "16#1388"
            return Limit{{static_cast<double>(count.magnitude), literal}, count};
        }
        const std::optional<std::uint32_t> value = text::parseTimeLiteral(*timeKindOf(code_), literal);
        if (!value) {
            problems_->add(node, inQuotes(literal) + " is no " + type() + "; write it as in \"" +
                                     text::timeLiteralExample(*timeKindOf(code_)) + "\"");
            return std::nullopt;
        }
        return Limit{{static_cast<double>(*value), literal}, text::wholeNumber(std::uint64_t{*value})};
    }

    std::optional<Limit> readWhole(const JsonNode& node) const {
        const auto decimal = readDecimal(node);
        text::WholeNumber whole;
        if (!decimal) {
            return std::nullopt;
        }
        if (node.value->kind != JsonValue::Kind::Integer ||
            text::parseWholeNumber(node.value->text, &whole) != text::Digits::Good) {
            problems_->add(node, "is " + shown(node.value->text) + "; write a whole number, as " + type() + " holds");
            return std::nullopt;
        }
        return Limit{*decimal, whole};
    }

    bool isReachable(const Limit& limit, const JsonNode& node) const {
        const Span span = spanOf(notes_.scale.value_or(Scale()));
        const bool isInside = limit.whole ? isInRange(*limit.whole)
                                          : limit.number.value >= span.smallest && limit.number.value <= span.largest;
        if (!isInside) {
            problems_->add(node, shown(limit.number.text) + " is nothing that " + type() +
                                     (notes_.scale ? " with this scale" : "") + " can be; stay within " + rangeText());
        }
        return isInside;
    }

    std::string rangeText() const {
        if (isWhole() && !notes_.scale) {
            const IntegerLimits limits = integerLimits(code_);
            return std::to_string(limits.smallest) + " to " + std::to_string(limits.largest);
        }
        if (code_ == TypeCode::Real && !notes_.scale) {
            return "-3.4e38 to 3.4e38";
        }
        const Span span = spanOf(notes_.scale.value_or(Scale()));
        return numberText(span.smallest) + " to " + numberText(span.largest);
    }

    void checkOrder() const {
        if (!notes_.minimum || !notes_.maximum) {
            return;
        }
        const Limit& smallest = *notes_.minimum;
        const Limit& largest = *notes_.maximum;
        const bool isUpsideDown =
            smallest.whole ? *largest.whole < *smallest.whole : largest.number.value < smallest.number.value;
        if (isUpsideDown) {
            problems_->add(*declaration_.find("max"), "the largest value " + shown(largest.number.text) +
                                                          " lies below the smallest, " + shown(smallest.number.text) +
                                                          "; correct one of them");
        }
    }

    const ObjectReader& declaration_;
    const TypeCode code_;
    ProblemList* problems_;
    ValueNotes notes_;
};

}  // namespace

const std::vector<std::string>& valueNoteKeys() {
    static const std::vector<std::string> keys = {"unit", "scale", "min", "max", "names"};
    return keys;
}

std::shared_ptr<const ValueNotes> readValueNotes(const ObjectReader& declaration, TypeCode code,
                                                 ProblemList* problems) {
    const std::vector<std::string>& keys = valueNoteKeys();
    const bool hasAny = std::any_of(keys.begin(), keys.end(),
                                    [&](const std::string& key) { return declaration.find(key).has_value(); });
    return hasAny ? std::make_shared<const ValueNotes>(NotesReader(declaration, code, problems).read()) : nullptr;
}

}  // namespace ac500::symbol_file
