#include "tools/host/output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/console/time_text.h"
#include "tools/host/plant_values.h"
#include "tools/text/text.h"

namespace ac500::host {

namespace {

// The largest whole number that is exact, and not what another is rounded to, where numbers are doubles.
constexpr std::int64_t kLargestExact = (std::int64_t{1} << 53) - 1;

// Bytes of UTF-8 that do not begin a character.
bool continuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::size_t characters(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !continuesCharacter(c); }));
}

template <typename Float>
Json floatJson(Float value) {
    return std::isfinite(value) ? Json(value) : Json(fmt::format("{}", value));
}

Json wholeJson(std::int64_t value) {
    return value < -kLargestExact || value > kLargestExact ? Json(std::to_string(value)) : Json(value);
}

Json wholeJson(std::uint64_t value) {
    return value > std::uint64_t{kLargestExact} ? Json(std::to_string(value)) : Json(value);
}

Json elementJson(const HostValue& value) {
    struct Visitor {
        Json operator()(float v) const { return floatJson(v); }
        Json operator()(double v) const { return floatJson(v); }
        Json operator()(bool v) const { return v; }
        Json operator()(std::int64_t v) const { return wholeJson(v); }
        Json operator()(std::uint64_t v) const { return wholeJson(v); }
        Json operator()(const std::string& v) const { return v; }
    };
    return std::visit(Visitor(), value);
}

Json limitJson(const symbol_file::Limit& limit) {
    if (!limit.whole) {
        return limit.number.value;
    }
    const std::uint64_t magnitude = limit.whole->magnitude;
    return limit.whole->negative ? wholeJson(-static_cast<std::int64_t>(magnitude - 1) - 1) : wholeJson(magnitude);
}

// What the symbol file says beyond type and place, where it does.
void addNotes(const Leaf& leaf, Json* json) {
    if (leaf.isReadOnly) {
        (*json)["read_only"] = true;
    }
    if (leaf.notes == nullptr) {
        return;
    }
    if (!leaf.notes->unit.empty()) {
        (*json)["unit"] = leaf.notes->unit;
    }
    if (leaf.notes->scale) {
        (*json)["scale"] = {{"factor", leaf.notes->scale->factor.value}, {"offset", leaf.notes->scale->offset.value}};
    }
    if (leaf.notes->minimum) {
        (*json)["min"] = limitJson(*leaf.notes->minimum);
    }
    if (leaf.notes->maximum) {
        (*json)["max"] = limitJson(*leaf.notes->maximum);
    }
    for (const symbol_file::NamedValue& named : leaf.notes->names) {
        (*json)["names"][toText(named.value)] = named.name;
    }
}

double milliseconds(Time time) {
    return static_cast<double>(time.count()) / 1000.0;
}

double seconds(Time time) {
    return static_cast<double>(time.count()) / 1e6;
}

constexpr std::size_t kSecondsOfTime = 19;  // "2026-11-22 07:45:12"

std::string latencyLine(const std::string& name, const std::vector<std::string>& cells) {
    std::string line = fmt::format("{:<22}", name);
    for (const std::string& cell : cells) {
        line += fmt::format("{:>11}", cell);
    }
    return line;
}

}  // namespace

Json newDocument() {
    return {{"version", kOutputVersion}};
}

std::string typeText(const Tag& tag) {
    const std::string name = typeName(tag.form.code, tag.form.stringCharacters);
    const std::string element = tag.form.isBit ? "bit of " + name : name;
    return tag.isList ? fmt::format("{} x {}", tag.elements, element) : element;
}

std::string typeText(const Leaf& leaf) {
    return typeName(leaf.code, leaf.stringCharacters) + boundsText(leaf.dimensions) +
           (leaf.bitAddressable ? " (bits)" : "");
}

std::string addressText(const Leaf& leaf) {
    return leaf.code == TypeCode::Bit ? fmt::format("bit {}", leaf.address) : std::to_string(leaf.address);
}

std::string valueText(const Tag& tag, const TagValue& value) {
    return value.isKnown ? formatPlantValues(tag, value.values) : "?";
}

