// The C interface: each function looks up its handles, checks its arguments, calls what knows how, and says what came of it.
#include "tools/client/ac500_client.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/client/border.h"
#include "tools/client/conversion.h"
#include "tools/client/handle_table.h"
#include "tools/client/plc.h"
#include "tools/client/subscription.h"
#include "tools/client/tag_texts.h"
#include "tools/client/value_set.h"
#include "tools/host/fork_gate.h"
#include "tools/host/plant_values.h"
#include "tools/host/target_overlap.h"
#include "tools/selection/choice.h"
#include "tools/settings/settings.h"

namespace ac500::client {

// The fields behind these came later.
template <>
constexpr std::size_t kFirstSize<ac500_settings> = offsetof(ac500_settings, handshake);
template <>
constexpr std::size_t kFirstSize<ac500_status> = offsetof(ac500_status, handshake_text);

namespace {

using host::HostValue;
using host::HostValues;
using host::Milliseconds;
using host::Tag;

// More names in one call are taken for a count that went wrong.
constexpr std::size_t kMostTags = 1000000;
// The reports of more writes at a time are not kept.
constexpr std::size_t kMostWrites = host::WritePath::kKept;

// ---------------------------------------------------------------------------------------------------------------------
// What handles stand for
// ---------------------------------------------------------------------------------------------------------------------

struct TagObject {
    std::weak_ptr<Plc> plc;
    TagRef tag;
    TagTexts texts;
};

struct TagListObject {
    std::vector<TagTexts> tags;
};

struct WritesObject {
    // In a child its mutex may be held by a thread that is not there.
    bool isOfThisProcess() const { return process == ::getpid(); }

    const pid_t process = ::getpid();
    std::weak_ptr<Plc> plc;
    std::mutex mutex;
    std::vector<PlcWrite> writes;    // mutex
    std::vector<PlcWrite> lastSent;  // mutex: what became of them when they were sent last
};

struct Handles {
    void lock() {
        plcs.lock();
        tags.lock();
        tagLists.lock();
        values.lock();
        writes.lock();
        subscriptions.lock();
    }
    void unlock() {
        subscriptions.unlock();
        writes.unlock();
        values.unlock();
        tagLists.unlock();
        tags.unlock();
        plcs.unlock();
    }

