#include "tools/symbol_file/simulation_section.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>
#include <utility>

#include "tools/symbol_file/circles.h"
#include "tools/symbol_file/limits.h"

namespace ac500::symbol_file {
namespace {

struct SignalKind {
    Signal::Kind kind;
    const char* name;
    std::vector<std::string> keys;  // besides "tag" and "signal"
};

const std::vector<SignalKind>& signalKinds() {
    static const std::vector<SignalKind> kinds = {
        {Signal::Kind::Constant, "constant", {"value"}},
        {Signal::Kind::Counter, "counter", {"min", "max", "step", "periodMs"}},
        {Signal::Kind::Ramp, "ramp", {"min", "max", "periodMs"}},
        {Signal::Kind::Sine, "sine", {"min", "max", "periodMs"}},
        {Signal::Kind::Square, "square", {"min", "max", "periodMs"}},
        {Signal::Kind::RandomWalk, "random-walk", {"min", "max", "step", "periodMs"}},
        {Signal::Kind::Echo, "echo", {"source"}},
        {Signal::Kind::Pattern, "pattern", {"periodMs"}},
    };
    return kinds;
}

bool isFloat(TypeCode code) {
    return kindOf(code) == TypeKind::Float;
}

bool isTruth(TypeCode code) {
    return kindOf(code) == TypeKind::Truth;
}

bool isText(TypeCode code) {
    return kindOf(code) == TypeKind::Text;
}

// What the value of a variable that is no text may be as a floating-point number.
struct NumericRange {
    double lowest;
    double highest;
};

NumericRange numericRange(TypeCode code) {
    if (isFloat(code)) {
        const double largest = code == TypeCode::Real ? static_cast<double>(std::numeric_limits<float>::max())
                                                      : std::numeric_limits<double>::max();
        return {-largest, largest};
    }
    const IntegerLimits limits = integerLimits(code);
    const double lowest = static_cast<double>(limits.smallest);
    const double highest = static_cast<double>(limits.largest);
    // The largest 64-bit numbers are no floating-point numbers: the next one below them is.
    const bool isExact = typeTraits(code)->widthBytes < 8;
    return {lowest, isExact ? highest : std::nextafter(highest, 0)};
}

std::string rangeText(TypeCode code) {
    if (isFloat(code)) {
        return code == TypeCode::Real ? "-3.4e38 to 3.4e38" : "-1.79e308 to 1.79e308";
    }
    const IntegerLimits limits = integerLimits(code);
    return std::to_string(limits.smallest) + " to " + std::to_string(limits.largest);
}

// Tells elements apart, however their tags are spelt.
using ElementKey = std::tuple<int, bool, std::int64_t>;

ElementKey keyOf(const Element& element) {
    return {element.area, element.code == TypeCode::Bit, element.address};
}

// Each element may be named once per list.
class NamedOnce {
public:
    bool add(const Element& element, const JsonNode& node, ProblemList* problems) {
        const auto inserted = lines_.emplace(keyOf(element), node.line());
        if (!inserted.second) {
            problems->add(node, "this variable has an entry in line " + std::to_string(inserted.first->second) +
                                    " already; remove one of them");
        }
        return inserted.second;
    }

private:
    std::map<ElementKey, int> lines_;
};

// Finds the variable of an entry. `lookup` Impossible finds nothing and reports nothing.
class TagFinder {
public:
    TagFinder(const SymbolFile& file, TagLookup lookup, ProblemList* problems)
        : file_(file), lookup_(lookup), problems_(problems) {}

    std::optional<Element> find(const std::optional<JsonNode>& node) const {
        const auto tag = readText(node, problems_);
        if (!tag || lookup_ == TagLookup::Impossible) {
            return std::nullopt;
        }
        std::string error;
        const std::optional<Element> element = findElement(file_, *tag, &error);
        if (!element) {
            problems_->add(*node, error);
            return std::nullopt;
        }
        if (element->bit < 0) {
            return element;
        }
        problems_->add(*node, "names a single bit of a variable; name the whole variable");
        return std::nullopt;
    }