std::string ageText(const TagValue& value) {
    if (!value.age) {
        return "-";
    }
    const double seconds = static_cast<double>(value.age->count()) / 1000.0;
    return seconds < 100 ? fmt::format("{:.2f} s", seconds) : fmt::format("{:.0f} min", seconds / 60);
}

Json valueJson(const Tag& tag, const HostValues& inPlc) {
    const HostValues values = plantValues(tag, inPlc);
    if (!tag.isList) {
        return values.empty() ? Json() : elementJson(values.front());
    }
    Json list = Json::array();
    for (const HostValue& value : values) {
        list.push_back(elementJson(value));
    }
    return list;
}

Json tagValueJson(const Tag& tag, const TagValue& value) {
    Json json;
    json["tag"] = tag.text;
    json["type"] = typeText(tag);
    json["value"] = value.isKnown ? valueJson(tag, value.values) : Json();
    if (hasPlantForm(tag)) {
        json["text"] = value.isKnown ? Json(formatPlantValues(tag, value.values)) : Json();
    }
    json["state"] = valueStateName(value.state);
    json["age_ms"] = value.age ? Json(value.age->count()) : Json();
    if (value.state == ValueState::WriteFailed) {
        json["failure"] = failureJson(value.failure);
    }
    if (value.suspicion.occurred()) {
        json["suspicion"] = failureJson(value.suspicion);
    }
    return json;
}

Json leafJson(const Leaf& leaf) {
    Json json;
    json["tag"] = leaf.tag;
    json["type"] = typeName(leaf.code, leaf.stringCharacters);
    json["dimensions"] = Json::array();
    for (const ArrayDimension& dimension : leaf.dimensions) {
        json["dimensions"].push_back({dimension.lower, dimension.upper});
    }
    json["area"] = leaf.area;
    json["address"] = leaf.address;
    json["bits"] = leaf.bitAddressable;
    json["comment"] = leaf.comment;
    addNotes(leaf, &json);
    return json;
}

Json statisticsJson(const Statistics& statistics) {
    const CycleTimes cycle = statistics.cycleTimes();
    Json json;
    json["frames_sent"] = statistics.framesSent;
    json["frames_good"] = statistics.framesAccepted;
    json["bytes_sent"] = statistics.bytesSent;
    json["bytes_received"] = statistics.bytesReceived;
    json["retries"] = statistics.retries;
    json["timeouts"] = statistics.timeouts;
    json["refusals"] = statistics.refusals;
    json["bad_replies"] = statistics.badReplies;
    json["given_up"] = statistics.abandoned;
    json["handshakes"] = statistics.handshakes;
    json["reconnects"] = statistics.reconnects();
    json["cycles"] = cycle.cycles;
    json["cycle_ms"] = {{"min", milliseconds(cycle.minimum)},
                        {"median", milliseconds(cycle.median)},
                        {"max", milliseconds(cycle.maximum)},
                        {"last", milliseconds(cycle.last)}};
    return json;
}

Json failureJson(const Failure& failure) {
    return {{"layer", failureKindName(failure.kind)}, {"code", exitCodeOf(failure.kind)}, {"message", failure.text}};
}

