#include "tools/symbol_file/json_document.h"

#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/symbol_file/limits.h"
#include "tools/text/text.h"

namespace ac500::symbol_file {
namespace {

struct TokenStart {
    std::size_t offset = 0;
    TextPosition position;
};

// Follows the parser through the text, character by character, and knows where the latest tokens began. The parser
// itself only knows where it stands, which is at the end of a token or, for numbers, one character further.
class PositionTracker {
public:
    void advance(char c) {
        if (inString_) {
            followString(c);
        } else {
            followToken(c);
        }
        ++offset_;
        moveOn(c);
    }

    // Where the value began that the parser has just reported. A number's look-ahead never touches the next value.
    TextPosition latestValue() const { return latestValue_; }

    // Where the token began that ends before `consumedBytes`.
    TextPosition tokenBefore(std::size_t consumedBytes) const {
        return latestToken_.offset < consumedBytes ? latestToken_.position : previousToken_.position;
    }

    TextPosition here() const { return here_; }
    bool insideString() const { return inString_; }

private:
    void followString(char c) {
        if (escaped_) {
            escaped_ = false;
        } else if (c == '\\') {
            escaped_ = true;
        } else if (c == '"') {
            inString_ = false;
            betweenTokens_ = true;
        }
    }

    void followToken(char c) {
        const bool blank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        const bool closing = c == ',' || c == ':' || c == ']' || c == '}';
        const bool opening = c == '{' || c == '[' || c == '"';
        if (!blank && (closing || opening || betweenTokens_)) {
            noteToken();
            if (!closing) {
                latestValue_ = here_;
            }
        }
        betweenTokens_ = blank || closing || opening;
        inString_ = c == '"';
    }

    void noteToken() {
        previousToken_ = latestToken_;
        latestToken_.offset = offset_;
        latestToken_.position = here_;
    }

    void moveOn(char c) {
        const bool continuesCharacter = (static_cast<unsigned char>(c) & 0xC0) == 0x80;
        if (c == '\n') {
            ++here_.line;
            here_.column = 1;
        } else if (!continuesCharacter) {
            ++here_.column;
        }
    }

    std::size_t offset_ = 0;
    TextPosition here_;
    TokenStart latestToken_;
    TokenStart previousToken_;
    TextPosition latestValue_;
    bool betweenTokens_ = true;
    bool inString_ = false;
    bool escaped_ = false;
};

// Hands the text to the parser and tells the tracker about every character taken.
class TrackedIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TrackedIterator(const char* at, PositionTracker* tracker) : at_(at), tracker_(tracker) {}

    reference operator*() const { return *at_; }
    TrackedIterator& operator++() {
        tracker_->advance(*at_++);
        return *this;
    }
    TrackedIterator operator++(int) {
        TrackedIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const TrackedIterator& other) const { return at_ == other.at_; }
    bool operator!=(const TrackedIterator& other) const { return at_ != other.at_; }

private:
    const char* at_;
    PositionTracker* tracker_;
};

// The parser's own message begins with its name and a position of its own; only the rest is of use.
std::string reasonIn(const std::string& message) {
    constexpr std::size_t kMaxReason = 300;
    const std::size_t column = message.find("column ");
    const std::size_t start = column == std::string::npos ? std::string::npos : message.find(": ", column);
    const std::string reason = start == std::string::npos ? message : message.substr(start + 2);
    return text::withoutControls(reason.substr(0, kMaxReason));
}

// Builds the document from the parser's events. Every handler answers whether the parser is to go on.
class DocumentBuilder {
public:
    DocumentBuilder(ParsedJson* target, const PositionTracker* tracker, std::size_t textBytes)
        : target_(target), tracker_(tracker), textBytes_(textBytes) {}

    bool null() { return add(JsonValue::Kind::Null) != nullptr; }

    bool boolean(bool value) {
        JsonValue* added = add(JsonValue::Kind::Boolean);
        if (added) {
            added->boolean = value;
        }
        return added != nullptr;
    }