    HandleTable<ac500_plc, Plc> plcs;
    HandleTable<ac500_tag, TagObject> tags;
    HandleTable<ac500_tag_list, TagListObject> tagLists;
    HandleTable<ac500_values, ValueSet> values;
    HandleTable<ac500_writes, WritesObject> writes;
    HandleTable<ac500_subscription, Subscription> subscriptions;
};

Handles& handles();

// A child that is forked gets tables and drivers that nobody is at work in.
Handles* makeHandles() {
    auto made = std::make_unique<Handles>();
    const auto lock = [] {
        handles().lock();
        host::ForkGate::closeAll();
    };
    const auto unlock = [] {
        host::ForkGate::openAll();
        handles().unlock();
    };
    if (::pthread_atfork(lock, unlock, unlock) != 0) {
        throw std::bad_alloc();
    }
    return made.release();
}

// Never destroyed: threads of the program may be calling while it ends.
Handles& handles() {
    static Handles* const all = makeHandles();
    return *all;
}

// ---------------------------------------------------------------------------------------------------------------------
// At the border
// ---------------------------------------------------------------------------------------------------------------------

// The handle of what was made, once nothing can fail any more.
template <typename Handle, typename Object>
void give(HandleTable<Handle, Object>& table, std::shared_ptr<Object> object, Handle** to) {
    *to = table.add(std::move(object));
}

// The threads of the session are not in the child, and the connection is the parent's.
Result openedBeforeFork() {
    return usage("this PLC was opened before a fork(): the child cannot use it; open one in the child");
}

template <typename Work>
ac500_result withPlc(ac500_plc* handle, Work work) {
    return guarded([&]() -> Result {
        const std::shared_ptr<Plc> plc = handles().plcs.find(handle);
        return plc == nullptr ? wrongHandle("PLC") : plc->isOfThisProcess() ? work(*plc) : openedBeforeFork();
    });
}

// Its list of writes, and whose it is, may be used.
Result checkWrites(const std::shared_ptr<WritesObject>& writes) {
    return writes == nullptr           ? wrongHandle("list of writes")
           : writes->isOfThisProcess() ? Result()
                                       : openedBeforeFork();
}

template <typename Work>
ac500_result withValues(const ac500_values* handle, std::size_t index, const void* to, Work work) {
    return guarded([&]() -> Result {
        const std::shared_ptr<ValueSet> values = handles().values.find(handle);
        if (values == nullptr) {
            return wrongHandle("set of values");
        }
        if (index >= values->count()) {
            return usage(fmt::format("there is no value number {}: there are {}", index, values->count()));
        }
        return to == nullptr ? nullPointer("where it is to go") : work(*values);
    });
}

std::size_t cut(char* to, std::size_t room, const std::string& text) {
    const std::size_t size = std::min(room - 1, text.size());
    std::memcpy(to, text.data(), size);
    return size;
}

Result checkProcess(const std::shared_ptr<Subscription>& subscription) {
    if (subscription == nullptr) {
        return wrongHandle("subscription");
    }
    const std::shared_ptr<Plc> plc = subscription->plc();
    return plc == nullptr || plc->isOfThisProcess() ? Result() : openedBeforeFork();
}

// ---------------------------------------------------------------------------------------------------------------------
// Opening
// ---------------------------------------------------------------------------------------------------------------------

constexpr char kDriverFile[] = "libac500driver.so";

ac500_settings defaultSettings() {
    const PlcSettings plc;
    ac500_settings settings{};
    settings.struct_size = sizeof settings;
    settings.time_limit_ms = static_cast<std::int32_t>(plc.timeLimit.count());
    settings.reply_timeout_ms = static_cast<std::int32_t>(plc.session.loop.replyTimeout.count());
    settings.cycle_ms = static_cast<std::int32_t>(plc.session.loop.cycle.count());
    settings.max_request_words = plc.session.maxRequestWords;
    settings.retry_limit = plc.session.retryLimit;
    return settings;
}

// Beside this library, then where programs look for it.
std::vector<std::string> driverPaths() {
    std::vector<std::string> paths;
    Dl_info about{};
    if (dladdr(reinterpret_cast<const void*>(&driverPaths), &about) != 0 && about.dli_fname != nullptr) {
        paths.push_back((std::filesystem::path(about.dli_fname).parent_path() / kDriverFile).string());
    }
    const std::vector<std::string> others = host::defaultDriverPaths();
    paths.insert(paths.end(), others.begin(), others.end());
    return paths;
}

std::vector<std::string> driversOf(const ac500_settings& settings) {
    if (settings.driver != nullptr) {
        return {settings.driver};
    }
    const char* named = std::getenv(settings::kDriverVariable);
    return named != nullptr && *named != '\0' ? std::vector<std::string>{named} : driverPaths();
}

// What begins the address of a gateway's socket.
constexpr std::string_view kVia = "unix:";

struct RangedSetting {
    const char* name;
    std::int32_t value;
    settings::SettingRange range;
};

Result checkRanges(const ac500_settings& settings) {
    const RangedSetting all[] = {
        {"time_limit_ms", settings.time_limit_ms, settings::kWaitRangeMs},
        {"reply_timeout_ms", settings.reply_timeout_ms, settings::kWaitRangeMs},
        {"cycle_ms", settings.cycle_ms, settings::kCycleRangeMs},
        {"max_request_words", settings.max_request_words, settings::kRequestWordsRange},
        {"retry_limit", settings.retry_limit, settings::kRetryRange},
    };
    for (const RangedSetting& one : all) {
        if (one.value < one.range.smallest || one.value > one.range.largest) {
            return usage(
                fmt::format("{} is {}: give {} to {}", one.name, one.value, one.range.smallest, one.range.largest));
        }
    }
    return {};
}

Result plcSettings(const char* symbols, const char* address, const ac500_settings& given, PlcSettings* settings) {
    if (Result result = checkRanges(given); !result.isOk()) {
        return result;
    }
    const bool isVia = std::string_view(address).substr(0, kVia.size()) == kVia;
    const std::optional<host::Endpoint> endpoint = isVia ? host::Endpoint() : host::parseEndpoint(address);
    if (!endpoint) {
        return usage(fmt::format(
            "\"{}\" is no address of a PLC: give HOST, HOST:PORT or [IPV6]:PORT, or unix:PATH of a gateway", address));
    }
    if (isVia && std::string_view(address) == kVia) {
        return usage(fmt::format("\"{}\" names no socket: give unix:PATH", address));
    }
    settings->via = isVia ? std::string(address).substr(kVia.size()) : std::string();
    settings->symbols = symbols == nullptr ? "" : symbols;
    settings->drivers = driversOf(given);
    settings->simulator = given.simulator != 0;
    settings->timeLimit = Milliseconds(given.time_limit_ms);
    settings->session.loop.plc = *endpoint;
    settings->session.loop.connectTimeout = Milliseconds(given.reply_timeout_ms);
    settings->session.loop.replyTimeout = Milliseconds(given.reply_timeout_ms);
    settings->session.loop.cycle = Milliseconds(given.cycle_ms);
    settings->session.maxRequestWords = given.max_request_words;
    settings->session.retryLimit = given.retry_limit;
    return {};
}

Result openPlc(const char* symbols, const char* address, const ac500_settings* given, ac500_plc** to) {
    const bool isVia = address != nullptr && std::string_view(address).substr(0, kVia.size()) == kVia;
    if ((symbols == nullptr && !isVia) || address == nullptr || to == nullptr) {
        return nullPointer("symbol file, address and where the PLC is to go");
    }
    ac500_settings known = defaultSettings();
    if (given != nullptr) {
        if (given->struct_size < kFirstSize<ac500_settings>) {
            return usage("the settings are not filled in: ac500_settings_init does it");
        }
        std::memcpy(&known, given, std::min(given->struct_size, sizeof known));
    }
    PlcSettings settings;
    if (Result result = plcSettings(symbols, address, known, &settings); !result.isOk()) {
        return result;
    }
    settings.handshake = known.handshake == nullptr ? "" : known.handshake;
    Result failure;
    std::shared_ptr<Plc> plc = Plc::open(settings, &failure);
    if (plc == nullptr) {
        return failure;
    }
    give(handles().plcs, std::move(plc), to);
    return {};
}

ac500_status statusOf(const Plc& plc) {
    const host::SessionStatus from = plc.status();
    const host::Statistics& counted = from.statistics;
    const host::CycleTimes cycles = counted.cycleTimes();
    ac500_status status{};
    status.is_online = from.isOnline ? 1 : 0;
    status.events = static_cast<std::int64_t>(from.events);
    status.last_failure_ms = -1;
    if (from.lastFailure) {
        status.last_failure = Result(from.lastFailure->failure).code;
        status.last_failure_ms = std::chrono::duration_cast<Milliseconds>(plc.now() - from.lastFailure->time).count();
        cut(status.last_failure_text, sizeof status.last_failure_text, from.lastFailure->failure.text);
    }
    status.frames_sent = counted.framesSent;
    status.frames_accepted = counted.framesAccepted;
    status.bytes_sent = counted.bytesSent;
    status.bytes_received = counted.bytesReceived;
    status.retries = counted.retries;
    status.timeouts = counted.timeouts;
    status.refusals = counted.refusals;
    status.bad_replies = counted.badReplies;
    status.abandoned = counted.abandoned;
    status.connections = counted.connections;
    status.handshakes = counted.handshakes;
    status.cycles = cycles.cycles;
    status.cycle_min_us = cycles.minimum.count();
    status.cycle_median_us = cycles.median.count();
    status.cycle_max_us = cycles.maximum.count();
    cut(status.state, sizeof status.state, host::loopStateName(from.state));
    cut(status.handshake_text, sizeof status.handshake_text, plc.handshakeText());
    return status;
}

// ---------------------------------------------------------------------------------------------------------------------
// Tags
// ---------------------------------------------------------------------------------------------------------------------

std::string commentOf(const Plc& plc, const Tag& tag) {
    const symbol_file::Leaf* leaf = plc.tags().catalog().leafHolding(tag.text);
    return leaf == nullptr ? "" : leaf->comment;
}

// A pattern, or every scope when there is none.
std::vector<selection::Entry> entriesOf(const Plc& plc, const char* pattern) {
    std::vector<selection::Entry> entries;
    if (pattern != nullptr) {
        entries.push_back({pattern, {}, {}, {}});
        return entries;
    }
    for (const symbol_file::Scope& scope : plc.tags().file().scopes) {
        if (!scope.variables.empty()) {
            entries.push_back({scope.name, {}, {}, {}});
        }
    }
    return entries;
}

Result browse(const Plc& plc, const char* pattern, TagListObject* list) {
    const selection::ChoiceLimits limits{std::numeric_limits<std::size_t>::max(), selection::Expansion::Allowed};
    const selection::Choice choice = selection::choose(plc.tags().catalog(), entriesOf(plc, pattern), limits);
    if (!choice.problems.empty()) {
        return {AC500_NAME, choice.problems.front().text};
    }
    for (const selection::ChosenTag& chosen : choice.tags) {
        std::string error;
        const std::optional<Tag> tag = plc.tags().find(chosen.tag, &error);
        if (!tag) {
            return {AC500_NAME, error};
        }
        list->tags.emplace_back(*tag, commentOf(plc, *tag));
    }
    return {};
}

// Of the list that a program gives.
Result checkNames(const char* const* names, std::size_t count) {
    if (names == nullptr && count > 0) {
        return nullPointer("the list of names");
    }
    if (count > kMostTags) {
        return usage(fmt::format("{} names are more than {}", count, kMostTags));
    }
    return std::find(names, names + count, nullptr) == names + count ? Result() : nullPointer("a name");
}

// As Plc::findTags. A gateway that does not answer says why when it is asked for something.
Result findTags(const Plc& plc, const char* const* names, std::size_t count, host::Time begun,
                std::vector<TagRef>* tags) {
    Result result = checkNames(names, count);
    host::Failure ignored;
    return result.isOk() ? plc.findTags({names, names + count}, begun, tags, &ignored) : result;
}

Result tagsOf(const Plc& plc, ac500_tag* const* given, std::size_t count, std::vector<TagRef>* tags) {
    if (given == nullptr && count > 0) {
        return nullPointer("the list of tags");
    }
    if (count > kMostTags) {
        return usage(fmt::format("{} tags are more than {}", count, kMostTags));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::shared_ptr<TagObject> tag = handles().tags.find(given[i]);
        if (tag == nullptr) {
            return wrongHandle("tag");
        }
        if (tag->plc.lock().get() != &plc) {
            return usage(tag->tag->text + ": it was found on another PLC");
        }
        tags->push_back(tag->tag);
    }
    return {};
}

// ---------------------------------------------------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------------------------------------------------

// Values are handed out with a failure, too.
Result readInto(Plc& plc, const std::vector<TagRef>& tags, host::Time begun, ac500_values** to) {
    std::vector<ValueEntry> entries;
    Result result = plc.isClosed() ? closed() : plc.read(tags, begun, &entries);
    if (result.code != AC500_CLOSED) {
        give(handles().values, std::make_shared<ValueSet>(std::move(entries)), to);
    }
    return result;
}

template <typename Work>
ac500_result readOne(ac500_plc* handle, const char* name, const void* to, Work work) {
    return withPlc(handle, [&](Plc& plc) -> Result {
        if (to == nullptr || name == nullptr) {
            return nullPointer("the name and where the value is to go");
        }
        const host::Time begun = plc.now();
        std::vector<TagRef> tags;
        std::vector<ValueEntry> entries;
        Result result = findTags(plc, &name, 1, begun, &tags);
        if (result.isOk()) {
            result = plc.read(tags, begun, &entries);
        }
        return result.isOk() ? work(ValueSet(std::move(entries))) : result;
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------------------------------------------------

// To what the PLC gets: `given` are the elements as the program has them, `convert` makes each one that the tag can hold.
template <typename Given, typename Convert>
Result valuesFor(const Tag& tag, const Given* given, std::size_t count, HostValues* values, Convert convert) {
    if (count != static_cast<std::size_t>(tag.elements)) {
        return usage(fmt::format("{}: it has {} element(s), not {}", tag.text, tag.elements, count));
    }
    HostValues plant;
    std::string error;
    for (std::size_t i = 0; i < count; ++i) {
        const std::optional<HostValue> value = convert(tag, given[i], &error);
        if (!value) {
            return usage(tag.text + ": " + error);
        }
        plant.push_back(*value);
    }
    std::optional<HostValues> inPlc = host::fromPlantValues(tag, plant, &error);
    if (!inPlc) {
        return usage(tag.text + ": " + error);
    }
    *values = std::move(*inPlc);
    return {};
}

template <typename Number>
std::optional<HostValue> convertNumber(const Tag& tag, Number number, std::string* error) {
    return forTag(tag, HostValue(number), error);
}

std::optional<HostValue> convertBool(const Tag& tag, std::int32_t truth, std::string* error) {
    return forTag(tag, HostValue(std::int64_t{truth}), error);
}

std::optional<HostValue> convertString(const Tag& tag, const char* string, std::string* error) {
    if (string == nullptr) {
        *error = "a string may not be null";
        return std::nullopt;
    }
    return forTag(tag, HostValue(std::string(string)), error);
}

Result parseText(const Tag& tag, const char* text, HostValues* values) {
    std::string error;
    std::optional<HostValues> parsed = host::parsePlantValues(tag, text, &error);
    if (!parsed) {
        return usage(tag.text + ": " + error);
    }
    *values = std::move(*parsed);
    return {};
}

Result checkFinite(const PlcWrite& write) {
    if (host::areFinite(write.values)) {
        return {};
    }
    return usage(
        fmt::format("{}: {} is no finite number, which few PLC programs expect; AC500_ALLOW_NOT_FINITE lets it pass",
                    write.tag->text, host::formatPlantValues(*write.tag, write.values)));
}

Result checkTogether(const std::vector<PlcWrite>& writes, bool allowsNotFinite) {
    std::vector<Tag> targets;
    for (const PlcWrite& write : writes) {
        if (Result result = checkFinite(write); !allowsNotFinite && !result.isOk()) {
            return result;
        }
        targets.push_back(*write.tag);
    }
    if (const std::optional<host::TargetOverlap> overlap = host::findOverlap(targets)) {
        return usage(fmt::format("{} and {} overlap; which value the PLC ends up with would be left to chance",
                                 targets[overlap->first].text, targets[overlap->second].text));
    }
    return {};
}

// What the PLC has afterwards is held against what was written.
Result readBack(Plc& plc, std::vector<PlcWrite>* writes) {
    std::vector<TagRef> tags;
    std::vector<PlcWrite*> written;
    for (PlcWrite& write : *writes) {
        if (write.outcome == AC500_DONE) {
            tags.push_back(write.tag);
            written.push_back(&write);
        }
    }
    std::vector<ValueEntry> entries;
    if (const Result result = plc.read(tags, plc.now(), &entries); result.code == AC500_CLOSED) {
        return result;
    }
    Result first;
    for (std::size_t i = 0; i < written.size(); ++i) {
        PlcWrite& write = *written[i];
        const ValueEntry& entry = entries[i];
        if (entry.failure.occurred() || !entry.value.isKnown) {
            write.result = {AC500_REQUEST, "written, but it could not be read back: " + entry.failure.text};
        } else if (!host::sameValues(entry.value.values, write.values)) {
            write.result = {AC500_REQUEST,
                            fmt::format("{} was written, but the PLC has {}; its program may have changed it",
                                        host::formatPlantValues(*write.tag, write.values),
                                        host::formatPlantValues(*write.tag, entry.value.values))};
        }
        if (first.isOk() && !write.result.isOk()) {
            first = {write.result.code, write.tag->text + ": " + write.result.text};
        }
    }
    return first;
}

// Read back within the same time limit would leave too little for either: each has its own half.
Result sendAll(Plc& plc, std::vector<PlcWrite>* writes, std::int32_t flags, host::Time begun) {
    if (plc.isClosed()) {
        return closed();
    }
    if (Result result = checkTogether(*writes, (flags & AC500_ALLOW_NOT_FINITE) != 0); !result.isOk()) {
        return result;
    }
    const Result sent = plc.write(writes, begun);
    const Result back = (flags & AC500_READ_BACK) != 0 ? readBack(plc, writes) : Result();
    return sent.isOk() ? back : sent;
}

template <typename Fill>
ac500_result writeOne(ac500_plc* handle, const char* name, Fill fill) {
    return withPlc(handle, [&](Plc& plc) -> Result {
        if (name == nullptr) {
            return nullPointer("the name");
        }
        const host::Time begun = plc.now();
        std::vector<TagRef> tags;
        host::Failure unanswered;
        if (Result result = plc.findTags({name}, begun, &tags, &unanswered); !result.isOk()) {
            return result;
        }
        if (unanswered.occurred()) {
            return {Result(unanswered).code, fmt::format("{}: not sent: {}", name, unanswered.text)};
        }
        std::vector<PlcWrite> writes(1);
        writes[0].tag = tags[0];
        if (Result result = fill(*tags[0], &writes[0].values); !result.isOk()) {
            return result;
        }
        return sendAll(plc, &writes, 0, begun);
    });
}

template <typename Fill>
ac500_result addWrite(ac500_writes* handle, ac500_tag* tagHandle, const void* from, Fill fill) {
    return guarded([&]() -> Result {
        const std::shared_ptr<WritesObject> writes = handles().writes.find(handle);
        const std::shared_ptr<TagObject> tag = handles().tags.find(tagHandle);
        if (Result result = checkWrites(writes); !result.isOk()) {
            return result;
        }
        if (tag == nullptr) {
            return wrongHandle("tag");
        }
        if (from == nullptr) {
            return nullPointer("the value");
        }
        const std::shared_ptr<Plc> plc = writes->plc.lock();
        if (plc == nullptr || plc->isClosed()) {
            return closed();
        }
        if (tag->plc.lock() != plc) {
            return usage(tag->tag->text + ": it was found on another PLC");
        }
        PlcWrite write;
        write.tag = tag->tag;
        if (Result result = fill(*write.tag, &write.values); !result.isOk()) {
            return result;
        }
        const std::lock_guard<std::mutex> lock(writes->mutex);
        if (writes->writes.size() == kMostWrites) {
            return usage(fmt::format("more than {} writes cannot be sent together", kMostWrites));
        }
        writes->writes.push_back(std::move(write));
        return {};
    });
}

template <typename Given, typename Convert>
ac500_result addNumbers(ac500_writes* writes, ac500_tag* tag, const Given* from, std::size_t count, Convert convert) {
    return addWrite(writes, tag, from,
                    [&](const Tag& to, HostValues* values) { return valuesFor(to, from, count, values, convert); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Subscriptions
// ---------------------------------------------------------------------------------------------------------------------

// The handle of a subscription, which its callback gets, is known after the subscription is made.
struct SubscriptionName {
    std::mutex mutex;
    std::condition_variable isThere;
    ac500_subscription* handle = nullptr;  // mutex

    void set(ac500_subscription* to) {
        const std::lock_guard<std::mutex> lock(mutex);
        handle = to;
        isThere.notify_all();
    }
    ac500_subscription* get() {
        std::unique_lock<std::mutex> lock(mutex);
        isThere.wait(lock, [this] { return handle != nullptr; });
        return handle;
    }
};

void callBack(ac500_event_function callback, void* user, ac500_subscription* subscription,
              std::vector<ValueEntry> entries) {
    struct Given {
        ac500_values* handle;
        ~Given() { handles().values.remove(handle); }
    };
    const Given given{handles().values.add(std::make_shared<ValueSet>(std::move(entries)))};
    callback(user, subscription, given.handle);
}

// A handle that goes again unless it is taken.
struct Offered {
    ac500_subscription* handle;
    ~Offered() {
        if (handle != nullptr) {
            handles().subscriptions.remove(handle);
        }
    }
};

Result subscribe(Plc& plc, std::vector<TagRef> tags, std::int32_t flags, ac500_event_function callback, void* user,
                 ac500_subscription** to) {
    const auto name = std::make_shared<SubscriptionName>();
    Subscription::Callback tell;
    if (callback != nullptr) {
        tell = [=](std::vector<ValueEntry> entries) { callBack(callback, user, name->get(), std::move(entries)); };
    }
    const auto subscription = std::make_shared<Subscription>(plc.weak_from_this(), std::move(tags),
                                                             (flags & AC500_ON_RECEPTION) != 0, std::move(tell));
    Offered offered{handles().subscriptions.add(subscription)};
    Result result = plc.add(subscription);
    if (result.isOk()) {
        *to = std::exchange(offered.handle, nullptr);
        name->set(*to);
    }
    return result;
}

Milliseconds waitOf(std::int32_t waitMs) {
    return Milliseconds(std::max(waitMs, 0));
}

}  // namespace
}  // namespace ac500::client

using namespace ac500::client;
using ac500::host::HostValues;
using ac500::host::Tag;

extern "C" {

// ---------------------------------------------------------------------------------------------------------------------
// Words
// ---------------------------------------------------------------------------------------------------------------------

const char* ac500_result_name(int result) {
    switch (result) {
        case AC500_MEMORY:
            return "memory";
        case AC500_CLOSED:
            return "closed";
        case AC500_INTERNAL:
            return "internal";
        case AC500_NOTHING:
            return "nothing";
        case AC500_PROGRAM:
            return "program";
        default:
            break;
    }
    const bool isLayer = result >= AC500_OK && result <= AC500_OUTPUT;
    return isLayer ? ac500::host::failureKindName(static_cast<ac500::host::FailureKind>(result)) : "?";
}

const char* ac500_last_error(void) {
    return lastError();
}

const char* ac500_client_version(void) {
    return AC500_VERSION;
}

const char* ac500_state_name(int state) {
    using ac500::host::ValueState;
    switch (state) {
        case AC500_NEVER_RECEIVED:
            return valueStateName(ValueState::NeverReceived);
        case AC500_FRESH:
            return valueStateName(ValueState::Fresh);
        case AC500_STALE:
            return valueStateName(ValueState::Stale);
        case AC500_WRITE_PENDING:
            return valueStateName(ValueState::WritePending);
        case AC500_WRITE_FAILED:
            return valueStateName(ValueState::WriteFailed);
        case AC500_SUSPECT:
            return valueStateName(ValueState::Suspect);
        default:
            return "?";
    }
}

const char* ac500_outcome_name(int outcome) {
    using ac500::host::WriteOutcome;
    switch (outcome) {
        case AC500_PENDING:
            return writeOutcomeName(WriteOutcome::Pending);
        case AC500_DONE:
            return writeOutcomeName(WriteOutcome::Done);
        case AC500_REFUSED:
            return writeOutcomeName(WriteOutcome::Refused);
        case AC500_NOT_SENT:
            return writeOutcomeName(WriteOutcome::NotSent);
        case AC500_UNKNOWN:
            return writeOutcomeName(WriteOutcome::Unknown);
        default:
            return "?";
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// A PLC
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_settings_init(ac500_settings* settings, size_t size) {
    return guarded([&] { return giveRecord(defaultSettings(), settings, size); });
}

ac500_result ac500_open(const char* symbols, const char* address, const ac500_settings* settings, ac500_plc** plc) {
    return guarded([&] { return openPlc(symbols, address, settings, plc); });
}

ac500_result ac500_close(ac500_plc* plc) {
    return guarded([&]() -> Result {
        std::shared_ptr<Plc> closing = handles().plcs.find(plc);
        if (closing != nullptr && !closing->isOfThisProcess()) {
            return openedBeforeFork();
        }
        closing = handles().plcs.remove(plc);
        if (closing == nullptr) {
            return wrongHandle("PLC");
        }
        closing->close();
        return {};
    });
}

ac500_result ac500_wait_online(ac500_plc* plc, int32_t wait_ms) {
    return withPlc(plc, [&](Plc& on) { return on.waitOnline(waitOf(wait_ms)); });
}

ac500_result ac500_get_status(ac500_plc* plc, ac500_status* status, size_t size) {
    return withPlc(plc, [&](Plc& of) { return giveRecord(statusOf(of), status, size); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Tags
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_find_tag(ac500_plc* plc, const char* name, ac500_tag** tag) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (name == nullptr || tag == nullptr) {
            return nullPointer("the name and where the tag is to go");
        }
        std::vector<TagRef> found;
        if (Result result = findTags(on, &name, 1, on.now(), &found); !result.isOk()) {
            return result;
        }
        const TagObject object{on.weak_from_this(), found[0], TagTexts(*found[0], commentOf(on, *found[0]))};
        give(handles().tags, std::make_shared<TagObject>(object), tag);
        return {};
    });
}

ac500_result ac500_free_tag(ac500_tag* tag) {
    return guarded([&] { return handles().tags.remove(tag) == nullptr ? wrongHandle("tag") : Result(); });
}

ac500_result ac500_get_tag_info(ac500_tag* tag, ac500_tag_info* info, size_t size) {
    return guarded([&] {
        const std::shared_ptr<TagObject> of = handles().tags.find(tag);
        return of == nullptr ? wrongHandle("tag") : giveRecord(of->texts.info(), info, size);
    });
}

ac500_result ac500_browse(ac500_plc* plc, const char* pattern, ac500_tag_list** list) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (list == nullptr) {
            return nullPointer("where the list is to go");
        }
        auto tags = std::make_shared<TagListObject>();
        if (Result result = browse(on, pattern, tags.get()); !result.isOk()) {
            return result;
        }
        give(handles().tagLists, std::move(tags), list);
        return {};
    });
}

ac500_result ac500_free_tag_list(ac500_tag_list* list) {
    return guarded([&] { return handles().tagLists.remove(list) == nullptr ? wrongHandle("list of tags") : Result(); });
}

size_t ac500_tag_list_count(ac500_tag_list* list) {
    const std::shared_ptr<TagListObject> of = handles().tagLists.find(list);
    return of == nullptr ? 0 : of->tags.size();
}

ac500_result ac500_tag_list_get(ac500_tag_list* list, size_t index, ac500_tag_info* info, size_t size) {
    return guarded([&]() -> Result {
        const std::shared_ptr<TagListObject> of = handles().tagLists.find(list);
        if (of == nullptr) {
            return wrongHandle("list of tags");
        }
        if (index >= of->tags.size()) {
            return usage(fmt::format("there is no tag number {}: there are {}", index, of->tags.size()));
        }
        return giveRecord(of->tags[index].info(), info, size);
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_free_values(ac500_values* values) {
    return guarded(
        [&] { return handles().values.remove(values) == nullptr ? wrongHandle("set of values") : Result(); });
}

size_t ac500_values_count(const ac500_values* values) {
    const std::shared_ptr<ValueSet> of = handles().values.find(values);
    return of == nullptr ? 0 : of->count();
}

ac500_result ac500_get_value_info(const ac500_values* values, size_t index, ac500_value_info* info, size_t size) {
    return withValues(values, index, info, [&](ValueSet& of) { return giveRecord(of.info(index), info, size); });
}

ac500_result ac500_accept_stale(ac500_values* values) {
    return guarded([&]() -> Result {
        const std::shared_ptr<ValueSet> of = handles().values.find(values);
        if (of == nullptr) {
            return wrongHandle("set of values");
        }
        of->acceptStale();
        return {};
    });
}

ac500_result ac500_get_bools(const ac500_values* values, size_t index, int32_t* to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyBools(index, to, count); });
}

ac500_result ac500_get_int64s(const ac500_values* values, size_t index, int64_t* to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyInt64s(index, to, count); });
}

ac500_result ac500_get_uint64s(const ac500_values* values, size_t index, uint64_t* to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyUint64s(index, to, count); });
}

ac500_result ac500_get_doubles(const ac500_values* values, size_t index, double* to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyDoubles(index, to, count); });
}

ac500_result ac500_get_nanoseconds(const ac500_values* values, size_t index, int64_t* to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyNanoseconds(index, to, count); });
}

