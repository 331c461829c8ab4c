#include "tools/simulator/fault_rule.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "tools/text/text.h"

namespace ac500::sim {

namespace {

constexpr std::int32_t kLongestMs = 600000;

constexpr FaultTraits kFaults[] = {
    {FaultKind::Delay, "delay", "ms", 200, 1, kLongestMs, "the reply comes this much later (ms, default 200)"},
    {FaultKind::Silence, "silence", nullptr, 0, 0, 0, "no reply"},
    {FaultKind::Late, "late", "ms", 3000, 1, kLongestMs,
     "the reply comes after the client has given up, later replies overtake it (ms, default 3000)"},
    {FaultKind::Truncate, "truncate", "bytes", 0, 1, 65535, "only the first bytes of the reply (bytes, default half)"},
    {FaultKind::Length, "length", "bytes", 1, -65535, 65535, "length field wrong by this much (bytes, default +1)"},
    {FaultKind::Status, "status", "value", 0x0F01, 1, 0xFFFF, "status word not 0 (value, default 0x0F01)"},
    {FaultKind::Fragments, "fragments", "ms", 1, 1, 1000, "the reply byte by byte, this far apart (ms, default 1)"},
    {FaultKind::Glue, "glue", "copies", 2, 2, 16, "the reply this many times in one piece (copies, default 2)"},
    {FaultKind::Reset, "reset", nullptr, 0, 0, 0, "connection reset instead of a reply"},
    {FaultKind::Restart, "restart", nullptr, 0, 0, 0,
     "new session bytes, all connections closed, memory kept, no reply"},
    {FaultKind::Repeat, "repeat", "ms", 50, 1, kLongestMs,
     "the reply, and once more this much later, unasked (ms, default 50)"},
};

std::string kindNames() {
    std::string names;
    for (const FaultTraits& traits : kFaults) {
        names += (names.empty() ? "" : ", ") + std::string(traits.name);
    }
    return names;
}

bool parseInteger(const std::string& text, std::int64_t* value) {
    char* end = nullptr;
    errno = 0;
    *value = std::strtoll(text.c_str(), &end, 0);
    return errno == 0 && !text.empty() && *end == '\0';
}

// Each setter reads one key's value into the rule; what it returns is the error, empty for none.

std::string setArgument(const FaultTraits& traits, const std::string& text, FaultRule* rule) {
    std::int64_t value = 0;
    if (!parseInteger(text, &value) || value == 0 || !acceptsArgument(traits, value)) {
        return fmt::format("{} must be a number from {} to {}{}, not \"{}\"", traits.argumentKey, traits.smallest,
                           traits.largest, traits.smallest < 0 ? " other than 0" : "", text);
    }
    rule->fault.argument = static_cast<std::int32_t>(value);
    return std::string();
}

std::string setPositive(const std::string& key, const std::string& text, std::uint32_t* target) {
    std::int64_t value = 0;
    if (!parseInteger(text, &value) || value < 1 || value > std::numeric_limits<std::int32_t>::max()) {
        return fmt::format("{} must be a whole number from 1 on, not \"{}\"", key, text);
    }
    *target = static_cast<std::uint32_t>(value);
    return std::string();
}

std::string setRate(const std::string& text, FaultRule* rule) {
    char* end = nullptr;
    rule->rate = std::strtod(text.c_str(), &end);
    const bool good = !text.empty() && *end == '\0' && rule->rate > 0 && rule->rate <= 1;
    return good ? std::string() : fmt::format("rate must be above 0 and at most 1, not \"{}\"", text);
}

std::string setService(const std::string& text, FaultRule* rule) {
    rule->service = wire::serviceNamed(text);
    return rule->service ? std::string()
                         : fmt::format("service must be hello, symbols, read or write, not \"{}\"", text);
}

std::string setTrigger(const std::string& key, const std::string& text, FaultRule* rule) {
    if (rule->trigger != FaultRule::Trigger::Always) {
        return "at, every and rate exclude each other; give one rule for each";
    }
    if (key == "rate") {
        rule->trigger = FaultRule::Trigger::Rate;
        return setRate(text, rule);
    }
    rule->trigger = key == "at" ? FaultRule::Trigger::At : FaultRule::Trigger::Every;
    return setPositive(key, text, &rule->number);
}

std::string setKey(const FaultTraits& traits, const std::string& key, const std::string& text, FaultRule* rule) {
    if (key == "at" || key == "every" || key == "rate") {
        return setTrigger(key, text, rule);
    }
    if (key == "count") {
        return setPositive(key, text, &rule->count);
    }
    if (key == "service") {
        return setService(text, rule);
    }
    if (traits.argumentKey != nullptr && key == traits.argumentKey) {
        return setArgument(traits, text, rule);
    }
    const std::string own = traits.argumentKey != nullptr ? std::string(traits.argumentKey) + ", " : std::string();
    return fmt::format("{} has no key \"{}\"; it takes {}at, every, rate, count, service", traits.name, key, own);
}

struct KeyValue {
    std::string key;
    std::string value;
};

std::string parseSettings(const FaultTraits& traits, const std::string& settings, FaultRule* rule) {
    std::set<std::string> seen;
    for (const std::string& setting : text::split(settings, ',')) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos) {
            return fmt::format("\"{}\" is no key=value", setting);
        }
        const std::string key = setting.substr(0, equals);
        if (!seen.insert(key).second) {
            return fmt::format("{} is given twice", key);
        }
        const std::string error = setKey(traits, key, setting.substr(equals + 1), rule);
        if (!error.empty()) {
            return error;
        }
    }
    return std::string();
}