    std::optional<Element> findNumber(const std::optional<JsonNode>& node) const {
        const std::optional<Element> element = find(node);
        if (!element || !isText(element->code)) {
            return element;
        }
        problems_->add(*node, "is a string; signals but \"pattern\" drive and repeat numbers and booleans only");
        return std::nullopt;
    }

private:
    const SymbolFile& file_;
    TagLookup lookup_;
    ProblemList* problems_;
};

const SignalKind* findKind(const std::string& name) {
    for (const SignalKind& kind : signalKinds()) {
        if (name == kind.name) {
            return &kind;
        }
    }
    return nullptr;
}

// The kind that an entry names, if it names one: it decides which keys belong into the entry.
const SignalKind* peekKind(const JsonNode& node) {
    for (const JsonMember& member : node.value->members) {
        if (member.key == "signal") {
            return findKind(member.value.text);
        }
    }
    return nullptr;
}

std::vector<std::string> signalKeys(const SignalKind* kind) {
    std::vector<std::string> keys = {"tag", "signal"};
    const std::vector<std::string> all = {"value", "min", "max", "step", "periodMs", "source"};
    const std::vector<std::string>& more = kind ? kind->keys : all;
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

class SignalReader {
public:
    SignalReader(const JsonNode& node, const TagFinder& tags, ProblemList* problems)
        : kind_(peekKind(node)), object_(node, signalKeys(kind_), problems), tags_(tags), problems_(problems) {}

    Signal read() {
        signal_.line = object_.node().line();
        const auto tag = object_.require("tag", "name the variable that the signal drives");
        const bool takesStrings = kind_ && kind_->kind == Signal::Kind::Pattern;
        target_ = takesStrings ? tags_.find(tag) : tags_.findNumber(tag);
        if (tag) {
            signal_.tag = tag->value->text;
        }
        if (readKind()) {
            readShape();
        }
        return signal_;
    }

    const std::optional<Element>& target() const { return target_; }
    const std::optional<Element>& source() const { return source_; }

private:
    bool readKind() {
        const auto node = object_.require("signal", "name the kind of signal, for example \"ramp\"");
        const auto name = readText(node, problems_);
        std::vector<std::string> names;
        for (const SignalKind& kind : signalKinds()) {
            names.push_back(kind.name);
        }
        if (kind_) {
            signal_.kind = kind_->kind;
        } else if (name) {
            problems_->add(*node,
                           "unknown kind of signal " + inQuotes(*name) +
                               suggestion(*name, names,
                                          "use constant, counter, ramp, sine, square, random-walk, echo or pattern"));
        }
        return kind_ != nullptr;
    }

    void readShape() {
        if (signal_.kind == Signal::Kind::Echo) {
            readSource();
        } else if (signal_.kind == Signal::Kind::Constant) {
            readConstant();
        } else if (signal_.kind == Signal::Kind::Pattern) {
            readPeriod();
        } else {
            readRange();
            readStep();
            readPeriod();
        }
    }

    void readSource() {
        const auto node = object_.require("source", "name the variable that is echoed");
        source_ = tags_.findNumber(node);
        if (node) {
            signal_.source = node->value->text;
        }
    }

    void readConstant() {
        const auto node = object_.require("value", "give the constant");
        if (node && node->value->kind == JsonValue::Kind::Boolean) {
            signal_.minimum = node->value->boolean ? 1 : 0;
        } else {
            signal_.minimum = readNumber(node, problems_).value_or(0);
        }
        signal_.maximum = signal_.minimum;
        checkHolds(node, signal_.minimum);
    }

    void readRange() {
        const auto minimumNode = object_.find("min");
        const auto maximumNode =
            hasDefaultMaximum() ? object_.find("max") : object_.require("max", "give the largest value");
        const auto minimum = readNumber(minimumNode, problems_);
        const auto maximum = readNumber(maximumNode, problems_);
        signal_.minimum = minimum.value_or(0);
        signal_.maximum = maximum.value_or(target_ ? numericRange(target_->code).highest : signal_.minimum);
        checkHolds(minimumNode, signal_.minimum);
        checkHolds(maximumNode, signal_.maximum);
        const bool known = maximum || (target_ && !maximumNode);
        if (known && signal_.minimum > signal_.maximum) {
            problems_->add(maximumNode ? *maximumNode : object_.node(),
                           "the range goes from " + numberText(signal_.minimum) + " down to " +
                               numberText(signal_.maximum) +
                               "; \"min\" (0 when absent) must not be larger than \"max\"");
        }
    }

    // A boolean has a natural range, and a counter counts to the end of an integer type.
    bool hasDefaultMaximum() const {
        if (!target_) {
            return true;  // not known: the tag has been reported, or is looked up in the next run
        }
        return isTruth(target_->code) || (signal_.kind == Signal::Kind::Counter && !isFloat(target_->code));
    }

    void checkHolds(const std::optional<JsonNode>& node, double value) {
        if (!node || !target_) {
            return;
        }
        const NumericRange range = numericRange(target_->code);
        if (value < range.lowest || value > range.highest) {
            problems_->add(*node, numberText(value) + " does not fit into " + typeTraits(target_->code)->name +
                                      "; stay within " + rangeText(target_->code));
        }
    }

    void readStep() {
        const auto node = object_.find("step");
        signal_.step = readNumber(node, problems_).value_or(1);
        if (node && signal_.kind == Signal::Kind::Counter && signal_.step == 0) {
            problems_->add(*node, "a counter with step 0 stands still; use another step, or the signal \"constant\"");
        }
        if (node && signal_.kind == Signal::Kind::RandomWalk && signal_.step <= 0) {
            problems_->add(*node, "is " + numberText(signal_.step) + "; write the largest change per period, above 0");
        }
    }

    void readPeriod() {
        const auto period = readInteger(object_.find("periodMs"), {1, kMaxPeriodMs}, problems_);
        signal_.periodMs = static_cast<int>(period.value_or(signal_.periodMs));
    }

    const SignalKind* kind_;
    ObjectReader object_;
    const TagFinder& tags_;
    ProblemList* problems_;
    Signal signal_;
    std::optional<Element> target_;
    std::optional<Element> source_;
};

// Who echoes whom; an echo that leads back to itself has no value.
class EchoChains {
public:
    void add(const SignalReader& reader, const Signal& signal, const JsonNode& node) {
        if (signal.kind != Signal::Kind::Echo || !reader.target() || !reader.source()) {
            return;
        }
        byTarget_.emplace(keyOf(*reader.target()), echoes_.size());
        echoes_.push_back({signal.tag, keyOf(*reader.source()), node});
    }

    void reportCircles(ProblemList* problems) const {
        std::vector<std::size_t> next;
        for (const EchoEntry& echo : echoes_) {
            const auto found = byTarget_.find(echo.source);
            next.push_back(found == byTarget_.end() ? kLeadsNowhere : found->second);
        }
        for (const std::vector<std::size_t>& circle : findCircles(next)) {
            std::string way;
            for (std::size_t i : circle) {
                way += echoes_[i].tag + " < ";
            }
            problems->add(echoes_[circle.front()].node, "echoes form a circle (" + way + echoes_[circle.front()].tag +
                                                            "); give one of them another signal");
        }
    }

private:
    struct EchoEntry {
        std::string tag;
        ElementKey source;
        JsonNode node;
    };
    std::vector<EchoEntry> echoes_;
    std::map<ElementKey, std::size_t> byTarget_;
};

std::vector<JsonNode> readEntries(const ObjectReader& section, const std::string& key, ProblemList* problems) {
    const auto node = section.find(key);
    std::vector<JsonNode> entries = readArray(node, problems);
    if (entries.size() > kMaxSimulationEntries) {
        problems->add(*node, "has " + std::to_string(entries.size()) + " entries; at most " +
                                 std::to_string(kMaxSimulationEntries) + " are possible");
    }
    entries.resize(std::min(entries.size(), kMaxSimulationEntries));
    return entries;
}

void readSignals(const ObjectReader& section, const TagFinder& tags, SymbolFile* file, ProblemList* problems) {
    NamedOnce targets;
    EchoChains echoes;
    for (const JsonNode& node : readEntries(section, "signals", problems)) {
        SignalReader reader(node, tags, problems);
        const Signal signal = reader.read();
        if (!reader.target() || targets.add(*reader.target(), node, problems)) {
            echoes.add(reader, signal, node);
        }
        file->signals.push_back(signal);
    }
    echoes.reportCircles(problems);
}

template <typename Integer>
bool isIntegerText(const std::string& text, Integer* value) {
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, *value);
    return result.ec == std::errc() && result.ptr == end;
}

bool fitsInteger(const std::string& text, IntegerLimits limits) {
    std::int64_t whole = 0;
    std::uint64_t natural = 0;
    if (isIntegerText(text, &natural)) {
        return natural <= limits.largest;
    }
    return isIntegerText(text, &whole) && whole >= limits.smallest;
}

bool fitsFloat(const std::string& text, NumericRange range) {
    double value = 0;
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end && std::isfinite(value) && value >= range.lowest &&
           value <= range.highest;
}

// "TRUE" or "FALSE", or an empty text when it is neither.
std::string truthText(const std::string& text) {
    if (text == "TRUE" || text == "true" || text == "1") {
        return "TRUE";
    }
    return text == "FALSE" || text == "false" || text == "0" ? "FALSE" : "";
}

// Why `text` cannot be the value of a variable of this type; empty: it can.
std::string objection(const std::string& text, const Element& target) {
    const TypeCode code = target.code;
    if (isText(code)) {
        const auto room = static_cast<std::size_t>(target.stringCharacters);
        const bool holdable = text.size() <= room && text.find('\0') == std::string::npos;
        return holdable ? "" : "a string holds at most " + std::to_string(room) + " bytes and no zero byte; shorten it";
    }
    if (isTruth(code)) {
        return truthText(text).empty() ? inQuotes(text) + " is no truth value; write true or false" : "";
    }
    if (isFloat(code) ? fitsFloat(text, numericRange(code)) : fitsInteger(text, integerLimits(code))) {
        return "";
    }
    return inQuotes(text) + " is no value for " + typeTraits(code)->name + "; write a " +
           (isFloat(code) ? "number from " : "whole number from ") + rangeText(code);
}

// One spelling for what a type lets people write in several ways.
std::string plainText(const std::string& text, TypeCode code) {
    if (isTruth(code)) {
        const std::string truth = truthText(text);
        return truth.empty() ? text : truth;
    }
    const std::optional<text::TimeKind> kind = timeKindOf(code);
    const std::optional<std::uint32_t> time = kind ? text::parseTimeLiteral(*kind, text) : std::nullopt;
    return time ? std::to_string(*time) : text;
}

void readInitialValues(const ObjectReader& section, const TagFinder& tags, SymbolFile* file, ProblemList* problems) {
    NamedOnce targets;
    for (const JsonNode& node : readEntries(section, "initial", problems)) {
        const ObjectReader object(node, {"tag", "value"}, problems);
        const auto tag = object.require("tag", "name the variable that gets the value");
        const std::optional<Element> target = tags.find(tag);
        const auto valueNode = object.require("value", "give the value that the variable starts with");
        const auto text = readScalar(valueNode, problems);
        if (target) {
            targets.add(*target, node, problems);
        }
        if (!target || !text) {
            continue;
        }
        const std::string value = plainText(*text, target->code);
        const std::string reason = objection(value, *target);
        if (!reason.empty()) {
            problems->add(*valueNode, reason);
        }
        file->initialValues.push_back({tag->value->text, value, node.line()});
    }
}

}  // namespace

void readSimulation(const std::optional<JsonNode>& section, TagLookup lookup, SymbolFile* file, ProblemList* problems) {
    if (!section) {
        return;
    }
    const ObjectReader object(*section, {"signals", "initial"}, problems);
    const TagFinder tags(*file, lookup, problems);
    readSignals(object, tags, file, problems);
    readInitialValues(object, tags, file, problems);
}

}  // namespace ac500::symbol_file