ac500_result ac500_get_strings(const ac500_values* values, size_t index, const char** to, size_t count) {
    return withValues(values, index, to, [&](ValueSet& of) { return of.copyStrings(index, to, count); });
}

ac500_result ac500_get_text(const ac500_values* values, size_t index, const char** text) {
    return withValues(values, index, text, [&](ValueSet& of) { return of.text(index, text); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_read(ac500_plc* plc, const char* const* names, size_t count, ac500_values** values) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (values == nullptr) {
            return nullPointer("where the values are to go");
        }
        const ac500::host::Time begun = on.now();
        std::vector<TagRef> tags;
        Result result = findTags(on, names, count, begun, &tags);
        return result.isOk() ? readInto(on, tags, begun, values) : result;
    });
}

ac500_result ac500_read_tags(ac500_plc* plc, ac500_tag* const* tags, size_t count, ac500_values** values) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (values == nullptr) {
            return nullPointer("where the values are to go");
        }
        const ac500::host::Time begun = on.now();
        std::vector<TagRef> found;
        Result result = tagsOf(on, tags, count, &found);
        return result.isOk() ? readInto(on, found, begun, values) : result;
    });
}

ac500_result ac500_latest(ac500_plc* plc, ac500_tag* const* tags, size_t count, ac500_values** values) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (values == nullptr) {
            return nullPointer("where the values are to go");
        }
        std::vector<TagRef> found;
        if (Result result = tagsOf(on, tags, count, &found); !result.isOk()) {
            return result;
        }
        std::vector<ValueEntry> entries;
        for (const TagRef& tag : found) {
            entries.push_back(on.latest(tag));
        }
        give(handles().values, std::make_shared<ValueSet>(std::move(entries)), values);
        return {};
    });
}

