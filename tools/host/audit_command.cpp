#include <fmt/format.h>

#include <algorithm>
#include <regex>

#include "tools/audit/audit_trail.h"
#include "tools/host/commands.h"
#include "tools/host/print.h"
#include "tools/selection/pattern.h"
#include "tools/text/text.h"

namespace ac500::host {

namespace {

using selection::Pattern;

bool isChosen(const AuditOptions& options, const audit::Entry& entry) {
    const std::string& time = entry.intent.time;
    const bool isInTime = time >= options.since && (options.until.empty() || time <= options.until ||
                                                    time.compare(0, options.until.size(), options.until) == 0);
    return isInTime && (options.tags.empty() ||
                        std::any_of(options.tags.begin(), options.tags.end(),
                                    [&](const std::string& tag) { return Pattern(tag).matches(entry.intent.tag); }));
}

bool isNumberUpTo(const std::string& text, std::size_t at, int least, int most) {
    const int number = std::stoi(text.substr(at, 2));
    return least <= number && number <= most;
}

bool isDay(const std::string& text) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int year = std::stoi(text);
    const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    if (!isNumberUpTo(text, 5, 1, 12)) {
        return false;
    }
    const int month = std::stoi(text.substr(5, 2));
    return isNumberUpTo(text, 8, 1, kDays[month - 1] + (month == 2 && isLeap ? 1 : 0));
}

// The beginning of a time as an audit has it, no shorter than its day: "2026-11-22", "2026-11-22T07:45:10.123Z".
bool isTime(const std::string& text) {
    static const std::regex kForm(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}(T[0-9]{2}(:[0-9]{2}(:[0-9]{2}(\\.[0-9]{1,3}|\\.[0-9]{3}Z)?)?)?)?");
    return std::regex_match(text, kForm) && isDay(text) && (text.size() < 13 || isNumberUpTo(text, 11, 0, 23)) &&
           (text.size() < 16 || isNumberUpTo(text, 14, 0, 59)) && (text.size() < 19 || isNumberUpTo(text, 17, 0, 59));
}

Failure wrongTime(const char* option, const std::string& text) {
    if (text.empty() || isTime(text)) {
        return {};
    }
    return {FailureKind::Usage, fmt::format("{} {}: no time; write the day, in UTC, and as much of the time as is "
                                            "needed: 2026-11-22, 2026-11-22T07 or 2026-11-22T07:45",
                                            option, text::withoutControls(text))};
}

std::string shown(const std::string& value, const std::string& forPeople) {
    return forPeople.empty() ? value : forPeople;
}

std::vector<std::string> rowOf(const audit::Entry& entry) {
    const audit::Intent& intent = entry.intent;
    const std::string what =
        fmt::format("{} -> {}", shown(intent.before, intent.shownBefore), shown(intent.after, intent.shownAfter));
    const std::string reason =
        entry.ending ? entry.ending->reason : "the program or the machine ended before the outcome was noted";
    return {intent.time,
            intent.user + "@" + intent.host,
            intent.tag,
            what,
            entry.outcome() + (entry.isUndone          ? ", taken back"
                               : intent.undoes.empty() ? ""
                                                       : ", takes back"),
            reason};
}

Json entryJson(const audit::Entry& entry) {
    Json json = Json::parse(audit::textOf(entry.intent));
    json.erase("version");
    json.erase("event");
    json["outcome"] = entry.outcome();
    json["ended"] = entry.ending ? Json(entry.ending->time) : Json();
    if (entry.ending && !entry.ending->reason.empty()) {
        json["reason"] = entry.ending->reason;
    }
    json["undone"] = entry.isUndone;
    return json;
}

Json unreadableJson(const audit::UnreadableLine& line) {
    return {{"file", line.file}, {"line", line.line}, {"what", line.what}};
}

}  // namespace

int runAudit(const CommandContext& context) {
    const AuditOptions& options = context.options().audit;
    for (const std::string& tag : options.tags) {
        if (tag.size() > Pattern::kLongest) {
            return context.cannotBegin({FailureKind::Usage, fmt::format("--tag {}: longer than any tag", tag)});
        }
    }
    for (const Failure& failure : {wrongTime("--since", options.since), wrongTime("--until", options.until)}) {
        if (failure.occurred()) {
            return context.cannotBegin(failure);
        }
    }
    std::string error;
    const std::optional<audit::Trail> trail = audit::readTrail(options.file, &error);
    if (!trail) {
        return context.cannotBegin({FailureKind::File, error});
    }
    Json json = newDocument();
    json["writes"] = Json::array();
    json["unreadable"] = Json::array();
    std::vector<std::vector<std::string>> rows;
    for (const audit::Entry& entry : trail->entries) {
        if (isChosen(options, entry)) {
            json["writes"].push_back(entryJson(entry));
            rows.push_back(rowOf(entry));
        }
    }
    for (const audit::UnreadableLine& line : trail->unreadable) {
        json["unreadable"].push_back(unreadableJson(line));
        note(fmt::format("{}:{}: {}; the line is kept, and left out here", line.file, line.line, line.what));
    }
    if (context.options().json) {
        printJson(json);
    } else {
        printTable(rows);
    }
    return 0;
}

}  // namespace ac500::host
