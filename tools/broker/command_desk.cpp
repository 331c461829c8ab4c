#include "tools/broker/command_desk.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

#include "tools/broker/message_format.h"
#include "tools/host/plant_values.h"
#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/json_reader.h"
#include "tools/text/utc.h"

namespace ac500::broker {

using host::HostValues;
using symbol_file::inQuotes;
using symbol_file::JsonNode;
using symbol_file::JsonValue;
using symbol_file::ObjectReader;
using symbol_file::ProblemList;

namespace {

// What a command says, as far as it is the right JSON.
struct Command {
    std::string id;
    std::string problem;  // the first that was found; empty: none
    std::string tag;
    std::int64_t issuedUtcMs = 0;
    std::int64_t expiresMs = kDefaultCommandExpiry.count();
    std::optional<JsonValue> value;
    std::optional<JsonValue> old;
};

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

bool isCommandId(const std::string& text) {
    return !text.empty() && text.size() <= kLongestCommandId && isPrintable(text);
}

bool isScalar(const JsonValue& value) {
    return value.kind == JsonValue::Kind::Boolean || value.kind == JsonValue::Kind::Integer ||
           value.kind == JsonValue::Kind::Decimal || value.kind == JsonValue::Kind::String;
}

// A text, number or boolean, or a list of these.
bool isValue(const JsonValue& value) {
    return isScalar(value) || (value.kind == JsonValue::Kind::Array && !value.items.empty() &&
                               std::all_of(value.items.begin(), value.items.end(), isScalar));
}

std::optional<JsonValue> valueOf(const std::optional<JsonNode>& node, ProblemList* problems) {
    if (!node) {
        return std::nullopt;
    }
    if (!isValue(*node->value)) {
        problems->add(*node, "is no value; give a text, a number, true or false, or a list of these");
        return std::nullopt;
    }
    return *node->value;
}

std::string firstOf(const ProblemList& problems) {
    const std::vector<symbol_file::Problem> all = problems.inLineOrder();
    if (all.empty()) {
        return "";
    }
    return all.front().where.empty() ? all.front().what : all.front().where + ": " + all.front().what;
}

Command commandOf(const symbol_file::ParsedJson& document) {
    Command command;
    ProblemList problems;
    const ObjectReader object({&document.root, ""}, {"id", "tag", "value", "old", "issued", "expires"}, &problems);
    if (object.isObject()) {
        const std::optional<JsonNode> id = object.require("id", "give a text that no other command has");
        const std::string idText = readText(id, &problems).value_or("");
        if (isCommandId(idText)) {
            command.id = idText;
        } else if (id) {
            problems.add(*id, fmt::format("has 1 to {} printable characters of ASCII", kLongestCommandId));
        }
        command.tag = readText(object.require("tag", "name the tag"), &problems).value_or("");
        command.value = valueOf(object.require("value", "give it"), &problems);
        command.old = valueOf(object.find("old"), &problems);
        const std::optional<JsonNode> issued =
            object.require("issued", "give the time in UTC, e.g. \"2026-11-22T23:00:00.123Z\"");
        const std::optional<std::string> time = readText(issued, &problems);
        const std::optional<std::int64_t> issuedUtcMs = time ? text::utcMsOf(*time) : std::nullopt;
        if (time && !issuedUtcMs) {
            problems.add(*issued, inQuotes(*time) + " is no time in UTC; write e.g. \"2026-11-22T23:00:00.123Z\"");
        }
        command.issuedUtcMs = issuedUtcMs.value_or(0);
        command.expiresMs =
            readInteger(object.find("expires"), {kLeastCommandExpiry.count(), kLargestCommandExpiry.count()}, &problems)
                .value_or(command.expiresMs);
    }
    command.problem = firstOf(problems);
    return command;
}

// As value_codec.h reads it back.
std::string inQuotesOfCodec(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            quoted += fmt::format("\\x{:02X}", byte);
        } else {
            quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        }
    }
    return quoted + "\"";
}

// As a person would type it. A text that stands for an element of text is that text, whatever it holds; for other elements
// it is read: "21.5 °C", "automatic", "16#FF".
std::string typed(const host::Tag& tag, const JsonValue& value) {
    switch (value.kind) {
        case JsonValue::Kind::Boolean:
            return value.boolean ? "TRUE" : "FALSE";
        case JsonValue::Kind::String:
            return isString(tag.form) ? inQuotesOfCodec(value.text) : value.text;
        default:
            return value.text;
    }
}

// Text of all of a tag. *error says why there is none.
std::optional<std::string> textOf(const host::Tag& tag, const JsonValue& value, std::string* error) {
    if (value.kind != JsonValue::Kind::Array) {
        return tag.elements > 1 && value.kind == JsonValue::Kind::String ? value.text : typed(tag, value);
    }
    if (value.items.size() != static_cast<std::size_t>(tag.elements)) {
        *error = fmt::format("{} has {} element(s), and {} were given", tag.text, tag.elements, value.items.size());
        return std::nullopt;
    }
    std::string text;
    for (const JsonValue& item : value.items) {
        text += (text.empty() ? "" : ",") + typed(tag, item);
    }
    return text;
}

