#include "tools/broker/message_format.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <type_traits>
#include <variant>

#include "tools/host/plant_values.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/text/utc.h"

namespace ac500::broker {

using host::HostValue;
using host::HostValues;
using host::Milliseconds;

namespace {

using Json = nlohmann::ordered_json;

// The largest whole number that is exact, and not what another is rounded to, where numbers are doubles.
constexpr std::int64_t kLargestExact = (std::int64_t{1} << 53) - 1;
// Of a message's number.
constexpr std::size_t kSequenceDigits = 19;

std::string dumped(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string quoted(const std::string& text) {
    return dumped(Json(text));
}

// ---------------------------------------------------------------------------------------------------------------------
// JSON
// ---------------------------------------------------------------------------------------------------------------------

template <typename Number>
std::string jsonOf(const Number& number) {
    if constexpr (std::is_same_v<Number, bool>) {
        return number ? "true" : "false";
    } else if constexpr (std::is_same_v<Number, std::string>) {
        return quoted(number);
    } else if constexpr (std::is_floating_point_v<Number>) {
        return std::isfinite(number) ? fmt::format("{}", number) : fmt::format("\"{}\"", number);
    } else if constexpr (std::is_unsigned_v<Number>) {
        return number > static_cast<std::uint64_t>(kLargestExact) ? fmt::format("\"{}\"", number)
                                                                  : fmt::format("{}", number);
    } else {
        return number > kLargestExact || number < -kLargestExact ? fmt::format("\"{}\"", number)
                                                                 : fmt::format("{}", number);
    }
}

std::string jsonOfValue(const HostValue& value) {
    return std::visit([](const auto& each) { return jsonOf(each); }, value);
}

std::string jsonOfValues(const host::Tag& tag, const HostValues& numbers) {
    if (!tag.isList) {
        return jsonOfValue(numbers.front());
    }
    std::string json = "[";
    for (const HostValue& value : numbers) {
        json += (json.size() > 1 ? "," : "") + jsonOfValue(value);
    }
    return json + "]";
}

// ---------------------------------------------------------------------------------------------------------------------
// Line protocol
// ---------------------------------------------------------------------------------------------------------------------

// A value of a tag in a line: it may hold no line end and no backslash, which would escape what follows.
std::string lineTag(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
        if (c == ',' || c == '=' || c == ' ') {
            escaped += '\\';
        }
        escaped += isControl || c == '\\' ? '_' : c;
    }
    return escaped;
}

std::string lineText(const std::string& text) {
    std::string escaped = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped + "\"";
}

template <typename Float>
std::string lineFloat(Float value) {
    return std::isfinite(value) ? fmt::format("float={}", value) : fmt::format("nofloat=\"{}\"", value);
}

// The field of an element: its key is always the same for a tag, since a field has one type for ever. Whole numbers without
// sign go beyond those with sign only with 64 bits.
std::string lineField(const host::Tag& tag, const HostValue& value) {
    struct Visitor {
        const host::Tag& tag;
        std::string operator()(bool v) const { return v ? "boolean=true" : "boolean=false"; }
        std::string operator()(std::int64_t v) const { return fmt::format("integer={}i", v); }
        std::string operator()(std::uint64_t v) const {
            const bool isWide = tag.form.code == host::TypeCode::Lword || tag.form.code == host::TypeCode::Ulint;
            return isWide ? fmt::format("unsigned={}u", v) : fmt::format("integer={}i", v);
        }
        std::string operator()(float v) const { return lineFloat(v); }
        std::string operator()(double v) const { return lineFloat(v); }
        std::string operator()(const std::string& v) const { return "text=" + lineText(v); }
    };
    return std::visit(Visitor{tag}, value);
}

}  // namespace

MessageFormat::MessageFormat(Settings settings, std::vector<FormattedTag> tags)
    : settings_(std::move(settings)), tags_(std::move(tags)) {}

std::string MessageFormat::valuesTopic(const std::string& name) const {
    std::string level;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = byte >= 0x20 && byte != 0x7f && c != '/' && c != '+' && c != '#' && c != '%';
        level += isPlain ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return valuesTopic() + "/" + level;
}

MessageFormat::Formatted MessageFormat::values(const std::vector<Report>& reports, const Pass& pass,
                                               const TakeSequence& takeSequence) const {
    Formatted formatted;
    std::vector<std::pair<std::string, std::vector<const Report*>>> groups;
    std::map<std::string, std::size_t> groupOf;
    for (const Report& report : reports) {
        const FormattedTag& tag = tags_[report.tag];
        std::string name;
        if (settings_.batch != Batch::Pass) {
            name = settings_.batch == Batch::Scope ? tag.scope : tag.name;
        }
        const auto [place, isNew] = groupOf.try_emplace(name, groups.size());
        if (isNew) {
            groups.emplace_back(name.empty() ? valuesTopic() : valuesTopic(name), std::vector<const Report*>());
        }
        groups[place->second].second.push_back(&report);
    }
    for (const auto& [topic, ofGroup] : groups) {
        addMessages(topic, ofGroup, pass, takeSequence, &formatted);
    }
    return formatted;
}

void MessageFormat::addMessages(const std::string& topic, const std::vector<const Report*>& reports, const Pass& pass,
                                const TakeSequence& takeSequence, Formatted* formatted) const {
    const std::size_t around = topic.size() + payload({}, pass, 0).size() + kSequenceDigits - 1;
    std::vector<Part> parts;
    std::size_t bytes = around;
    std::int64_t atMs = 0;
    const auto finish = [&] {
        if (!parts.empty()) {
            const std::int64_t sequence = takeSequence();
            formatted->messages.push_back({topic, payload(parts, pass, sequence), sequence, atMs});
        }
        parts.clear();
        bytes = around;
    };
    for (const Report* report : reports) {
        Part part = partOf(*report, pass);
        const std::size_t withPart = around + part.bytes;
        if (withPart > settings_.largestMessage) {
            finish();
            const std::int64_t sequence = takeSequence();
            formatted->gaps.push_back({sequence, sequence, report->receivedUtcMs, report->receivedUtcMs,
                                       fmt::format("{} alone may take {} bytes, more than the largest message, {}",
                                                   tags_[report->tag].name, withPart, settings_.largestMessage)});
            continue;
        }
        if (bytes + part.bytes > settings_.largestMessage) {
            finish();
        }
        atMs = parts.empty() ? report->receivedUtcMs : std::max(atMs, report->receivedUtcMs);
        bytes += part.bytes;
        parts.push_back(std::move(part));
    }
    finish();
}

MessageFormat::Part MessageFormat::partOf(const Report& report, const Pass& pass) const {
    return settings_.format == Format::Json ? jsonPartOf(report, pass) : linePartOf(report, pass);
}

MessageFormat::Part MessageFormat::jsonPartOf(const Report& report, const Pass& pass) const {
    const FormattedTag& tag = tags_[report.tag];
    std::string json = "{\"tag\":" + quoted(tag.name);
    if (!report.values.empty()) {
        json += ",\"value\":" + jsonOfValues(tag.tag, host::plantValues(tag.tag, report.values));
    }
    const std::int64_t uptimeMs = std::chrono::duration_cast<Milliseconds>(report.received - pass.start).count();
    json += fmt::format(R"(,"state":"{}","time":"{}","uptime":{}}})", host::valueStateName(report.state),
                        text::utcTextOf(report.receivedUtcMs), uptimeMs);
    Part part;
    part.bytes = json.size() + 1;  // and a comma
    part.lines.emplace_back(std::move(json), "");
    return part;
}

MessageFormat::Part MessageFormat::linePartOf(const Report& report, const Pass& pass) const {
    const FormattedTag& tag = tags_[report.tag];
    const HostValues numbers = host::plantValues(tag.tag, report.values);
    const std::string head = fmt::format("ac500,plc={},tag={}", lineTag(settings_.plc), lineTag(tag.name));
    const std::string end = fmt::format("i,pass={}i{} {}000000", pass.number, pass.isClockSet ? "" : ",clock=\"unset\"",
                                        report.receivedUtcMs);
    const std::string state = fmt::format("state=\"{}\",sequence=", host::valueStateName(report.state));
    Part part;
    const auto add = [&](std::string line) {
        part.bytes += line.size() + kSequenceDigits + end.size() + 1;  // and a line end
        part.lines.emplace_back(std::move(line), end);
    };
    if (numbers.empty()) {
        add(head + " " + state);
    }
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const int index = tag.tag.firstIndex + static_cast<int>(i);
        const std::string element = tag.tag.isList ? fmt::format(",element={}", index) : "";
        add(head + element + " " + lineField(tag.tag, numbers[i]) + "," + state);
    }
    return part;
}