ac500_result ac500_read_bool(ac500_plc* plc, const char* name, int32_t* value) {
    return readOne(plc, name, value, [&](const ValueSet& read) { return read.copyBools(0, value, 1); });
}

ac500_result ac500_read_int64(ac500_plc* plc, const char* name, int64_t* value) {
    return readOne(plc, name, value, [&](const ValueSet& read) { return read.copyInt64s(0, value, 1); });
}

ac500_result ac500_read_uint64(ac500_plc* plc, const char* name, uint64_t* value) {
    return readOne(plc, name, value, [&](const ValueSet& read) { return read.copyUint64s(0, value, 1); });
}

ac500_result ac500_read_double(ac500_plc* plc, const char* name, double* value) {
    return readOne(plc, name, value, [&](const ValueSet& read) { return read.copyDoubles(0, value, 1); });
}

ac500_result ac500_read_string(ac500_plc* plc, const char* name, char* buffer, size_t size) {
    return readOne(plc, name, buffer, [&](const ValueSet& read) {
        const char* text = nullptr;
        Result result = read.copyStrings(0, &text, 1);
        return result.isOk() ? copyText(text, buffer, size) : result;
    });
}

ac500_result ac500_read_text(ac500_plc* plc, const char* name, char* buffer, size_t size) {
    return readOne(plc, name, buffer, [&](const ValueSet& read) {
        const char* text = nullptr;
        Result result = read.text(0, &text);
        return result.isOk() ? copyText(text, buffer, size) : result;
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_write_bool(ac500_plc* plc, const char* name, int32_t value) {
    return writeOne(plc, name,
                    [&](const Tag& tag, HostValues* to) { return valuesFor(tag, &value, 1, to, convertBool); });
}

ac500_result ac500_write_int64(ac500_plc* plc, const char* name, int64_t value) {
    return writeOne(plc, name, [&](const Tag& tag, HostValues* to) {
        return valuesFor(tag, &value, 1, to, convertNumber<int64_t>);
    });
}

ac500_result ac500_write_uint64(ac500_plc* plc, const char* name, uint64_t value) {
    return writeOne(plc, name, [&](const Tag& tag, HostValues* to) {
        return valuesFor(tag, &value, 1, to, convertNumber<uint64_t>);
    });
}

ac500_result ac500_write_double(ac500_plc* plc, const char* name, double value) {
    return writeOne(plc, name, [&](const Tag& tag, HostValues* to) {
        return valuesFor(tag, &value, 1, to, convertNumber<double>);
    });
}

ac500_result ac500_write_string(ac500_plc* plc, const char* name, const char* value) {
    return writeOne(plc, name,
                    [&](const Tag& tag, HostValues* to) { return valuesFor(tag, &value, 1, to, convertString); });
}

ac500_result ac500_write_text(ac500_plc* plc, const char* name, const char* value) {
    return writeOne(plc, name, [&](const Tag& tag, HostValues* to) {
        return value == nullptr ? nullPointer("the value") : parseText(tag, value, to);
    });
}

ac500_result ac500_new_writes(ac500_plc* plc, ac500_writes** writes) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (writes == nullptr) {
            return nullPointer("where the list is to go");
        }
        auto list = std::make_shared<WritesObject>();
        list->plc = on.weak_from_this();
        give(handles().writes, std::move(list), writes);
        return {};
    });
}