using Parse = std::optional<HostValues> (*)(const host::Tag&, const std::string&, std::string*);

std::optional<HostValues> valuesOf(const host::Tag& tag, const JsonValue& value, Parse parse, std::string* error) {
    const std::optional<std::string> text = textOf(tag, value, error);
    return text ? parse(tag, *text, error) : std::nullopt;
}

std::string outcome(const std::string& id, const std::string& name, const std::string& text) {
    nlohmann::ordered_json json = {{"version", kFormatVersion}, {"id", nullptr}, {"outcome", name}, {"text", text}};
    if (!id.empty()) {
        json["id"] = id;
    }
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

CommandDesk::CommandDesk(std::vector<DeskTag> tags, std::int64_t startedUtcMs) : startedUtcMs_(startedUtcMs) {
    for (DeskTag& tag : tags) {
        isOff_ = isOff_ && !tag.isAllowed;
        const std::string name = tag.name;
        tags_.emplace(name, std::move(tag));
    }
}

std::variant<CommandOrder, CommandRefusal> CommandDesk::judge(const Arrival& arrival) {
    if (isOff_) {
        return CommandRefusal{"", "commands are off; the settings of the gateway name the tags that are taken"};
    }
    if (arrival.payload.size() > kLargestCommand) {
        return CommandRefusal{
            "", fmt::format("a command has at most {} bytes, this one {}", kLargestCommand, arrival.payload.size())};
    }
    const symbol_file::ParsedJson document = symbol_file::parseJson(arrival.payload);
    if (!document.problems.empty()) {
        return CommandRefusal{"", "it is no JSON: " + document.problems.front().what};
    }
    const Command command = commandOf(document);
    const auto refuse = [&](const std::string& reason) { return CommandRefusal{command.id, reason}; };
    if (arrival.isRetained) {
        return refuse("it is a retained message, which may be of any age; send commands without retain");
    }
    if (!command.problem.empty()) {
        return refuse(command.problem);
    }
    const std::string problem = problemOfTimes(arrival, command.issuedUtcMs, command.expiresMs);
    if (!problem.empty()) {
        return refuse(problem);
    }
    const auto found = tags_.find(command.tag);
    if (found == tags_.end()) {
        return refuse(inQuotes(command.tag) + " is none of the tags that this gateway reads");
    }
    const DeskTag& tag = found->second;
    if (!tag.isAllowed) {
        return refuse(command.tag +
                      " is not written by commands; the settings name the tags that are "
                      "(broker.commands.tags)");
    }
    if (arrival.isOtherProgram) {
        return refuse("the PLC has another program than the symbols describe, or may have");
    }
    std::string error;
    CommandOrder order;
    const std::optional<HostValues> values = valuesOf(tag.tag, *command.value, host::parsePlantValues, &error);
    if (!values) {
        return refuse("value: " + error);
    }
    if (command.old && !(order.replaces = valuesOf(tag.tag, *command.old, host::parseHeldValues, &error))) {
        return refuse("old: " + error);
    }
    if (isRepeated(command.id, arrival.utcMs)) {
        return refuse("its id was used by another command");
    }
    if (ids_.size() >= kMostCommandIds) {
        return refuse(fmt::format("there were {} commands within two minutes; wait", kMostCommandIds));
    }
    ids_.insert(command.id);
    kept_.emplace_back(arrival.utcMs + 2 * (kLargestCommandExpiry + kFutureTolerance).count(), command.id);
    order.id = command.id;
    order.tag = tag.number;
    order.values = *values;
    order.expires = host::Milliseconds(
        std::min(command.issuedUtcMs + command.expiresMs - arrival.utcMs, kLargestCommandExpiry.count()));
    return order;
}

std::string CommandDesk::problemOfTimes(const Arrival& arrival, std::int64_t issuedUtcMs,
                                        std::int64_t expiresMs) const {
    if (!arrival.isClockSet) {
        return "the clock of the gateway is not set, so that nobody knows how old it is";
    }
    if (issuedUtcMs < startedUtcMs_) {
        return "it was issued before this gateway started";
    }
    if (issuedUtcMs > arrival.utcMs + kFutureTolerance.count()) {
        return fmt::format("it was issued {} ms in the future; set the clocks", issuedUtcMs - arrival.utcMs);
    }
    if (arrival.utcMs >= issuedUtcMs + expiresMs) {
        return fmt::format("it expired {} ms ago", arrival.utcMs - issuedUtcMs - expiresMs);
    }
    return "";
}

bool CommandDesk::isRepeated(const std::string& id, std::int64_t utcMs) {
    while (!kept_.empty() && kept_.front().first < utcMs) {
        ids_.erase(kept_.front().second);
        kept_.pop_front();
    }
    return ids_.count(id) > 0;
}

std::string outcomeJson(const std::string& id, host::WriteOutcome how, const std::string& text) {
    return outcome(id, host::writeOutcomeName(how), text);
}

std::string outcomeJson(const CommandRefusal& refusal) {
    return outcome(refusal.id, "refused", refusal.reason);
}

}  // namespace ac500::broker