std::string MessageFormat::payload(const std::vector<Part>& parts, const Pass& pass, std::int64_t sequence) const {
    const bool isJson = settings_.format == Format::Json;
    std::string text;
    if (isJson) {
        text = fmt::format(R"({{"version":{},"plc":{},"sequence":{},"pass":{},"clock":"{}","values":[)", kFormatVersion,
                           quoted(settings_.plc), sequence, pass.number, pass.isClockSet ? "set" : "unset");
    }
    bool isFirst = true;
    for (const Part& part : parts) {
        for (const auto& [before, behind] : part.lines) {
            text += isFirst ? "" : isJson ? "," : "\n";
            text += isJson ? before : before + std::to_string(sequence) + behind;
            isFirst = false;
        }
    }
    return isJson ? text + "]}" : text;
}

Message MessageFormat::gap(const Gap& gap, std::int64_t sequence, std::int64_t utcMs) const {
    std::string payload;
    if (settings_.format == Format::Json) {
        payload = fmt::format(
            R"({{"version":{},"plc":{},"sequence":{},"gap":{{"first":{},"last":{},"from":"{}","to":"{}","reason":{}}}}})",
            kFormatVersion, quoted(settings_.plc), sequence, gap.first, gap.last, text::utcTextOf(gap.fromMs),
            text::utcTextOf(gap.toMs), quoted(gap.reason));
    } else {
        payload =
            fmt::format(R"(ac500_gap,plc={} first={}i,last={}i,from="{}",to="{}",reason={},sequence={}i {}000000)",
                        lineTag(settings_.plc), gap.first, gap.last, text::utcTextOf(gap.fromMs),
                        text::utcTextOf(gap.toMs), lineText(gap.reason), sequence, utcMs);
    }
    return {valuesTopic(), payload, sequence, utcMs};
}

const char* doorStateName(DoorState state) {
    switch (state) {
        case DoorState::Up:
            return "up";
        case DoorState::PlcAway:
            return "plc away";
        case DoorState::OtherProgram:
            return "other program";
        case DoorState::Ended:
            return "ended";
        case DoorState::Gone:
            return "gone";
    }
    return "";
}

std::string statusJson(const DoorStatus& status) {
    Json json = {{"version", kFormatVersion}, {"plc", status.plc}, {"state", doorStateName(status.state)}};
    if (status.sinceUtcMs) {
        json["since"] = text::utcTextOf(*status.sinceUtcMs);
    }
    json["session"] = status.session;
    if (!status.text.empty()) {
        json["text"] = status.text;
    }
    return dumped(json);
}

std::string infoJson(const DoorInfo& info) {
    return dumped({{"version", kFormatVersion},
                   {"plc", info.plc},
                   {"build", info.build},
                   {"symbols", info.symbols},
                   {"settings", info.settingsHash},
                   {"tags", info.tags},
                   {"format", formatName(info.format)},
                   {"batch", batchName(info.batch)},
                   {"started", text::utcTextOf(info.startedUtcMs)},
                   {"session", info.session}});
}

}  // namespace ac500::broker
