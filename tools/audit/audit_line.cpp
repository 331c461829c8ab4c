#include "tools/audit/audit_line.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace ac500::audit {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;

std::string onOneLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void addUnlessEmpty(const char* key, const std::string& text, Json* json) {
    if (!text.empty()) {
        (*json)[key] = text;
    }
}

// Takes the keys of an object one by one and keeps the first that is missing or of another kind.
class Keys {
public:
    explicit Keys(const Json& json) : json_(json) {}

    std::string text(const char* key) { return take(key, true, &Json::is_string) ? json_[key].get<std::string>() : ""; }
    std::string optionalText(const char* key) {
        return take(key, false, &Json::is_string) ? json_[key].get<std::string>() : "";
    }
    std::int64_t number(const char* key) {
        return take(key, true, &Json::is_number_integer) ? json_[key].get<std::int64_t>() : 0;
    }
    const std::string& problem() const { return problem_; }

private:
    bool take(const char* key, bool isNeeded, bool (Json::*isOfKind)() const noexcept) {
        const bool isThere = json_.contains(key);
        const bool isGood = isThere && (json_[key].*isOfKind)();
        if (!isGood && (isThere || isNeeded) && problem_.empty()) {
            problem_ = std::string("\"") + key + (isThere ? "\" is of another kind" : "\" is missing");
        }
        return isGood;
    }

    const Json& json_;
    std::string problem_;
};

Intent intentOf(Keys* keys) {
    Intent intent;
    intent.id = keys->text("id");
    intent.time = keys->text("time");
    intent.user = keys->text("user");
    intent.host = keys->text("host");
    intent.plc = keys->text("plc");
    intent.tag = keys->text("tag");
    intent.type = keys->text("type");
    intent.area = static_cast<int>(keys->number("area"));
    intent.address = keys->number("address");
    intent.before = keys->text("old");
    intent.after = keys->text("new");
    intent.shownBefore = keys->optionalText("old_shown");
    intent.shownAfter = keys->optionalText("new_shown");
    intent.number = keys->optionalText("number");
    intent.undoes = keys->optionalText("undoes");
    return intent;
}

Ending endingOf(Keys* keys) {
    Ending ending;
    ending.of = keys->text("of");
    ending.time = keys->text("time");
    ending.outcome = keys->text("outcome");
    ending.reason = keys->optionalText("reason");
    return ending;
}

}  // namespace

std::string textOf(const Intent& intent) {
    Json json{{"version", kVersion}, {"event", "write"},    {"id", intent.id},           {"time", intent.time},
              {"user", intent.user}, {"host", intent.host}, {"plc", intent.plc},         {"tag", intent.tag},
              {"type", intent.type}, {"area", intent.area}, {"address", intent.address}, {"old", intent.before},
              {"new", intent.after}};
    addUnlessEmpty("old_shown", intent.shownBefore, &json);
    addUnlessEmpty("new_shown", intent.shownAfter, &json);
    addUnlessEmpty("number", intent.number, &json);
    addUnlessEmpty("undoes", intent.undoes, &json);
    return onOneLine(json);
}

std::string textOf(const Ending& ending) {
    Json json{{"version", kVersion},
              {"event", "outcome"},
              {"of", ending.of},
              {"time", ending.time},
              {"outcome", ending.outcome}};
    addUnlessEmpty("reason", ending.reason, &json);
    return onOneLine(json);
}

std::optional<Line> parseLine(const std::string& text, std::string* error) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        *error = "it is no JSON object";
        return std::nullopt;
    }
    Keys keys(json);
    const std::int64_t version = keys.number("version");
    const std::string event = keys.text("event");
    const bool isIntent = event == "write";
    std::optional<Line> line;
    if (isIntent) {
        line = intentOf(&keys);
    } else if (event == "outcome") {
        line = endingOf(&keys);
    }
    if (!keys.problem().empty()) {
        *error = keys.problem();
        return std::nullopt;
    }
    if (!line || version != kVersion) {
        *error = !line ? "\"event\" is neither \"write\" nor \"outcome\"" : "its version is not 1";
        return std::nullopt;
    }
    return line;
}

bool mayBeginAudit(const std::string& text) {
    // As every line begins that textOf() makes.
    static const std::string kBeginning = R"({"version":1,"event":")";
    const std::size_t length = std::min(text.size(), kBeginning.size());
    std::string ignored;
    const bool isTorn = text.empty() || text.back() != '}';
    return (isTorn && text.compare(0, length, kBeginning, 0, length) == 0) || parseLine(text, &ignored);
}

}  // namespace ac500::audit
