// JsonValue is a JSON document that remembers where everything stands, so that a message can point at it.
// Plain values, no threads.
#ifndef AC500_TOOLS_SYMBOL_FILE_JSON_DOCUMENT_H
#define AC500_TOOLS_SYMBOL_FILE_JSON_DOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// A place in a text, both from 1; columns count characters, not bytes.
struct TextPosition {
    int line = 1;
    int column = 1;
};

struct JsonMember;

struct JsonValue {
    enum class Kind { Null, Boolean, Integer, Decimal, String, Array, Object };

    Kind kind = Kind::Null;
    TextPosition position;            // of the value's first character
    bool boolean = false;             // Boolean
    std::int64_t integer = 0;         // Integer; beyond 64 signed bits: the largest
    double number = 0;                // Integer and Decimal
    std::string text;                 // String: the content; Integer and Decimal: the number as text
    std::vector<JsonValue> items;     // Array
    std::vector<JsonMember> members;  // Object, in file order, duplicate keys included
};

struct JsonMember {
    std::string key;
    TextPosition position;  // of the key
    JsonValue value;
};

struct ParsedJson {
    JsonValue root;                 // complete exactly when `problems` is empty
    std::vector<Problem> problems;  // at most one: what follows a syntax error cannot be judged
};

// How many bytes of a UTF-8 text its byte order mark takes: 3, or 0 without one.
std::size_t byteOrderMarkBytes(const std::string& text);

// Parses UTF-8 text, with or without a byte order mark. Nesting and size of the document are bounded (limits.h).
ParsedJson parseJson(const std::string& text);

}  // namespace ac500::symbol_file

#endif
