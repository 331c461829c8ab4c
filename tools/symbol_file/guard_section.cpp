#include "tools/symbol_file/guard_section.h"

#include <string>
#include <utility>

#include "tools/symbol_file/limits.h"

namespace ac500::symbol_file {
namespace {

bool isWhole(const Element& element) {
    const TypeKind kind = kindOf(element.code);
    const bool isNumber = kind == TypeKind::Signed || kind == TypeKind::Unsigned || kind == TypeKind::BitString;
    return isNumber && !timeKindOf(element.code) && element.bit < 0;
}

// Why the variable cannot be a guard; empty: it can.
std::string objection(const Element& element) {
    if (!isWhole(element)) {
        return "is no whole number; a guard is a variable of a type like UDINT that holds the number of the program";
    }
    if (element.notes && element.notes->scale) {
        return "is scaled; a guard holds the number of the program as it is, remove its \"scale\"";
    }
    return std::string();
}

bool fits(const text::WholeNumber& value, TypeCode code) {
    const IntegerLimits limits = integerLimits(code);
    return !(value < text::wholeNumber(limits.smallest)) && !(text::wholeNumber(limits.largest) < value);
}

std::string integerRangeText(TypeCode code) {
    const IntegerLimits limits = integerLimits(code);
    return std::to_string(limits.smallest) + " to " + std::to_string(limits.largest);
}

class GuardReader {
public:
    GuardReader(TagLookup lookup, SymbolFile* file, ProblemList* problems)
        : lookup_(lookup), file_(file), problems_(problems) {}

    void read(const JsonNode& node) {
        const ObjectReader object(node, {"tag", "value"}, problems_);
        const auto tagNode = object.require("tag", "name the variable that holds the number of the program");
        const auto tag = readText(tagNode, problems_);
        const auto valueNode = object.require("value", "give the number that the program holds there");
        const auto text = readScalar(valueNode, problems_);
        if (!tag || !text) {
            return;
        }
        text::WholeNumber value;
        if (text::parseWholeNumber(*text, &value) != text::Digits::Good) {
            problems_->add(*valueNode, "is " + shown(*text) + "; write a whole number");
            return;
        }
        if (value.magnitude == 0) {
            problems_->add(*valueNode,
                           "is 0, which memory holds that no program has filled; give the program another number");
            return;
        }
        for (const GuardTag& other : file_->guards) {
            if (other.tag == *tag) {
                problems_->add(*tagNode, inQuotes(*tag) + " is a guard already, in line " + std::to_string(other.line) +
                                             "; remove one of them");
            }
        }
        if (lookup_ == TagLookup::Possible) {
            checkVariable(*tag, *tagNode, value, *valueNode);
        }
        file_->guards.push_back({*tag, value, node.line()});
    }

private:
    void checkVariable(const std::string& tag, const JsonNode& tagNode, const text::WholeNumber& value,
                       const JsonNode& valueNode) {
        std::string error;
        const std::optional<Element> element = findElement(*file_, tag, &error);
        if (!element) {
            problems_->add(tagNode, error);
        } else if (const std::string reason = objection(*element); !reason.empty()) {
            problems_->add(tagNode, inQuotes(tag) + " " + reason);
        } else if (!fits(value, element->code)) {
            problems_->add(valueNode, "is " + text::toText(value) + ", no value for " +
                                          typeTraits(element->code)->name + "; write a whole number from " +
                                          integerRangeText(element->code));
        }
    }

    const TagLookup lookup_;
    SymbolFile* file_;
    ProblemList* problems_;
};

}  // namespace

void readGuard(const std::optional<JsonNode>& section, TagLookup lookup, SymbolFile* file, ProblemList* problems) {
    const std::vector<JsonNode> entries = readArray(section, problems);
    if (entries.size() > kMaxGuards) {
        problems->add(*section, "has " + std::to_string(entries.size()) + " guards; give at most " +
                                    std::to_string(kMaxGuards) + ", one for each memory area is plenty");
        return;
    }
    GuardReader reader(lookup, file, problems);
    for (const JsonNode& entry : entries) {
        reader.read(entry);
    }
}

}  // namespace ac500::symbol_file
