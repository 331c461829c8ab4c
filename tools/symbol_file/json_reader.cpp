#include "tools/symbol_file/json_reader.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <tuple>
#include <utility>

#include "tools/text/near_names.h"
#include "tools/text/text.h"

namespace ac500::symbol_file {
namespace {

const char* kindName(JsonValue::Kind kind) {
    switch (kind) {
        case JsonValue::Kind::Null:
            return "null";
        case JsonValue::Kind::Boolean:
            return "a boolean";
        case JsonValue::Kind::Integer:
        case JsonValue::Kind::Decimal:
            return "a number";
        case JsonValue::Kind::String:
            return "a string";
        case JsonValue::Kind::Array:
            return "an array";
        case JsonValue::Kind::Object:
            return "an object";
    }
    return "";
}

std::string isNot(const JsonValue& value, const std::string& expected) {
    return std::string("is ") + kindName(value.kind) + "; write " + expected;
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + inQuotes(name);
    }
    return list;
}

}  // namespace

JsonNode JsonNode::item(std::size_t index) const {
    return {&value->items[index], path + "[" + std::to_string(index) + "]"};
}

JsonNode JsonNode::member(const JsonMember& member) const {
    return {&member.value, path.empty() ? shown(member.key) : path + "." + shown(member.key)};
}

void ProblemList::add(const JsonNode& node, const std::string& what) {
    problems_.push_back({node.value->position.line, node.value->position.column, node.path, what});
}

void ProblemList::addAtKey(const JsonNode& object, const JsonMember& member, const std::string& what) {
    problems_.push_back({member.position.line, member.position.column, object.path, what});
}

std::vector<Problem> ProblemList::inLineOrder() const {
    std::vector<Problem> sorted = problems_;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Problem& a, const Problem& b) {
        return std::tie(a.line, a.column) < std::tie(b.line, b.column);
    });
    return sorted;
}

ObjectReader::ObjectReader(JsonNode node, const std::vector<std::string>& keys, ProblemList* problems)
    : node_(std::move(node)), problems_(problems) {
    if (isObject()) {
        checkKeys(keys);
    } else {
        problems_->add(node_, isNot(*node_.value, "an object with " + listed(keys)));
    }
}

void ObjectReader::checkKeys(const std::vector<std::string>& keys) {
    std::set<std::string> seen;
    for (const JsonMember& member : node_.value->members) {
        if (std::find(keys.begin(), keys.end(), member.key) == keys.end()) {
            problems_->addAtKey(
                node_, member,
                "unknown key " + inQuotes(member.key) + suggestion(member.key, keys, "allowed are " + listed(keys)));
            const std::vector<std::string> near = text::nearNames(member.key, keys, 1);
            suggested_.insert(near.begin(), near.end());
        } else if (!seen.insert(member.key).second) {
            problems_->addAtKey(node_, member, "the key " + inQuotes(member.key) + " occurs twice; remove one");
        }
    }
}

std::optional<JsonNode> ObjectReader::find(const std::string& key) const {
    for (const JsonMember& member : node_.value->members) {
        if (member.key == key) {
            return node_.member(member);
        }
    }
    return std::nullopt;
}

std::optional<JsonNode> ObjectReader::require(const std::string& key, const std::string& remedy) const {
    std::optional<JsonNode> found = find(key);
    if (!found && isObject() && !isMisspelt(key)) {
        problems_->add(node_, inQuotes(key) + " is missing; " + remedy);
    }
    return found;
}

std::optional<std::string> readScalar(const std::optional<JsonNode>& node, ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    const JsonValue& value = *node->value;
    switch (value.kind) {
        case JsonValue::Kind::Boolean:
            return value.boolean ? "TRUE" : "FALSE";
        case JsonValue::Kind::Integer:
        case JsonValue::Kind::Decimal:
        case JsonValue::Kind::String:
            return value.text;
        case JsonValue::Kind::Null:
        case JsonValue::Kind::Array:
        case JsonValue::Kind::Object:
            break;
    }
    problems->add(*node, isNot(value, "a number, a boolean or a string"));
    return std::nullopt;
}

std::optional<std::string> readText(const std::optional<JsonNode>& node, ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    if (node->value->kind == JsonValue::Kind::String) {
        return node->value->text;
    }
    problems->add(*node, isNot(*node->value, "a string"));
    return std::nullopt;
}

std::optional<bool> readBoolean(const std::optional<JsonNode>& node, ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    if (node->value->kind == JsonValue::Kind::Boolean) {
        return node->value->boolean;
    }
    problems->add(*node, isNot(*node->value, "true or false"));
    return std::nullopt;
}

std::optional<double> readNumber(const std::optional<JsonNode>& node, ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    if (node->value->kind == JsonValue::Kind::Integer || node->value->kind == JsonValue::Kind::Decimal) {
        return node->value->number;
    }
    problems->add(*node, isNot(*node->value, "a number"));
    return std::nullopt;
}

std::optional<std::int64_t> readInteger(const std::optional<JsonNode>& node, IntegerRange range,
                                        ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    const JsonValue& value = *node->value;
    const std::string smallest = std::to_string(range.smallest);
    const std::string expected = range.smallest == range.largest
                                     ? smallest
                                     : "a whole number from " + smallest + " to " + std::to_string(range.largest);
    const bool isInteger = value.kind == JsonValue::Kind::Integer;
    if (isInteger && value.integer >= range.smallest && value.integer <= range.largest) {
        return value.integer;
    }
    const bool isNumber = isInteger || value.kind == JsonValue::Kind::Decimal;
    problems->add(*node, isNumber ? "is " + value.text + "; write " + expected : isNot(value, expected));
    return std::nullopt;
}

std::vector<JsonNode> readArray(const std::optional<JsonNode>& node, ProblemList* problems) {
    std::vector<JsonNode> items;
    if (!node) {
        return items;
    }
    if (node->value->kind != JsonValue::Kind::Array) {
        problems->add(*node, isNot(*node->value, "an array"));
    }
    for (std::size_t i = 0; i < node->value->items.size(); ++i) {
        items.push_back(node->item(i));
    }
    return items;
}

std::string numberText(double value) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::string shown(const std::string& text) {
    constexpr std::size_t kMaxShown = 60;
    std::size_t end = kMaxShown;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        ++end;  // whole characters only
    }
    return text::withoutControls(end >= text.size() ? text : text.substr(0, end) + "...");
}

std::string inQuotes(const std::string& text) {
    return "\"" + shown(text) + "\"";
}

std::string suggestion(const std::string& text, const std::vector<std::string>& candidates,
                       const std::string& fallback) {
    const std::vector<std::string> near = text::nearNames(text, candidates, 1);
    return near.empty() ? "; " + fallback : "; did you mean " + inQuotes(near.front()) + "?";
}

}  // namespace ac500::symbol_file
