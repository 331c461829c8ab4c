// Reading a JSON document against expectations: each function takes a value out of its place or reports why it cannot.
// No threads.
#ifndef AC500_TOOLS_SYMBOL_FILE_JSON_READER_H
#define AC500_TOOLS_SYMBOL_FILE_JSON_READER_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// A value of the document and the way to it: "scopes[0].variables[3].type". The document outlives its nodes.
struct JsonNode {
    const JsonValue* value = nullptr;
    std::string path;

    int line() const { return value->position.line; }
    JsonNode item(std::size_t index) const;
    JsonNode member(const JsonMember& member) const;
};

// Collects what is wrong. `what` says what is wrong and what to do.
class ProblemList {
public:
    void add(const JsonNode& node, const std::string& what);
    void addAtKey(const JsonNode& object, const JsonMember& member, const std::string& what);
    std::size_t count() const { return problems_.size(); }
    std::vector<Problem> inLineOrder() const;

private:
    std::vector<Problem> problems_;
};

// One object whose keys are known. Construction reports a value that is no object, unknown keys and duplicate keys.
class ObjectReader {
public:
    ObjectReader(JsonNode node, const std::vector<std::string>& keys, ProblemList* problems);

    const JsonNode& node() const { return node_; }
    bool isObject() const { return node_.value->kind == JsonValue::Kind::Object; }

    // The value of a key, or nothing.
    std::optional<JsonNode> find(const std::string& key) const;
    // The same; an absent key is a problem and `remedy` says what to give, unless a misspelt one was reported.
    std::optional<JsonNode> require(const std::string& key, const std::string& remedy) const;
    // Was a key reported that is likely to mean this one?
    bool isMisspelt(const std::string& key) const { return suggested_.count(key) > 0; }

private:
    void checkKeys(const std::vector<std::string>& keys);

    JsonNode node_;
    ProblemList* problems_;
    std::set<std::string> suggested_;  // keys that a misspelt one is likely to mean
};

struct IntegerRange {
    std::int64_t smallest;
    std::int64_t largest;
};

// Each reports a value of another kind and then gives nothing. Absent nodes give nothing without a report.
std::optional<std::string> readText(const std::optional<JsonNode>& node, ProblemList* problems);
// A number, boolean or string as text: "12", "TRUE", "hello".
std::optional<std::string> readScalar(const std::optional<JsonNode>& node, ProblemList* problems);
std::optional<bool> readBoolean(const std::optional<JsonNode>& node, ProblemList* problems);
std::optional<double> readNumber(const std::optional<JsonNode>& node, ProblemList* problems);
std::optional<std::int64_t> readInteger(const std::optional<JsonNode>& node, IntegerRange range, ProblemList* problems);
std::vector<JsonNode> readArray(const std::optional<JsonNode>& node, ProblemList* problems);

// The shortest text that means the same number.
std::string numberText(double value);

// A text for a message: long ones are cut, control characters replaced.
std::string shown(const std::string& text);
// The same in quotes.
std::string inQuotes(const std::string& text);

// ; did you mean "WORD"?  or, without a likely candidate, "; " and the fallback.
std::string suggestion(const std::string& text, const std::vector<std::string>& candidates,
                       const std::string& fallback);

}  // namespace ac500::symbol_file

#endif