std::string parseInto(const std::string& text, FaultRule* rule) {
    const std::size_t colon = text.find(':');
    const std::string name = text.substr(0, colon);
    const FaultTraits* traits = faultTraits(name);
    if (traits == nullptr) {
        return fmt::format("there is no fault \"{}\"; choose from {}", name, kindNames());
    }
    rule->fault.kind = traits->kind;
    const std::string error =
        colon == std::string::npos ? std::string() : parseSettings(*traits, text.substr(colon + 1), rule);
    if (rule->trigger == FaultRule::Trigger::At && rule->count == 0) {
        rule->count = 1;
    }
    return error;
}

template <class Predicate>
const FaultTraits* findRow(Predicate matches) {
    const FaultTraits* row = std::find_if(std::begin(kFaults), std::end(kFaults), matches);
    return row == std::end(kFaults) ? nullptr : row;
}

}  // namespace

const FaultTraits* faultTraits(FaultKind kind) {
    return findRow([kind](const FaultTraits& row) { return row.kind == kind; });
}

const FaultTraits* faultTraits(const std::string& name) {
    return findRow([&name](const FaultTraits& row) { return row.name == name; });
}

const FaultTraits* faultTraits(std::uint16_t number) {
    return faultTraits(static_cast<FaultKind>(number));
}

bool acceptsArgument(const FaultTraits& traits, std::int64_t argument) {
    return argument == 0 ||
           (traits.argumentKey != nullptr && argument >= traits.smallest && argument <= traits.largest);
}

std::optional<FaultRule> parseFaultRule(const std::string& text, std::string* error) {
    FaultRule rule;
    const std::string reason = parseInto(text, &rule);
    if (!reason.empty()) {
        *error = fmt::format("fault rule \"{}\": {}", text, reason);
        return std::nullopt;
    }
    return rule;
}

std::string faultRuleHelp() {
    std::string help =
        "Fault rules: KIND or KIND:key=value,key=value...\n"
        "  kinds:\n";
    for (const FaultTraits& traits : kFaults) {
        help += fmt::format("    {:<10} {}\n", traits.name, traits.summary);
    }
    return help +
           "  keys:\n"
           "    at=N       the N-th reply that matches, from 1; with count=M this and the following, M in all\n"
           "    every=N    every N-th reply that matches\n"
           "    rate=P     each reply that matches with probability P (0 < P <= 1), drawn from --seed\n"
           "    count=M    at most M times\n"
           "    service=S  only replies to hello, symbols, read or write\n"
           "    ms=, bytes=, value=, copies=   the argument of the kind, see above\n"
           "  Without at, every and rate each matching reply gets the fault. The first rule that applies wins. Only "
           "good\n"
           "  replies count; the request itself is carried out (a write arrives) whatever happens to its reply.\n"
           "  examples: reset:every=50   delay:ms=200,rate=0.05,service=read   silence:at=10,count=2\n";
}

}  // namespace ac500::sim