ac500_result ac500_free_writes(ac500_writes* writes) {
    return guarded(
        [&] { return handles().writes.remove(writes) == nullptr ? wrongHandle("list of writes") : Result(); });
}

size_t ac500_writes_count(ac500_writes* writes) {
    const std::shared_ptr<WritesObject> of = handles().writes.find(writes);
    if (!checkWrites(of).isOk()) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(of->mutex);
    return of->writes.size();
}

ac500_result ac500_add_bools(ac500_writes* writes, ac500_tag* tag, const int32_t* from, size_t count) {
    return addNumbers(writes, tag, from, count, convertBool);
}

ac500_result ac500_add_int64s(ac500_writes* writes, ac500_tag* tag, const int64_t* from, size_t count) {
    return addNumbers(writes, tag, from, count, convertNumber<int64_t>);
}

ac500_result ac500_add_uint64s(ac500_writes* writes, ac500_tag* tag, const uint64_t* from, size_t count) {
    return addNumbers(writes, tag, from, count, convertNumber<uint64_t>);
}

ac500_result ac500_add_doubles(ac500_writes* writes, ac500_tag* tag, const double* from, size_t count) {
    return addNumbers(writes, tag, from, count, convertNumber<double>);
}

ac500_result ac500_add_strings(ac500_writes* writes, ac500_tag* tag, const char* const* from, size_t count) {
    return addNumbers(writes, tag, from, count, convertString);
}