std::vector<std::string> sessionLines(const std::string& plc, const SessionSettings& settings,
                                      const SessionStatus& status, const Latencies& latencies, Time now) {
    const Statistics& counted = status.statistics;
    const CycleTimes cycle = counted.cycleTimes();
    const std::string state = status.isOnline ? "online" : std::string("not online, ") + loopStateName(status.state);
    std::vector<std::string> lines{
        fmt::format("connection  {}", plc),
        fmt::format("            {} since {} ({:.1f} s), session {}, reconnects {}", state,
                    console::timeText(status.sinceWallTime).substr(0, kSecondsOfTime), seconds(now - status.since),
                    counted.handshakes, counted.reconnects()),
        fmt::format("frames      {} sent, {} good; bytes {} sent, {} received", counted.framesSent,
                    counted.framesAccepted, counted.bytesSent, counted.bytesReceived),
        fmt::format("trouble     retries {}, timeouts {}, refusals {}, bad replies {}, given up {}", counted.retries,
                    counted.timeouts, counted.refusals, counted.badReplies, counted.abandoned),
        fmt::format("cycles      {}; last {:.1f} ms, min {:.1f} ms, median {:.1f} ms, max {:.1f} ms", cycle.cycles,
                    milliseconds(cycle.last), milliseconds(cycle.minimum), milliseconds(cycle.median),
                    milliseconds(cycle.maximum)),
        fmt::format("settings    cycle {} ms, timeout {} ms, write deadline {} ms,", settings.loop.cycle.count(),
                    settings.loop.replyTimeout.count(), settings.writeDeadline.count()),
        fmt::format("            requests of up to {} words, retry limit {}", settings.maxRequestWords,
                    settings.retryLimit),
        latencyLine(fmt::format("ms in the last {:.1f} s", seconds(now - latencies.since)),
                    {"COUNT", "P50", "P99", "LONGEST", "LAST"}),
    };
    for (const LatencyKind kind : kLatencyKinds) {
        const metrics::Histogram& times = latencies.of(kind);
        std::vector<std::string> cells{std::to_string(times.count())};
        for (const Time time : {times.p50(), times.p99(), times.longest(), times.last()}) {
            cells.push_back(times.count() == 0 ? "-" : fmt::format("{:.2f}", milliseconds(time)));
        }
        lines.push_back(latencyLine(latencyName(kind), cells));
    }
    return lines;
}

Json latenciesJson(const Latencies& latencies, Time now) {
    Json json{{"measured_ms", milliseconds(now - latencies.since)}};
    for (const LatencyKind kind : kLatencyKinds) {
        const metrics::Histogram& times = latencies.of(kind);
        std::string key = latencyName(kind);
        std::replace_if(
            key.begin(), key.end(), [](char c) { return c == ' ' || c == '-'; }, '_');
        json[key]["count"] = times.count();
        if (times.count() > 0) {
            json[key]["sum_ms"] = milliseconds(times.sum());
            json[key]["p50_ms"] = milliseconds(times.p50());
            json[key]["p99_ms"] = milliseconds(times.p99());
            json[key]["longest_ms"] = milliseconds(times.longest());
            json[key]["last_ms"] = milliseconds(times.last());
        }
    }
    return json;
}

Json connectionJson(const std::string& plc, const SessionStatus& status, Time now) {
    return {{"plc", plc},
            {"online", status.isOnline},
            {"state", loopStateName(status.state)},
            {"since", console::utcText(status.sinceWallTime)},
            {"since_ms", milliseconds(now - status.since)},
            {"session", status.statistics.handshakes}};
}

Json settingsJson(const SessionSettings& settings) {
    return {{"cycle_ms", settings.loop.cycle.count()},
            {"timeout_ms", settings.loop.replyTimeout.count()},
            {"write_deadline_ms", settings.writeDeadline.count()},
            {"max_request_words", settings.maxRequestWords},
            {"retry_limit", settings.retryLimit}};
}

std::vector<std::string> alignColumns(std::vector<std::vector<std::string>> rows) {
    std::vector<std::size_t> widths;
    for (std::vector<std::string>& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            row[column] = text::withoutControls(std::move(row[column]));
            widths[column] = std::max(widths[column], characters(row[column]));
        }
    }
    std::vector<std::string> lines;
    for (const std::vector<std::string>& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const bool isLast = column + 1 == row.size();
            const std::size_t padding = isLast ? 0 : widths[column] - characters(row[column]) + 2;
            line += row[column] + std::string(padding, ' ');
        }
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    return lines;
}

int displayWidth(const std::string& text) {
    return static_cast<int>(characters(text));
}

std::string fitParts(const std::vector<std::string>& parts, int width) {
    std::string line = parts.empty() ? std::string() : fitWidth(parts.front(), width);
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::string longer = line + "  " + parts[i];
        if (displayWidth(longer) > width) {
            break;
        }
        line = longer;
    }
    return line;
}

std::string fitWidth(const std::string& line, int width) {
    const auto most = static_cast<std::size_t>(std::max(1, width));
    if (characters(line) <= most) {
        return line;
    }
    std::size_t end = 0;
    for (std::size_t seen = 0; end < line.size(); ++end) {
        if (!continuesCharacter(line[end]) && ++seen == most) {
            break;
        }
    }
    return line.substr(0, end) + "~";
}

}  // namespace ac500::host
