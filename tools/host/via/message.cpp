#include "tools/host/via/message.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>
#include <vector>

namespace ac500::via {

using host::Failure;
using host::FailureKind;
using host::HostValues;
using host::Latencies;
using host::LatencyKind;
using host::LoopState;
using host::Milliseconds;
using host::SessionEvent;
using host::SessionStatus;
using host::Statistics;
using host::Tag;
using host::TagTable;
using host::TagValue;
using host::Time;
using host::ValueState;
using host::WriteCondition;
using host::WriteOutcome;
using host::WriteReport;
using host::WriteRequest;

namespace {

constexpr std::array<ValueState, 6> kValueStates{ValueState::NeverReceived, ValueState::Fresh,
                                                 ValueState::Suspect,       ValueState::Stale,
                                                 ValueState::WritePending,  ValueState::WriteFailed};
constexpr std::array<LoopState, 5> kLoopStates{LoopState::Disconnected, LoopState::Connecting, LoopState::Exchanging,
                                               LoopState::GivingUp, LoopState::BackingOff};
constexpr std::array<WriteOutcome, 5> kOutcomes{WriteOutcome::Pending, WriteOutcome::Done, WriteOutcome::Refused,
                                                WriteOutcome::NotSent, WriteOutcome::Unknown};
constexpr std::array<guard::ProgramState, 5> kProgramStates{
    guard::ProgramState::Unguarded, guard::ProgramState::Unknown, guard::ProgramState::Expected,
    guard::ProgramState::Other, guard::ProgramState::Unreadable};
constexpr std::array<FailureKind, 9> kFailureKinds{FailureKind::None,    FailureKind::Usage,  FailureKind::File,
                                                   FailureKind::Name,    FailureKind::Tcp,    FailureKind::Handshake,
                                                   FailureKind::Request, FailureKind::Output, FailureKind::Program};

// Beyond 2^53 other readers of JSON lose digits. Sums of such numbers fit 64 bits.
constexpr std::uint64_t kLargestNumber = std::uint64_t{1} << 53;
// In the year 2255; the system's clock counts nanoseconds in 64 bits.
constexpr std::int64_t kLargestUnixMs = std::int64_t{9} * 1000 * 1000 * 1000 * 1000;

// Where each count has its key.
struct CountRow {
    const char* key;
    std::int64_t Statistics::*count;
};
constexpr std::array<CountRow, 11> kCounts{{{"frames_sent", &Statistics::framesSent},
                                            {"frames_accepted", &Statistics::framesAccepted},
                                            {"bytes_sent", &Statistics::bytesSent},
                                            {"bytes_received", &Statistics::bytesReceived},
                                            {"retries", &Statistics::retries},
                                            {"timeouts", &Statistics::timeouts},
                                            {"refusals", &Statistics::refusals},
                                            {"bad_replies", &Statistics::badReplies},
                                            {"abandoned", &Statistics::abandoned},
                                            {"connections", &Statistics::connections},
                                            {"handshakes", &Statistics::handshakes}}};

// Enumerations go by the words that people see.
template <typename Value, std::size_t Count>
std::optional<Value> named(const std::array<Value, Count>& values, const char* (*nameOf)(Value),
                           const std::string& name) {
    for (const Value value : values) {
        if (nameOf(value) == name) {
            return value;
        }
    }
    return std::nullopt;
}

std::optional<events::EventId> eventNamed(const std::string& id) {
    for (const events::EventRow& row : events::eventTable()) {
        if (row.id == id) {
            return row.event;
        }
    }
    return std::nullopt;
}

// Values go as a text that gives them back exactly, without what the symbol file says of them.
std::optional<HostValues> valuesOf(const Tag& tag, const Json& json, const char* key, std::string* error) {
    const auto found = json.find(key);
    if (found == json.end() || !found->is_string()) {
        *error = tag.text + ": its values are missing";
        return std::nullopt;
    }
    return host::parseValues(tag.form, tag.elements, found->get_ref<const std::string&>(), error);
}

Time timeAt(const Json& json, const char* key) {
    return Time(numberAt(json, key).value_or(0));
}

std::int64_t unixMs(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<Milliseconds>(time.time_since_epoch()).count();
}

std::chrono::system_clock::time_point wallTimeAt(const Json& json, const char* key) {
    const std::int64_t ms = numberAt(json, key).value_or(0);
    return std::chrono::system_clock::time_point(Milliseconds(std::abs(ms) <= kLargestUnixMs ? ms : 0));
}

Json settingsJson(const host::SessionSettings& settings) {
    return {{"cycle_ms", settings.loop.cycle.count()},
            {"timeout_ms", settings.loop.replyTimeout.count()},
            {"write_deadline_ms", settings.writeDeadline.count()},
            {"max_request_words", settings.maxRequestWords},
            {"retry_limit", settings.retryLimit}};
}

host::SessionSettings settingsOf(const Json& json) {
    host::SessionSettings settings;
    settings.loop.cycle = Milliseconds(numberAt(json, "cycle_ms").value_or(settings.loop.cycle.count()));
    settings.loop.replyTimeout =
        Milliseconds(numberAt(json, "timeout_ms").value_or(settings.loop.replyTimeout.count()));
    settings.loop.connectTimeout = settings.loop.replyTimeout;
    settings.writeDeadline = Milliseconds(numberAt(json, "write_deadline_ms").value_or(settings.writeDeadline.count()));
    settings.maxRequestWords = static_cast<int>(numberAt(json, "max_request_words").value_or(settings.maxRequestWords));
    settings.retryLimit = static_cast<int>(numberAt(json, "retry_limit").value_or(settings.retryLimit));
    return settings;
}

Json cyclesJson(const host::CycleTimes& cycles) {
    return {{"count", cycles.cycles},
            {"shortest_us", cycles.minimum.count()},
            {"median_us", cycles.median.count()},
            {"longest_us", cycles.maximum.count()},
            {"last_us", cycles.last.count()}};
}

Json histogramJson(const metrics::Histogram& histogram) {
    Json buckets = Json::array();
    for (const auto& [bucket, count] : histogram.filledBuckets()) {
        buckets.push_back({bucket, count});
    }
    return {{"buckets", buckets},
            {"sum_us", histogram.sum().count()},
            {"longest_us", histogram.longest().count()},
            {"last_us", histogram.last().count()}};
}

metrics::Histogram histogramOf(const Json& json) {
    std::vector<metrics::Histogram::Bucket> buckets;
    for (const Json& bucket : arrayAt(json, "buckets")) {
        if (bucket.is_array() && bucket.size() == 2 && bucket[0].is_number_unsigned() &&
            bucket[1].is_number_integer()) {
            buckets.emplace_back(bucket[0].get<std::size_t>(), bucket[1].get<std::int64_t>());
        }
    }
    return metrics::Histogram::fromBuckets(buckets, timeAt(json, "sum_us"), timeAt(json, "longest_us"),
                                           timeAt(json, "last_us"));
}

Json conditionJson(const WriteCondition& condition) {
    Json json{{"tag", condition.tag.text}, {"values", host::formatValues(condition.tag.form, condition.values)}};
    if (!condition.otherwise.empty()) {
        json["otherwise"] = condition.otherwise;
    }
    return json;
}

std::optional<WriteCondition> conditionOf(const Json& json, const TagTable& tags, std::string* error) {
    if (!json.is_object()) {
        *error = "a condition is no object";
        return std::nullopt;
    }
    const std::optional<Tag> tag = tags.find(textAt(json, "tag"), error);
    std::optional<HostValues> values = tag ? valuesOf(*tag, json, "values", error) : std::nullopt;
    if (!values) {
        return std::nullopt;
    }
    std::string otherwise = textAt(json, "otherwise");
    if (otherwise.size() > kLongestOtherwise) {
        *error = "the text of a condition is longer than " + std::to_string(kLongestOtherwise) + " bytes";
        return std::nullopt;
    }
    return WriteCondition{*tag, std::move(*values), std::move(otherwise)};
}

// What reads and copies values goes as deep into the stack as they are nested. A bracket in a text does not count.
bool isNestedTooDeep(const std::string& line) {
    int depth = 0;
    bool isText = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char byte = line[i];
        if (byte == '"') {
            isText = !isText;
        } else if (isText) {
            i += byte == '\\' ? 1 : 0;
        } else if (byte == '[' || byte == '{') {
            if (++depth > kDeepestNesting) {
                return true;
            }
        } else if (byte == ']' || byte == '}') {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::string lineOf(const Json& message) {
    return message.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<Json> messageOf(const std::string& line) {
    if (isNestedTooDeep(line)) {
        return std::nullopt;
    }
    Json json = Json::parse(line, nullptr, false);
    return json.is_object() ? std::optional<Json>(std::move(json)) : std::nullopt;
}

std::string textAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<std::int64_t> numberAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    const bool isNumber = found != json.end() && found->is_number_integer();
    const bool isSmall = isNumber && (!found->is_number_unsigned() || found->get<std::uint64_t>() <= kLargestNumber) &&
                         std::abs(found->get<std::int64_t>() / 2) <= std::int64_t{kLargestNumber / 2};
    return isSmall ? std::optional<std::int64_t>(found->get<std::int64_t>()) : std::nullopt;
}

bool flagAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_boolean() && found->get<bool>();
}

const Json& arrayAt(const Json& json, const char* key) {
    static const Json kNone = Json::array();
    const auto found = json.find(key);
    return found != json.end() && found->is_array() ? *found : kNone;
}

const Json& objectAt(const Json& json, const char* key) {
    static const Json kNone = Json::object();
    const auto found = json.find(key);
    return found != json.end() && found->is_object() ? *found : kNone;
}

Json jsonOf(const Hello& hello) {
    return {{"ac500_gateway", kProtocolVersion},
            {"build", hello.build},
            {"plc", hello.plc},
            {"symbols", hello.symbols},
            {"fingerprint", hello.fingerprint},
            {"audit", hello.audit},
            {"settings", settingsJson(hello.session)},
            {"clock", hello.clock.count()}};
}

std::optional<Hello> helloOf(const Json& json, std::string* error) {
    const std::optional<std::int64_t> version = numberAt(json, "ac500_gateway");
    if (!version) {
        const Json& refusal = objectAt(json, "error");
        const std::string what = textAt(refusal, "what");
        const std::string next = textAt(refusal, "next");
        *error = what.empty() ? "it does not speak as a gateway does" : next.empty() ? what : what + "; " + next;
        return std::nullopt;
    }
    if (*version != kProtocolVersion) {
        *error = "it speaks version " + std::to_string(*version) +
                 " of the socket's language, and this program version " + std::to_string(kProtocolVersion) +
                 "; install the same version of both";
        return std::nullopt;
    }
    return Hello{textAt(json, "build"),       textAt(json, "plc"),   textAt(json, "symbols"),
                 textAt(json, "fingerprint"), textAt(json, "audit"), settingsOf(objectAt(json, "settings")),
                 timeAt(json, "clock")};
}

Json jsonOf(const Failure& failure) {
    return {{"kind", host::failureKindName(failure.kind)}, {"text", failure.text}};
}

Failure failureAt(const Json& json, const char* key) {
    const auto found = json.find(key);
    if (found == json.end() || !found->is_object()) {
        return {};
    }
    return {named(kFailureKinds, host::failureKindName, textAt(*found, "kind")).value_or(FailureKind::Request),
            textAt(*found, "text")};
}

Json jsonOf(const Tag& tag, const TagValue& value) {
    Json json{{"state", host::valueStateName(value.state)}};
    if (value.isKnown) {
        json["values"] = host::formatValues(tag.form, value.values);
    }
    if (value.received) {
        json["received"] = value.received->count();
    }
    if (value.failure.occurred()) {
        json["failure"] = jsonOf(value.failure);
    }
    if (value.suspicion.occurred()) {
        json["suspicion"] = jsonOf(value.suspicion);
    }
    return json;
}

std::optional<TagValue> valueOf(const Tag& tag, const Json& json) {
    const std::optional<ValueState> state =
        json.is_object() ? named(kValueStates, host::valueStateName, textAt(json, "state")) : std::nullopt;
    if (!state) {
        return std::nullopt;
    }
    TagValue value;
    value.state = *state;
    value.failure = failureAt(json, "failure");
    value.suspicion = failureAt(json, "suspicion");
    if (const std::optional<std::int64_t> received = numberAt(json, "received")) {
        value.received = Time(*received);
    }
    if (json.contains("values")) {
        std::string ignored;
        std::optional<HostValues> values = valuesOf(tag, json, "values", &ignored);
        if (!values) {
            return std::nullopt;
        }
        value.isKnown = true;
        value.values = std::move(*values);
    }
    return value;
}

Json jsonOf(const SessionStatus& status) {
    Json json{{"state", host::loopStateName(status.state)},
              {"online", status.isOnline},
              {"since", status.since.count()},
              {"since_unix_ms", unixMs(status.sinceWallTime)},
              {"events", status.events},
              {"program", guard::programStateName(status.program.state)},
              {"cycles", cyclesJson(status.statistics.cycleTimes())}};
    for (const CountRow& row : kCounts) {
        json["counts"][row.key] = status.statistics.*row.count;
    }
    if (status.program.doubt.occurred()) {
        json["doubt"] = jsonOf(status.program.doubt);
    }
    if (status.lastFailure) {
        json["last_failure"] = jsonOf(*status.lastFailure);
    }
    return json;
}

std::optional<SessionStatus> statusOf(const Json& json) {
    const std::optional<LoopState> state =
        json.is_object() ? named(kLoopStates, host::loopStateName, textAt(json, "state")) : std::nullopt;
    if (!state) {
        return std::nullopt;
    }
    SessionStatus status;
    status.state = *state;
    status.isOnline = flagAt(json, "online");
    status.since = timeAt(json, "since");
    status.sinceWallTime = wallTimeAt(json, "since_unix_ms");
    status.events = static_cast<std::size_t>(numberAt(json, "events").value_or(0));
    status.program.state = named(kProgramStates, guard::programStateName, textAt(json, "program"))
                               .value_or(guard::ProgramState::Unguarded);
    status.program.doubt = failureAt(json, "doubt");
    for (const CountRow& row : kCounts) {
        status.statistics.*row.count = numberAt(objectAt(json, "counts"), row.key).value_or(0);
    }
    const Json& cycles = objectAt(json, "cycles");
    status.statistics.setCycleTimes({timeAt(cycles, "shortest_us"), timeAt(cycles, "median_us"),
                                     timeAt(cycles, "longest_us"), timeAt(cycles, "last_us"),
                                     numberAt(cycles, "count").value_or(0)});
    if (json.contains("last_failure")) {
        status.lastFailure = eventOf(json["last_failure"]);
    }
    return status;
}

Json jsonOf(const SessionEvent& event) {
    Json json{{"number", event.number},
              {"clock", event.time.count()},
              {"unix_ms", unixMs(event.wallTime)},
              {"event", events::rowOf(event.event).id}};
    if (event.failure.occurred()) {
        json["failure"] = jsonOf(event.failure);
    } else {
        json["text"] = event.text;
    }
    return json;
}

std::optional<SessionEvent> eventOf(const Json& json) {
    const std::optional<events::EventId> id = json.is_object() ? eventNamed(textAt(json, "event")) : std::nullopt;
    if (!id) {
        return std::nullopt;
    }
    SessionEvent event;
    event.number = static_cast<std::size_t>(numberAt(json, "number").value_or(0));
    event.time = timeAt(json, "clock");
    event.wallTime = wallTimeAt(json, "unix_ms");
    event.event = *id;
    event.failure = failureAt(json, "failure");
    event.text = textAt(json, "text");
    return event;
}

Json jsonOf(const Latencies& latencies) {
    Json json{{"since", latencies.since.count()}};
    for (const LatencyKind kind : host::kLatencyKinds) {
        json["kinds"][host::latencyName(kind)] = histogramJson(latencies.of(kind));
    }
    return json;
}

std::optional<Latencies> latenciesOf(const Json& json) {
    if (!json.is_object()) {
        return std::nullopt;
    }
    Latencies latencies;
    latencies.since = timeAt(json, "since");
    for (const LatencyKind kind : host::kLatencyKinds) {
        latencies.of(kind) = histogramOf(objectAt(objectAt(json, "kinds"), host::latencyName(kind)));
    }
    return latencies;
}

Json jsonOf(const WriteRequest& request) {
    Json json{{"tag", request.tag.text}, {"values", host::formatValues(request.tag.form, request.values)}};
    if (request.replaces) {
        json["replaces"] = host::formatValues(request.tag.form, *request.replaces);
    }
    for (const WriteCondition& condition : request.conditions) {
        json["conditions"].push_back(conditionJson(condition));
    }
    if (request.readsFirst) {
        json["reads_first"] = true;
    }
    if (request.expiry) {
        json["expiry"] = request.expiry->count();
    }
    if (!request.number.empty()) {
        json["number"] = request.number;
    }
    if (!request.undoes.empty()) {
        json["undoes"] = request.undoes;
    }
    return json;
}

std::optional<WriteRequest> writeRequestOf(const Json& json, const TagTable& tags, std::string* error) {
    const std::optional<Tag> tag = tags.find(textAt(json, "tag"), error);
    const std::optional<HostValues> values = tag ? valuesOf(*tag, json, "values", error) : std::nullopt;
    if (!values) {
        return std::nullopt;
    }
    WriteRequest request;
    request.tag = *tag;
    request.values = *values;
    if (json.contains("replaces")) {
        request.replaces = valuesOf(*tag, json, "replaces", error);
        if (!request.replaces) {
            return std::nullopt;
        }
    }
    const Json& conditions = arrayAt(json, "conditions");
    if (conditions.size() > kMostConditions) {
        *error =
            std::to_string(conditions.size()) + " conditions, and " + std::to_string(kMostConditions) + " is the most";
        return std::nullopt;
    }
    for (const Json& one : conditions) {
        const std::optional<WriteCondition> condition = conditionOf(one, tags, error);
        if (!condition) {
            return std::nullopt;
        }
        request.conditions.push_back(*condition);
    }
    request.readsFirst = flagAt(json, "reads_first");
    if (const std::optional<std::int64_t> expiry = numberAt(json, "expiry")) {
        request.expiry = Time(*expiry);
    }
    request.number = textAt(json, "number");
    request.undoes = textAt(json, "undoes");
    if (request.undoes.size() > kLongestUndoes) {
        *error = "the id of the write to be undone is longer than " + std::to_string(kLongestUndoes) + " bytes";
        return std::nullopt;
    }
    return request;
}

Json jsonOf(const Tag& tag, const WriteReport& report) {
    Json json{{"outcome", host::writeOutcomeName(report.outcome)}};
    if (report.failure.occurred()) {
        json["failure"] = jsonOf(report.failure);
    }
    if (!report.before.empty()) {
        json["before"] = host::formatValues(tag.form, report.before);
    }
    if (!report.bitsBefore.empty()) {
        std::string bits;
        for (const host::HostValue& bit : report.bitsBefore) {
            const bool* isSet = std::get_if<bool>(&bit);
            bits += isSet != nullptr && *isSet ? '1' : '0';
        }
        json["bits_before"] = bits;
    }
    return json;
}

std::optional<WriteReport> writeReportOf(const Tag& tag, const Json& json) {
    const std::optional<WriteOutcome> outcome =
        json.is_object() ? named(kOutcomes, host::writeOutcomeName, textAt(json, "outcome")) : std::nullopt;
    if (!outcome) {
        return std::nullopt;
    }
    WriteReport report;
    report.outcome = *outcome;
    report.failure = failureAt(json, "failure");
    if (json.contains("before")) {
        std::string ignored;
        report.before = valuesOf(tag, json, "before", &ignored).value_or(HostValues());
    }
    for (const char bit : textAt(json, "bits_before")) {
        report.bitsBefore.emplace_back(bit == '1');
    }
    return report;
}

}  // namespace ac500::via