ac500_result ac500_add_nanoseconds(ac500_writes* writes, ac500_tag* tag, const int64_t* from, size_t count) {
    return addNumbers(writes, tag, from, count, forTimeTag);
}

ac500_result ac500_add_text(ac500_writes* writes, ac500_tag* tag, const char* text) {
    return addWrite(writes, tag, text, [&](const Tag& to, HostValues* values) { return parseText(to, text, values); });
}

ac500_result ac500_expect_text(ac500_writes* writes, size_t index, const char* text) {
    return guarded([&]() -> Result {
        const std::shared_ptr<WritesObject> of = handles().writes.find(writes);
        if (Result result = checkWrites(of); !result.isOk()) {
            return result;
        }
        if (text == nullptr) {
            return nullPointer("the value");
        }
        const std::lock_guard<std::mutex> lock(of->mutex);
        if (index >= of->writes.size()) {
            return usage(fmt::format("there is no write number {}: there are {}", index, of->writes.size()));
        }
        HostValues values;
        Result result = parseText(*of->writes[index].tag, text, &values);
        if (result.isOk()) {
            of->writes[index].replaces = std::move(values);
        }
        return result;
    });
}

// The list is free while its writes are on their way: what became of them is stored when all is over.
ac500_result ac500_send_writes(ac500_writes* writes, int32_t flags) {
    return guarded([&]() -> Result {
        const std::shared_ptr<WritesObject> of = handles().writes.find(writes);
        if (Result result = checkWrites(of); !result.isOk()) {
            return result;
        }
        if ((flags & ~(AC500_READ_BACK | AC500_ALLOW_NOT_FINITE)) != 0) {
            return usage(fmt::format("{} is no sum of ac500_write_flags", flags));
        }
        const std::shared_ptr<Plc> plc = of->plc.lock();
        if (plc == nullptr) {
            return closed();
        }
        std::vector<PlcWrite> sent;
        {
            const std::lock_guard<std::mutex> lock(of->mutex);
            sent = of->writes;
        }
        Result result = sendAll(*plc, &sent, flags, plc->now());
        const std::lock_guard<std::mutex> lock(of->mutex);
        of->lastSent = std::move(sent);
        return result;
    });
}

