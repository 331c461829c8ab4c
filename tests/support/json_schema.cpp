#include "tests/support/json_schema.h"

#include <fstream>
#include <regex>
#include <set>

#include "tests/support/places.h"

namespace ac500::test {

using nlohmann::json;

namespace {

const std::set<std::string> kNotes = {"$schema", "$defs", "title", "description"};

class Checker {
public:
    explicit Checker(const json& schema) : root_(schema) {}

    void check(const json& schema, const json& value, const std::string& place) {
        for (const auto& [keyword, rule] : schema.items()) {
            if (kNotes.count(keyword) == 0) {
                apply(keyword, rule, schema, value, place);
            }
        }
    }

    std::vector<std::string> complaints;

private:
    void complain(const std::string& place, const std::string& what) { complaints.push_back(place + ": " + what); }

    void expect(bool isGood, const std::string& place, const std::string& keyword, const json& rule,
                const json& value) {
        if (!isGood) {
            complain(place, keyword + " " + rule.dump() + " is not met by " + value.dump().substr(0, 200));
        }
    }

    void apply(const std::string& keyword, const json& rule, const json& schema, const json& value,
               const std::string& place) {
        if (keyword == "$ref") {
            check(root_.at(json::json_pointer(rule.get<std::string>().substr(1))), value, place);
        } else if (keyword == "type") {
            expect(isOfType(rule, value), place, keyword, rule, value);
        } else if (keyword == "const") {
            expect(value == rule, place, keyword, rule, value);
        } else if (keyword == "enum") {
            expect(std::find(rule.begin(), rule.end(), value) != rule.end(), place, keyword, rule, value);
        } else if (keyword == "anyOf") {
            expect(fitsAny(rule, value), place, keyword, rule, value);
        } else if (value.is_object() &&
                   (keyword == "properties" || keyword == "required" || keyword == "additionalProperties")) {
            applyToObject(keyword, rule, schema, value, place);
        } else if (value.is_array() && (keyword == "items" || keyword == "minItems" || keyword == "maxItems")) {
            applyToArray(keyword, rule, value, place);
        } else if (keyword == "minimum" || keyword == "maximum") {
            const bool isGood = !value.is_number() || (keyword == "minimum" ? value >= rule : value <= rule);
            expect(isGood, place, keyword, rule, value);
        } else if (keyword == "minLength") {
            expect(!value.is_string() || value.get<std::string>().size() >= rule, place, keyword, rule, value);
        } else if (keyword == "pattern") {
            expect(
                !value.is_string() || std::regex_search(value.get<std::string>(), std::regex(rule.get<std::string>())),
                place, keyword, rule, value);
        } else if (kOfOtherKinds.count(keyword) == 0) {
            complain(place, "the schema has a keyword that is not understood: " + keyword);
        }
    }

    void applyToObject(const std::string& keyword, const json& rule, const json& schema, const json& value,
                       const std::string& place) {
        if (keyword == "required") {
            for (const json& key : rule) {
                expect(value.contains(key.get<std::string>()), place, keyword, key, value);
            }
            return;
        }
        for (const auto& [key, member] : value.items()) {
            const bool isKnown = schema.contains("properties") && schema["properties"].contains(key);
            if (keyword == "properties" && isKnown) {
                check(rule[key], member, place + "." + key);
            } else if (keyword == "additionalProperties" && !isKnown && rule.is_object()) {
                check(rule, member, place + "." + key);
            } else if (keyword == "additionalProperties" && !isKnown) {
                expect(rule != false, place, keyword, rule, key);
            }
        }
    }

    void applyToArray(const std::string& keyword, const json& rule, const json& value, const std::string& place) {
        if (keyword != "items") {
            const bool isGood = keyword == "minItems" ? value.size() >= rule : value.size() <= rule;
            expect(isGood, place, keyword, rule, value);
            return;
        }
        for (std::size_t i = 0; i < value.size(); ++i) {
            check(rule, value[i], place + "[" + std::to_string(i) + "]");
        }
    }

    bool fitsAny(const json& rules, const json& value) const {
        return std::any_of(rules.begin(), rules.end(), [&](const json& rule) {
            Checker checker(root_);
            checker.check(rule, value, "");
            return checker.complaints.empty();
        });
    }

    static bool isOfType(const json& rule, const json& value) {
        if (rule.is_array()) {
            return std::any_of(rule.begin(), rule.end(), [&](const json& one) { return isOfType(one, value); });
        }
        return rule == value.type_name() || (rule == "integer" && value.is_number_integer());
    }

    // Understood, but nothing to the value at hand.
    const std::set<std::string> kOfOtherKinds = {"properties", "required", "additionalProperties",
                                                 "items",      "minItems", "maxItems"};
    const json& root_;
};

std::string schemaFile(const std::string& command) {
    return projectFile("docs/schema/" + command + ".schema.json");
}

}  // namespace

std::vector<std::string> schemaComplaints(const json& schema, const json& document) {
    Checker checker(schema);
    checker.check(schema, document, "document");
    return checker.complaints;
}

std::string outputComplaints(const std::string& command, const std::string& text) {
    std::ifstream file(schemaFile(command));
    const json schema = json::parse(file, nullptr, false);
    const json document = json::parse(text, nullptr, false);
    if (schema.is_discarded() || document.is_discarded()) {
        return schema.is_discarded() ? schemaFile(command) + " is no JSON" : "the output is no JSON: " + text;
    }
    std::string complaints;
    for (const std::string& complaint : schemaComplaints(schema, document)) {
        complaints += complaint + "\n";
    }
    return complaints;
}

bool hasOutputSchema(const std::string& command) {
    return std::ifstream(schemaFile(command)).good();
}

}  // namespace ac500::test
