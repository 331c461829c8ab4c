#include <algorithm>

#include "tools/symbol_file/symbol_document.h"

namespace ac500::symbol_file {
namespace {

constexpr std::size_t kIndent = 2;

std::string quotedJson(const std::string& text) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += std::string("\\") + c;
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (byte < 0x20 || byte == 0x7F) {
            quoted += std::string("\\u00") + kHex[byte >> 4] + kHex[byte & 0xF];
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

bool isObject(const JsonValue& value) {
    return value.kind == JsonValue::Kind::Object;
}

// Lists of objects are what files are long by: what holds one takes several lines, everything else one.
bool holdsObjectList(const JsonValue& value) {
    return (value.kind == JsonValue::Kind::Array && std::any_of(value.items.begin(), value.items.end(), isObject)) ||
           std::any_of(value.items.begin(), value.items.end(), holdsObjectList) ||
           std::any_of(value.members.begin(), value.members.end(),
                       [](const JsonMember& member) { return holdsObjectList(member.value); });
}

class JsonText {
public:
    void append(const JsonValue& value, std::size_t depth) {
        switch (value.kind) {
            case JsonValue::Kind::Null:
                text_ += "null";
                break;
            case JsonValue::Kind::Boolean:
                text_ += value.boolean ? "true" : "false";
                break;
            case JsonValue::Kind::Integer:
            case JsonValue::Kind::Decimal:
                text_ += value.text;
                break;
            case JsonValue::Kind::String:
                text_ += quotedJson(value.text);
                break;
            case JsonValue::Kind::Array:
            case JsonValue::Kind::Object:
                appendContainer(value, depth);
                break;
        }
    }

    const std::string& text() const { return text_; }

private:
    void appendContainer(const JsonValue& value, std::size_t depth) {
        const bool isLong = depth == 0 || holdsObjectList(value);
        const std::string separator = isLong ? ",\n" + std::string((depth + 1) * kIndent, ' ') : ", ";
        text_ += isObject(value) ? '{' : '[';
        bool isFirst = true;
        const auto begin = [&] {
            text_ += isFirst ? (isLong ? separator.substr(1) : "") : separator;
            isFirst = false;
        };
        for (const JsonValue& item : value.items) {
            begin();
            append(item, depth + 1);
        }
        for (const JsonMember& member : value.members) {
            begin();
            text_ += quotedJson(member.key) + ": ";
            append(member.value, depth + 1);
        }
        text_ += isLong ? "\n" + std::string(depth * kIndent, ' ') : "";
        text_ += isObject(value) ? '}' : ']';
    }

    std::string text_;
};

}  // namespace

std::string toJsonText(const JsonValue& document) {
    JsonText text;
    text.append(document, 0);
    return text.text() + "\n";
}

}  // namespace ac500::symbol_file