ac500_result ac500_get_outcome(ac500_writes* writes, size_t index, ac500_write_outcome* outcome, size_t size) {
    return guarded([&]() -> Result {
        const std::shared_ptr<WritesObject> of = handles().writes.find(writes);
        if (Result result = checkWrites(of); !result.isOk()) {
            return result;
        }
        const std::lock_guard<std::mutex> lock(of->mutex);
        if (index >= of->writes.size()) {
            return usage(fmt::format("there is no write number {}: there are {}", index, of->writes.size()));
        }
        ac500_write_outcome record{};
        record.name = of->writes[index].tag->text.c_str();
        record.result = AC500_NOTHING;
        record.error_text = "";
        if (index < of->lastSent.size()) {
            const PlcWrite& sent = of->lastSent[index];
            record.outcome = sent.outcome;
            record.result = sent.outcome == AC500_PENDING ? AC500_NOTHING : sent.result.code;
            record.error_text = sent.result.text.c_str();
        }
        return giveRecord(record, outcome, size);
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Subscriptions
// ---------------------------------------------------------------------------------------------------------------------

ac500_result ac500_subscribe(ac500_plc* plc, const char* const* names, size_t count, int32_t flags,
                             ac500_event_function callback, void* user, ac500_subscription** subscription) {
    return withPlc(plc, [&](Plc& on) -> Result {
        if (subscription == nullptr) {
            return nullPointer("where the subscription is to go");
        }
        if (flags != AC500_ON_CHANGE && flags != AC500_ON_RECEPTION) {
            return usage(fmt::format("{} is none of ac500_subscribe_flags", flags));
        }
        std::vector<TagRef> tags;
        Result result = findTags(on, names, count, on.now(), &tags);
        return result.isOk() ? subscribe(on, std::move(tags), flags, callback, user, subscription) : result;
    });
}

ac500_result ac500_unsubscribe(ac500_subscription* subscription) {
    return guarded([&]() -> Result {
        if (Result result = checkProcess(handles().subscriptions.find(subscription)); !result.isOk()) {
            return result;
        }
        const std::shared_ptr<Subscription> of = handles().subscriptions.remove(subscription);
        if (of == nullptr) {
            return wrongHandle("subscription");
        }
        of->end();
        const std::shared_ptr<Plc> plc = of->plc();
        if (plc == nullptr) {
            return {};
        }
        plc->remove(*of);
        if (!of->waitUntilQuiet(plc->timeLimit())) {
            return {AC500_REQUEST, "its callback still runs; it will not be called again"};
        }
        return {};
    });
}

ac500_result ac500_next_event(ac500_subscription* subscription, int32_t wait_ms, ac500_values** values) {
    return guarded([&]() -> Result {
        const std::shared_ptr<Subscription> of = handles().subscriptions.find(subscription);
        if (Result result = checkProcess(of); !result.isOk()) {
            return result;
        }
        if (values == nullptr) {
            return nullPointer("where the values are to go");
        }
        if (of->hasCallback()) {
            return usage("the events of this subscription go to its callback");
        }
        std::vector<ValueEntry> entries;
        Result result = of->next(waitOf(wait_ms), &entries);
        if (result.isOk()) {
            give(handles().values, std::make_shared<ValueSet>(std::move(entries)), values);
        }
        return result;
    });
}

ac500_result ac500_event_fd(ac500_subscription* subscription, int* fd) {
    return guarded([&]() -> Result {
        const std::shared_ptr<Subscription> of = handles().subscriptions.find(subscription);
        if (of == nullptr) {
            return wrongHandle("subscription");
        }
        if (fd == nullptr) {
            return nullPointer("where the descriptor is to go");
        }
        if (of->hasCallback()) {
            return usage("the events of this subscription go to its callback");
        }
        *fd = of->descriptor();
        return {};
    });
}

}  // extern "C"