    bool number_integer(std::int64_t value) {
        return addNumber(JsonValue::Kind::Integer, static_cast<double>(value), std::to_string(value), value);
    }

    bool number_unsigned(std::uint64_t value) {
        const std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
        return addNumber(JsonValue::Kind::Integer, static_cast<double>(value), std::to_string(value),
                         static_cast<std::int64_t>(value < largest ? value : largest));
    }

    bool number_float(double value, const std::string& spelling) {
        return addNumber(JsonValue::Kind::Decimal, value, spelling, 0);
    }

    bool string(const std::string& value) {
        JsonValue* added = add(JsonValue::Kind::String);
        if (added) {
            added->text = value;
        }
        return added != nullptr;
    }

    // JSON text has no binary values; the parser's interface asks for the function.
    bool binary(const nlohmann::json::binary_t&) { return false; }

    bool start_object(std::size_t) { return open(JsonValue::Kind::Object); }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(JsonValue::Kind::Array); }
    bool end_array() { return close(); }

    bool key(const std::string& name) {
        JsonMember member;
        member.key = name;
        member.position = tracker_->latestValue();
        open_.back()->members.push_back(std::move(member));
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& error) {
        const bool atEnd = position > textBytes_ && !tracker_->insideString();
        return fail(atEnd ? tracker_->here() : tracker_->tokenBefore(position),
                    "this is not valid JSON: " + reasonIn(error.what()) +
                        "; look for a comma, quote or bracket too few or too many, here or just before");
    }

private:
    bool fail(TextPosition position, std::string what) {
        target_->problems.push_back({position.line, position.column, "", std::move(what)});
        return false;
    }

    JsonValue* place() {
        if (open_.empty()) {
            return &target_->root;
        }
        JsonValue& parent = *open_.back();
        if (parent.kind == JsonValue::Kind::Object) {
            return &parent.members.back().value;
        }
        parent.items.emplace_back();
        return &parent.items.back();
    }

    JsonValue* add(JsonValue::Kind kind) {
        if (++count_ > kMaxJsonValues) {
            fail(tracker_->latestValue(), "the document holds more than " + std::to_string(kMaxJsonValues) +
                                              " values; split the plant into several files");
            return nullptr;
        }
        JsonValue* added = place();
        added->kind = kind;
        added->position = tracker_->latestValue();
        return added;
    }

    bool addNumber(JsonValue::Kind kind, double number, std::string text, std::int64_t integer) {
        JsonValue* added = add(kind);
        if (!added) {
            return false;
        }
        added->number = number;
        added->text = std::move(text);
        added->integer = integer;
        return true;
    }

    // Containers in `open_` stay where they are: a container grows only while nothing inside it is open.
    bool open(JsonValue::Kind kind) {
        if (open_.size() >= static_cast<std::size_t>(kMaxJsonNesting)) {
            return fail(tracker_->latestValue(), "objects and arrays nest deeper than " +
                                                     std::to_string(kMaxJsonNesting) +
                                                     " levels; no part of a symbol file needs that");
        }
        JsonValue* added = add(kind);
        if (added) {
            open_.push_back(added);
        }
        return added != nullptr;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    ParsedJson* target_;
    const PositionTracker* tracker_;
    std::size_t textBytes_;
    std::vector<JsonValue*> open_;
    int count_ = 0;
};

}  // namespace

std::size_t byteOrderMarkBytes(const std::string& text) {
    return text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
}

ParsedJson parseJson(const std::string& text) {
    ParsedJson parsed;
    PositionTracker tracker;
    const char* begin = text.data() + byteOrderMarkBytes(text);
    const char* end = text.data() + text.size();
    DocumentBuilder builder(&parsed, &tracker, static_cast<std::size_t>(end - begin));
    nlohmann::json::sax_parse(TrackedIterator(begin, &tracker), TrackedIterator(end, &tracker), &builder);
    return parsed;
}

}  // namespace ac500::symbol_file
