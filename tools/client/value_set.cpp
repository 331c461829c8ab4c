#include "tools/client/value_set.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "tools/client/conversion.h"
#include "tools/host/plant_values.h"

namespace ac500::client {

using host::HostValue;
using host::Tag;
using host::ValueState;

namespace {

ac500_state stateOf(ValueState state) {
    switch (state) {
        case ValueState::NeverReceived:
            return AC500_NEVER_RECEIVED;
        case ValueState::Fresh:
            return AC500_FRESH;
        case ValueState::Suspect:
            return AC500_SUSPECT;
        case ValueState::Stale:
            return AC500_STALE;
        case ValueState::WritePending:
            return AC500_WRITE_PENDING;
        case ValueState::WriteFailed:
            return AC500_WRITE_FAILED;
    }
    return AC500_NEVER_RECEIVED;
}

}  // namespace

ValueSet::ValueSet(std::vector<ValueEntry> entries) : texts_(entries.size()) {
    items_.reserve(entries.size());
    for (ValueEntry& entry : entries) {
        host::HostValues plant = host::plantValues(*entry.tag, entry.value.values);
        items_.push_back({std::move(entry), std::move(plant)});
    }
}

ValueSet::~ValueSet() {
    for (const std::atomic<const std::string*>& text : texts_) {
        delete text.load();
    }
}

ac500_value_info ValueSet::info(std::size_t index) const {
    const ValueEntry& entry = items_[index].entry;
    const Tag& tag = *entry.tag;
    ac500_value_info info{};
    info.name = tag.text.c_str();
    info.unit = tag.notes == nullptr ? "" : tag.notes->unit.c_str();
    info.kind = kindOfTag(tag);
    info.state = stateOf(entry.value.state);
    info.elements = tag.elements;
    info.is_known = entry.value.isKnown ? 1 : 0;
    info.is_list = tag.isList ? 1 : 0;
    info.error = Result(entry.failure).code;
    info.age_ms = entry.value.isKnown && entry.value.age ? entry.value.age->count() : -1;
    info.received_unix_ms = entry.value.isKnown ? entry.receivedUnixMs : -1;
    info.error_text = entry.failure.text.c_str();
    return info;
}

Result ValueSet::availability(std::size_t index) const {
    const ValueEntry& entry = items_[index].entry;
    if (!entry.value.isKnown) {
        const std::string reason = entry.failure.occurred() ? ": " + entry.failure.text : "";
        return {AC500_REQUEST, fmt::format("{}: {}{}", entry.tag->text, valueStateName(entry.value.state), reason)};
    }
    if (entry.value.suspicion.occurred()) {
        return {AC500_PROGRAM, fmt::format("{}: suspect: {}", entry.tag->text, entry.value.suspicion.text)};
    }
    if (entry.value.state == ValueState::Stale && !acceptsStale_) {
        return {AC500_REQUEST, fmt::format("{}: stale, {} ms old; ac500_accept_stale lets old values pass",
                                           entry.tag->text, entry.value.age ? entry.value.age->count() : 0)};
    }
    return {};
}

template <typename Target, typename Convert>
Result ValueSet::copy(std::size_t index, Target* to, std::size_t count, const char* kind, Convert convert) const {
    const Item& item = items_[index];
    const Tag& tag = *item.entry.tag;
    if (count != static_cast<std::size_t>(tag.elements)) {
        return usage(fmt::format("{}: it has {} element(s), not {}", tag.text, tag.elements, count));
    }
    if (Result result = availability(index); !result.isOk()) {
        return result;
    }
    std::vector<Target> converted;
    converted.reserve(item.plant.size());
    for (const HostValue& value : item.plant) {
        const auto one = convert(value);
        if (!one) {
            return usage(fmt::format("{}: {} is no {} of that size", tag.text,
                                     host::formatPlantValues(tag, item.entry.value.values), kind));
        }
        converted.push_back(static_cast<Target>(*one));
    }
    std::copy(converted.begin(), converted.end(), to);
    return {};
}

Result ValueSet::copyBools(std::size_t index, std::int32_t* to, std::size_t count) const {
    return copy(index, to, count, "boolean", asBool);
}

Result ValueSet::copyInt64s(std::size_t index, std::int64_t* to, std::size_t count) const {
    return copy(index, to, count, "signed whole number", asInt64);
}

Result ValueSet::copyUint64s(std::size_t index, std::uint64_t* to, std::size_t count) const {
    return copy(index, to, count, "unsigned whole number", asUint64);
}

Result ValueSet::copyDoubles(std::size_t index, double* to, std::size_t count) const {
    return copy(index, to, count, "number", asDouble);
}

Result ValueSet::copyNanoseconds(std::size_t index, std::int64_t* to, std::size_t count) const {
    const Tag& tag = *items_[index].entry.tag;
    return copy(index, to, count, "time", [&tag](const HostValue& value) { return asNanoseconds(tag, value); });
}

Result ValueSet::copyStrings(std::size_t index, const char** to, std::size_t count) const {
    return copy(index, to, count, "string", [](const HostValue& value) -> std::optional<const char*> {
        const auto* string = std::get_if<std::string>(&value);
        return string == nullptr ? std::nullopt : std::optional<const char*>(string->c_str());
    });
}

Result ValueSet::text(std::size_t index, const char** to) const {
    if (Result result = availability(index); !result.isOk()) {
        return result;
    }
    const std::string* kept = texts_[index].load();
    if (kept == nullptr) {
        const ValueEntry& entry = items_[index].entry;
        auto made = std::make_unique<const std::string>(host::formatPlantValues(*entry.tag, entry.value.values));
        if (texts_[index].compare_exchange_strong(kept, made.get())) {  // else kept is what another thread has made
            kept = made.release();
        }
    }
    *to = kept->c_str();
    return {};
}

}  // namespace ac500::client
