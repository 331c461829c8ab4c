#include "tools/gateway/plant.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <type_traits>
#include <unordered_set>
#include <variant>

#include "tools/desk/plan_picture.h"
#include "tools/desk/read_plan.h"
#include "tools/host/handshake_file.h"
#include "tools/host/latencies.h"
#include "tools/host/offline_driver.h"
#include "tools/host/open_symbols.h"
#include "tools/host/output.h"
#include "tools/host/plant_values.h"
#include "tools/host/tag_access.h"
#include "tools/host/tcp_transport.h"
#include "tools/selection/choice.h"
#include "tools/selection/pattern.h"
#include "tools/symbol_file/fingerprint.h"

namespace ac500::gateway {

using host::Failure;
using host::FailureKind;
using host::HostValues;
using host::Milliseconds;
using host::SessionStatus;
using host::Tag;
using host::TagTable;
using host::TagValue;
using host::Time;

namespace {

constexpr std::size_t kMostTags = 50000;
// The board is looked at so often when nothing was received: values grow old, which takes two seconds at least.
constexpr Milliseconds kAgeing{250};
// A session changes with every frame. Values need not come to a door sooner than this after they were received.
constexpr Milliseconds kPause{5};
// How soon a collector that nobody wakes sees that it is to end.
constexpr Milliseconds kGlance{50};

selection::Entry entryOf(const std::string& text) {
    selection::Entry entry;
    entry.text = text;
    return entry;
}

std::optional<std::vector<Tag>> chosenTags(const TagTable& symbols, const std::vector<std::string>& patterns,
                                           const char* key, Failure* failure) {
    std::vector<selection::Entry> entries;
    std::transform(patterns.begin(), patterns.end(), std::back_inserter(entries), entryOf);
    selection::ChoiceLimits limits;
    limits.mostTags = kMostTags;
    const selection::Choice choice = selection::choose(symbols.catalog(), entries, limits);
    std::vector<std::string> problems;
    for (const selection::SelectionProblem& problem : choice.problems) {
        problems.push_back(problem.text);
    }
    std::vector<Tag> tags;
    for (const selection::ChosenTag& chosen : choice.tags) {
        std::string problem;
        if (std::optional<Tag> tag = symbols.find(chosen.tag, &problem)) {
            tags.push_back(std::move(*tag));
        } else {
            problems.push_back(problem);
        }
    }
    if (!problems.empty()) {
        *failure = {FailureKind::Name, fmt::format("{}: {}", key, fmt::join(problems, fmt::format("\n{}: ", key)))};
        return std::nullopt;
    }
    return tags;
}

// What was learned of the PLC's handshake becomes part of the session's settings.
bool loadHandshakeOf(PlantSettings* settings, Failure* failure) {
    return settings->handshake.empty() ||
           host::loadHandshake(settings->handshake, &settings->session.handshake, failure);
}

// Lists all that are not.
template <typename IsKnown>
bool areKnown(const std::vector<Tag>& tags, const std::vector<Tag>& guards, Failure* failure, IsKnown isKnown) {
    std::vector<std::string> problems;
    std::string problem;
    for (const std::vector<Tag>* list : {&tags, &guards}) {
        for (const Tag& tag : *list) {
            if (!isKnown(tag, &problem)) {
                problems.push_back(problem);
            }
        }
    }
    if (!problems.empty()) {
        *failure = {FailureKind::Name, fmt::format("{}", fmt::join(problems, "\n"))};
    }
    return problems.empty();
}

// Are all bytes of `part` bytes of `whole`?
bool holdsBytesOf(const Tag& whole, const Tag& part) {
    const std::vector<host::ByteRun> wholes = whole.byteRuns();
    const std::vector<host::ByteRun> parts = part.byteRuns();
    return std::all_of(parts.begin(), parts.end(), [&](const host::ByteRun& run) {
        return std::any_of(wholes.begin(), wholes.end(), [&](const host::ByteRun& around) {
            return around.area == run.area && around.address <= run.address &&
                   run.address + run.size <= around.address + around.size;
        });
    });
}

bool isBits(const Tag& tag) {
    return tag.form.isBit || tag.form.code == symbol_file::TypeCode::Bit;
}

// REQUIRES: both belong to one variable
bool covers(const Tag& whole, const Tag& part) {
    if (!isBits(whole)) {
        return holdsBytesOf(whole, part);
    }
    const std::int64_t wholeBegin = whole.address + whole.firstBit;
    const std::int64_t partBegin = part.address + part.firstBit;
    return isBits(part) && (!whole.form.isBit || whole.address == part.address) && wholeBegin <= partBegin &&
           partBegin + part.elements <= wholeBegin + whole.elements;
}

// REQUIRES: no text
double asDouble(const host::HostValue& value) {
    return std::visit(
        [](const auto& number) {
            if constexpr (std::is_same_v<std::decay_t<decltype(number)>, std::string>) {
                return 0.0;
            } else {
                return static_cast<double>(number);
            }
        },
        value);
}

bool isNumber(const Tag& tag) {
    return !host::isString(tag.form) && !host::isBoolean(tag.form);
}

// One comma and no point: in a single number it can only be its decimal sign.
std::string withDecimalPoint(const Tag& tag, std::string text) {
    const bool hasOneComma = std::count(text.begin(), text.end(), ',') == 1;
    if (tag.elements == 1 && isNumber(tag) && hasOneComma && text.find('.') == std::string::npos) {
        text[text.find(',')] = '.';
    }
    return text;
}

// Null when nothing is to be recorded.
std::unique_ptr<host::RunRecorder> recorderOf(const PlantSettings& settings, const host::DriverLibrary& driver) {
    const record::RecorderSettings& record = settings.record;
    if (record.memoryBytes == 0 && record.ringFile.empty()) {
        return nullptr;
    }
    const host::SessionSettings& session = settings.session;
    return std::make_unique<host::RunRecorder>(
        record, "ac500-gateway " AC500_VERSION,
        host::RunRecorder::RunSettings{{"plc", session.loop.plc.text()},
                                       {"symbols", settings.symbols},
                                       {"timeout", std::to_string(session.loop.replyTimeout.count())},
                                       {"cycle", std::to_string(session.loop.cycle.count())},
                                       {"max-request-words", std::to_string(session.maxRequestWords)},
                                       {"retry-limit", std::to_string(session.retryLimit)}},
        driver);
}

// What is recorded passes through the recorder.
host::HostSession::Parts sessionParts(const host::DriverLibrary& driver, const TagTable& symbols,
                                      const host::Clock& clock, host::RunRecorder* recorder) {
    if (recorder == nullptr) {
        return {driver.functions(), symbols, clock, [] { return std::make_unique<host::TcpTransport>(); }};
    }
    return {recorder->driver(), symbols, clock,
            [recorder] { return recorder->recorded(std::make_unique<host::TcpTransport>()); },
            [recorder](const host::SessionEvent& event) { recorder->note(event); }};
}

// What says how one element of a tag is shown and read.
Tag elementOf(const Tag& tag) {
    Tag element;
    element.form = tag.form;
    element.notes = tag.notes;
    element.isReadOnly = tag.isReadOnly;
    element.text = tag.text;
    return element;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Beginning and end
// ---------------------------------------------------------------------------------------------------------------------

std::unique_ptr<Plant> Plant::open(const PlantSettings& settings, Failure* failure) {
    std::optional<TagTable> symbols = host::openSymbols(settings.symbols, false, failure);
    PlantSettings withHandshake = settings;
    if (!symbols || !loadHandshakeOf(&withHandshake, failure)) {
        return nullptr;
    }
    std::string error;
    std::unique_ptr<host::DriverLibrary> driver = host::DriverLibrary::loadFirstCopy(
        settings.driver.empty() ? host::defaultDriverPaths() : std::vector<std::string>{settings.driver}, &error);
    if (driver == nullptr) {
        *failure = {FailureKind::File, error};
        return nullptr;
    }
    std::unique_ptr<Plant> plant(new Plant({std::move(withHandshake), std::move(*symbols), std::move(driver)}));
    return plant->chooseTags(failure) ? std::move(plant) : nullptr;
}

Plant::Plant(Parts parts)
    : settings_(std::move(parts.settings)),
      symbols_(std::move(parts.symbols)),
      fingerprint_(fmt::format("{:016x}", symbol_file::fingerprint(symbols_.file()))),
      driver_(std::move(parts.driver)),
      recorder_(recorderOf(settings_, *driver_)),
      session_(sessionParts(*driver_, symbols_, clock_, recorder_.get()), settings_.session) {}

Plant::~Plant() {
    stop();
}

bool Plant::chooseTags(Failure* failure) {
    const std::optional<std::vector<Tag>> shown = chosenTags(symbols_, settings_.tags, "tags", failure);
    const std::optional<std::vector<Tag>> kept =
        shown ? chosenTags(symbols_, settings_.keptTags, "trend.tags", failure) : std::nullopt;
    const std::optional<std::vector<Tag>> writable =
        kept ? chosenTags(symbols_, settings_.writableTags, "write.tags", failure) : std::nullopt;
    if (!writable) {
        return false;
    }
    for (const std::vector<Tag>* tags : {&*shown, &*kept, &*writable}) {
        std::for_each(tags->begin(), tags->end(), [this](const Tag& tag) { addTag(tag); });
    }
    for (const Tag& tag : *kept) {
        PlantTag& to = tags_[numbers_.at(tag.text)];
        to.isKept = tag.elements == 1 && !host::isString(tag.form);
    }
    std::size_t series = 0;
    for (PlantTag& tag : tags_) {
        tag.series = tag.isKept ? series++ : 0;
    }
    if (settings_.trendBytes < TrendStore::leastBytes(series)) {
        *failure = {FailureKind::Usage,
                    fmt::format("trend.bytes: {} tags need {} bytes at least; keep fewer (trend.tags)", series,
                                TrendStore::leastBytes(series))};
        return false;
    }
    trend_ = std::make_unique<TrendStore>(settings_.trendBytes, series);
    for (const Tag& tag : *writable) {
        tags_[numbers_.at(tag.text)].isWritable = !tag.isReadOnly;
    }
    board_.resize(tags_.size());
    return true;
}

void Plant::addTag(const Tag& tag) {
    if (!numbers_.try_emplace(tag.text, tags_.size()).second) {
        return;
    }
    const symbol_file::Leaf* leaf = symbols_.catalog().leafHolding(tag.text);
    PlantTag added;
    added.tag = tag;
    added.name = tag.text;
    added.scope = tag.text.substr(0, tag.text.find('.'));
    added.type = host::typeText(tag);
    added.unit = tag.notes == nullptr ? "" : tag.notes->unit;
    added.description = leaf == nullptr ? "" : leaf->comment;
    tags_.push_back(std::move(added));
}

std::string Plant::name() const {
    return settings_.name.empty() ? settings_.session.loop.plc.text() : settings_.name;
}

std::vector<Tag> Plant::readTags() const {
    std::vector<Tag> tags;
    std::transform(tags_.begin(), tags_.end(), std::back_inserter(tags), [](const PlantTag& tag) { return tag.tag; });
    return tags;
}

bool Plant::checkDriver(Failure* failure) const {
    host::OfflineDriver offline(driver_->functions(), symbols_);
    std::string error;
    if (!offline.start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    const host::TagAccess access(driver_->functions(), settings_.session.maxRequestBytes());
    return areKnown(readTags(), offline.guards(), failure,
                    [&](const Tag& tag, std::string* problem) { return access.isKnown(tag, problem); });
}

bool Plant::start(Failure* failure) {
    host::WritePath::Settings path;
    if (!settings_.audit.empty()) {
        audit_ = host::AuditGate::open(settings_.audit, settings_.session.loop.plc.text(), failure);
        if (audit_ == nullptr) {
            return false;
        }
        path.gates.push_back(audit_);
    }
    std::string error;
    if (!session_.start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    writes_ = std::make_unique<host::WritePath>(session_, clock_, std::move(path));
    if (!areKnown(readTags(), session_.guards(), failure,
                  [this](const Tag& tag, std::string* problem) { return session_.driverKnows(tag, problem); })) {
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(pollingMutex_);
        poll();
    }
    if (recorder_ != nullptr) {
        recorder_->noteLatencies([this] { return host::latencyTexts(session_.latencies(), clock_.now()); });
        if (settings_.savesAtFailure) {
            recorder_->saveAtFailure([this](std::size_t first) { return session_.eventsSince(first); });
        }
    }
    collector_ = std::thread([this] { collect(); });
    return true;
}

// Asked of a copy of the driver of its own: that of the session is at work.
std::optional<std::string> Plant::planSvg(Failure* failure) const {
    const std::lock_guard<std::mutex> lock(planMutex_);
    if (plan_) {
        return plan_;
    }
    std::string error;
    const std::unique_ptr<host::DriverLibrary> driver = host::DriverLibrary::loadCopy(driver_->path(), &error);
    if (driver == nullptr) {
        *failure = {FailureKind::File, error};
        return std::nullopt;
    }
    host::OfflineDriver offline(driver->functions(), symbols_);
    std::vector<Tag> tags = readTags();
    const int words = settings_.session.maxRequestWords;
    const std::optional<desk::ObservedPass> pass =
        offline.start(&error) ? offline.observePass(tags, words, &error) : std::nullopt;
    if (!pass) {
        *failure = {FailureKind::Request, error};
        return std::nullopt;
    }
    tags.insert(tags.end(), offline.guards().begin(), offline.guards().end());
    const std::vector<desk::WantedTag> wanted = host::wantedBytes(tags);
    const desk::ReadPlan plan = desk::makeReadPlan(*pass, wanted);
    const std::string title = fmt::format("What is read of the PLC's memory for {} tags", plan.tags);
    const std::string summary =
        fmt::format("{} requests and {} items a pass at {} words; {} bytes asked for, {} wanted, {} read along",
                    plan.requests.size(), plan.items, words, plan.bytesAsked, plan.bytesWanted, plan.bytesReadAlong);
    plan_ = desk::svgOf({title, summary, *pass, wanted, plan});
    return plan_;
}

std::vector<host::RunRecorder::Message> Plant::takeRecorderMessages() {
    return recorder_ == nullptr ? std::vector<host::RunRecorder::Message>() : recorder_->takeMessages();
}

std::vector<std::string> Plant::auditProblems() const {
    return audit_ == nullptr ? std::vector<std::string>() : audit_->problems();
}

void Plant::stop() {
    isStopping_ = true;
    session_.stop();
    if (collector_.joinable()) {
        collector_.join();
    }
    if (recorder_ != nullptr) {
        recorder_->finish();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What is read
// ---------------------------------------------------------------------------------------------------------------------

void Plant::poll() {
    std::vector<Tag> tags;
    std::unordered_set<std::string> texts;
    for (const PlantTag& tag : tags_) {
        texts.insert(tag.name);
        tags.push_back(tag.tag);
    }
    for (const auto& [polling, others] : pollings_) {
        std::copy_if(others.begin(), others.end(), std::back_inserter(tags),
                     [&](const Tag& tag) { return texts.insert(tag.text).second; });
    }
    session_.poll(tags);
}

int Plant::startPolling(const std::vector<Tag>& tags) {
    const std::lock_guard<std::mutex> lock(pollingMutex_);
    pollings_[nextPolling_] = tags;
    poll();
    return nextPolling_++;
}

void Plant::stopPolling(int polling) {
    const std::lock_guard<std::mutex> lock(pollingMutex_);
    if (pollings_.erase(polling) != 0) {
        poll();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The board
// ---------------------------------------------------------------------------------------------------------------------

std::optional<std::size_t> Plant::numberOf(const std::string& name) const {
    const auto found = numbers_.find(name);
    return found == numbers_.end() ? std::nullopt : std::optional<std::size_t>(found->second);
}

std::uint64_t Plant::revision() const {
    return revision_;
}

std::vector<BoardEntry> Plant::changedSince(std::uint64_t revision, const std::vector<std::size_t>& tags) const {
    std::vector<BoardEntry> changed;
    const Time now = clock_.now();
    const std::lock_guard<std::mutex> lock(boardMutex_);
    for (const std::size_t tag : tags) {
        const Slot& slot = board_[tag];
        if (revision == 0 || slot.revision > revision) {
            changed.emplace_back(tag, boardValue(tag, slot, now));
        }
    }
    return changed;
}

BoardValue Plant::boardValue(std::size_t tag, const Slot& slot, Time now) const {
    BoardValue value{slot.value, {}, slot.revision};
    if (value.value.received) {
        value.value.age = std::chrono::duration_cast<Milliseconds>(now - *value.value.received);
    }
    if (value.value.isKnown) {
        value.texts = textsOf(tag, value.value.values);
    }
    return value;
}

std::vector<std::optional<Time>> Plant::received(const std::vector<std::size_t>& tags) const {
    std::vector<std::optional<Time>> times;
    times.reserve(tags.size());
    const std::lock_guard<std::mutex> lock(boardMutex_);
    std::transform(tags.begin(), tags.end(), std::back_inserter(times),
                   [this](std::size_t tag) { return board_[tag].value.received; });
    return times;
}

void Plant::collect() {
    ::pthread_setname_np(::pthread_self(), "collector");
    std::size_t receptions = 0;
    std::size_t events = 0;
    Time lookedAt{0};
    while (!isStopping_) {
        const std::size_t seen = session_.changes();
        const std::size_t receptionsNow = session_.receptions();
        // What a pass received is there when the pass is counted, so what is taken from the session from now on is no older.
        const SessionStatus status = session_.status();
        const auto pass = static_cast<std::uint64_t>(status.statistics.cycles());
        const bool isDue = receptionsNow != receptions || pass != pass_ || status.events != events ||
                           mustLook_.exchange(false) || clock_.now() - lookedAt >= kAgeing;
        if (isDue) {
            lookedAt = clock_.now();
            receptions = receptionsNow;
            events = status.events;
            timeLine_.note(connectionOf(status), lookedAt);
            look(status);
            pass_ = pass;
            wakeListeners();
        }
        session_.waitForChangeAfter(seen, kGlance);
        std::this_thread::sleep_for(kPause);
    }
}

void Plant::look(const SessionStatus& status) {
    for (std::size_t tag = 0; tag < tags_.size(); ++tag) {
        TagValue value = session_.glance(tags_[tag].tag);
        const std::lock_guard<std::mutex> lock(boardMutex_);
        Slot& slot = board_[tag];
        const bool isReceived = value.received != slot.value.received;
        received_ += isReceived ? 1 : 0;
        suspect_ += isReceived && value.suspicion.occurred() ? 1 : 0;
        if (tags_[tag].isKept) {
            keep(tags_[tag], value, status.isOnline, &slot);
        }
        if (host::isSameButAge(slot.value, value)) {
            slot.value.received = value.received;
        } else {
            slot.value = std::move(value);
            slot.revision = ++revision_;
        }
    }
}

// One sample for each reception; and one for each time when values cease to come.
void Plant::keep(const PlantTag& tag, const TagValue& value, bool isOnline, Slot* slot) {
    if (value.isKnown && value.received != slot->value.received) {
        const SampleState state = value.suspicion.occurred() ? SampleState::Suspect : SampleState::Good;
        const auto at = std::chrono::duration_cast<Milliseconds>(*value.received);
        trend_->add(tag.series, {at, asDouble(host::plantValues(tag.tag, value.values).front()), state});
        slot->isInGap = false;
    } else if (!slot->isInGap && (!isOnline || value.isStale)) {
        trend_->add(tag.series, {std::chrono::duration_cast<Milliseconds>(clock_.now()), 0, SampleState::Gap});
        slot->isInGap = true;
    }
}

std::vector<std::size_t> Plant::countByState() const {
    std::vector<std::size_t> counts(static_cast<std::size_t>(host::ValueState::WriteFailed) + 1);
    const std::lock_guard<std::mutex> lock(boardMutex_);
    for (const Slot& slot : board_) {
        ++counts[static_cast<std::size_t>(slot.value.state)];
    }
    return counts;
}

Plant::ValueCounts Plant::valueCounts() const {
    return {received_, suspect_, revision_, published_};
}

// ---------------------------------------------------------------------------------------------------------------------
// Listeners
// ---------------------------------------------------------------------------------------------------------------------

int Plant::addListener(std::function<void()> wake) {
    const std::lock_guard<std::mutex> lock(listenersMutex_);
    listeners_[nextListener_] = std::move(wake);
    return nextListener_++;
}

void Plant::removeListener(int listener) {
    const std::lock_guard<std::mutex> lock(listenersMutex_);
    listeners_.erase(listener);
}

void Plant::wakeListeners() {
    const std::lock_guard<std::mutex> lock(listenersMutex_);
    for (const auto& [listener, wake] : listeners_) {
        wake();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Texts and writes
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::string> Plant::textsOf(std::size_t tag, const HostValues& values) const {
    const Tag element = elementOf(tags_[tag].tag);
    std::vector<std::string> texts;
    texts.reserve(values.size());
    std::transform(values.begin(), values.end(), std::back_inserter(texts),
                   [&](const host::HostValue& value) { return host::formatPlantValues(element, {value}); });
    return texts;
}

std::optional<HostValues> Plant::valuesOf(std::size_t tag, const std::vector<std::string>& texts,
                                          std::string* error) const {
    const Tag& whole = tags_[tag].tag;
    if (texts.size() != static_cast<std::size_t>(whole.elements)) {
        *error = fmt::format("{} has {} element(s), and {} were given", whole.text, whole.elements, texts.size());
        return std::nullopt;
    }
    const Tag element = elementOf(whole);
    HostValues values;
    for (const std::string& text : texts) {
        const std::optional<HostValues> one = host::parseHeldValues(element, text, error);
        if (!one) {
            return std::nullopt;
        }
        values.push_back(one->front());
    }
    return values;
}

std::optional<HostValues> Plant::parse(std::size_t tag, const std::string& text, std::string* error) const {
    const Tag& whole = tags_[tag].tag;
    return host::parsePlantValues(whole, withDecimalPoint(whole, text), error);
}

bool Plant::mayWrite(const Tag& tag, Failure* failure) const {
    const symbol_file::Leaf* leaf = symbols_.catalog().leafHolding(tag.text);
    const bool isAllowed = std::any_of(tags_.begin(), tags_.end(), [&](const PlantTag& one) {
        return one.isWritable && symbols_.catalog().leafHolding(one.name) == leaf && covers(one.tag, tag);
    });
    if (!isAllowed) {
        *failure = {
            FailureKind::Usage,
            tag.text + " is not written through this gateway; its settings name the tags that are (write.tags)"};
    }
    return isAllowed;
}

std::optional<host::WriteTicket> Plant::write(const PlantWrite& write, Failure* failure) {
    const PlantTag& tag = tags_[write.tag];
    if (!mayWrite(tag.tag, failure)) {
        return std::nullopt;
    }
    host::WriteRequest request;
    request.tag = tag.tag;
    request.values = write.values;
    request.replaces = write.replaces;
    request.readsFirst = true;
    request.expiry = clock_.now() + write.expires.value_or(settings_.writeExpires);
    request.number = write.number;
    request.who = write.who;
    const host::WriteTicket ticket = writes_->order(request);
    mustLook_ = true;
    return ticket;
}

std::optional<host::WriteReport> Plant::report(const host::WriteTicket& ticket) const {
    return writes_->report(ticket);
}

}  // namespace ac500::gateway
