#include "tools/client/plc.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <new>
#include <unordered_map>
#include <utility>

#include "tools/client/subscription.h"
#include "tools/host/handshake_file.h"
#include "tools/host/open_symbols.h"
#include "tools/host/tcp_transport.h"
#include "tools/host/via/via_session.h"

namespace ac500::client {

using host::Failure;
using host::FailureKind;
using host::Milliseconds;
using host::Order;
using host::OrderStep;
using host::SessionStatus;
using host::Tag;
using host::TagTable;
using host::TagValue;
using host::Time;
using host::ValueState;

namespace {

// How often a thread that waits looks up without being woken.
constexpr Milliseconds kGlance{50};
// So often values are looked at when nothing was received: they grow old.
constexpr Milliseconds kAgeing{100};
// So often a reading is tried within one call.
constexpr int kAttempts = 3;
// So long the end of a PLC waits for a callback that runs.
constexpr Milliseconds kLongestClose{1000};

ac500_outcome outcomeOf(host::WriteOutcome outcome) {
    switch (outcome) {
        case host::WriteOutcome::Pending:
            return AC500_PENDING;
        case host::WriteOutcome::Done:
            return AC500_DONE;
        case host::WriteOutcome::Refused:
            return AC500_REFUSED;
        case host::WriteOutcome::NotSent:
            return AC500_NOT_SENT;
        case host::WriteOutcome::Unknown:
            return AC500_UNKNOWN;
    }
    return AC500_UNKNOWN;
}

std::int64_t unixMs(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<Milliseconds>(time.time_since_epoch()).count();
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Beginning and end
// ---------------------------------------------------------------------------------------------------------------------

std::shared_ptr<Plc> Plc::open(const PlcSettings& settings, Result* failure) {
    return settings.via.empty() ? openOwn(settings, failure) : openVia(settings, failure);
}

// To be called before the session begins.
void Plc::closeAtExit() {
    exitGuard_ = std::make_unique<ExitGuard>([weak = weak_from_this()] {
        if (const std::shared_ptr<Plc> left = weak.lock()) {
            left->close();
        }
    });
}

std::shared_ptr<Plc> Plc::openOwn(const PlcSettings& settings, Result* failure) {
    Failure problem;
    std::optional<TagTable> tags = host::openSymbols(settings.symbols, settings.simulator, &problem);
    if (!tags) {
        *failure = Result(problem);
        return nullptr;
    }
    PlcSettings complete = settings;
    if (!settings.handshake.empty() &&
        !host::loadHandshake(settings.handshake, &complete.session.handshake, &problem)) {
        *failure = Result(problem);
        return nullptr;
    }
    std::string error;
    std::shared_ptr<Plc> plc(new Plc(complete, std::move(*tags)));
    plc->driver_ = host::DriverLibrary::loadFirstCopy(settings.drivers, &error);
    if (plc->driver_ == nullptr) {
        *failure = {AC500_FILE, error + ", or in ac500_settings"};
        return nullptr;
    }
    auto session = std::make_unique<host::HostSession>(
        host::HostSession::Parts{plc->driver_->functions(), plc->tags_, plc->clock_,
                                 [] { return std::make_unique<host::TcpTransport>(); }},
        sessionSettings(complete));
    host::HostSession& started = *session;
    plc->ownSession_ = session.get();
    plc->session_ = std::move(session);
    plc->closeAtExit();
    if (!started.start(&error)) {
        *failure = usage(error);
        return nullptr;
    }
    plc->ownWrites_ = std::make_unique<host::WritePath>(started, plc->clock_, host::WritePath::Settings());
    plc->writes_ = plc->ownWrites_.get();
    return plc;
}

// The gateway is asked first: it may be the one that knows the symbols.
std::shared_ptr<Plc> Plc::openVia(const PlcSettings& settings, Result* failure) {
    Failure problem;
    static const host::SteadyClock kClock;  // outlives every session
    std::unique_ptr<via::ViaSession> session =
        via::ViaSession::connect(settings.via, kClock, settings.timeLimit, &problem);
    std::optional<TagTable> tags;
    if (session != nullptr) {
        const std::string& symbols = settings.symbols.empty() ? session->gateway().symbols : settings.symbols;
        tags = host::openSymbols(symbols, settings.simulator, &problem);
    }
    if (!tags) {
        *failure = Result(problem);
        return nullptr;
    }
    std::shared_ptr<Plc> plc(new Plc(settings, std::move(*tags)));
    via::ViaSession& begun = *session;
    plc->gateway_ = session.get();
    plc->writes_ = session.get();
    plc->session_ = std::move(session);
    plc->closeAtExit();
    if (!begun.begin(plc->tags_, sessionSettings(settings).writeDeadline, &problem)) {
        *failure = Result(problem);
        return nullptr;
    }
    return plc;
}

Plc::Plc(const PlcSettings& settings, TagTable tags)
    : settings_(settings),
      handshakeDoubts_(settings.session.handshake
                           ? host::doubtsOf(*settings.session.handshake,
                                            host::handshakeOrigin(settings.session.loop.plc, settings.symbols))
                           : std::vector<std::string>()),
      tags_(std::move(tags)) {}

// The second half is for the driver to give up what it holds, and for the PLC to answer.
host::SessionSettings Plc::sessionSettings(const PlcSettings& settings) {
    host::SessionSettings session = settings.session;
    session.writeDeadline = settings.timeLimit / 2;
    return session;
}

Plc::~Plc() {
    close();
}

void Plc::close() {
    if (!isOfThisProcess()) {
        return;
    }
    isClosed_ = true;
    const std::lock_guard<std::mutex> lock(closing_);
    if (session_ != nullptr) {
        session_->stop();
    }
    endWatching();
}

// ---------------------------------------------------------------------------------------------------------------------
// Tags and status
// ---------------------------------------------------------------------------------------------------------------------

std::optional<Tag> Plc::findTag(const std::string& name, std::string* error) const {
    std::optional<Tag> tag = tags_.find(name, error);
    const bool isKnown = tag && (gateway_ != nullptr || session_->driverKnows(*tag, error));
    return isKnown ? tag : std::nullopt;
}

// The gateway is not troubled with names of which others are wrong already.
Result Plc::findTags(const std::vector<std::string_view>& names, Time begun, std::vector<TagRef>* tags,
                     Failure* unanswered) const {
    std::unordered_map<std::string_view, TagRef> found;
    std::vector<Tag> distinct;
    std::vector<std::string> problems;
    for (const std::string_view name : names) {
        if (isClosed()) {
            return closed();
        }
        if (clock_.now() >= begun + settings_.timeLimit) {
            return {AC500_REQUEST, fmt::format("{} names were not looked up within {} ms; a longer time limit may help",
                                               names.size(), settings_.timeLimit.count())};
        }
        const auto [entry, isFirst] = found.try_emplace(name);
        std::string error;
        if (std::optional<Tag> tag = isFirst ? findTag(std::string(name), &error) : std::nullopt) {
            distinct.push_back(*tag);
            entry->second = std::make_shared<const Tag>(std::move(*tag));
        } else if (isFirst) {
            problems.push_back(error);
        }
        tags->push_back(entry->second);
    }
    if (problems.empty() && gateway_ != nullptr) {
        gateway_->findAll(distinct, handoverDeadline(begun), &problems, unanswered);
    }
    return isClosed()         ? closed()
           : problems.empty() ? Result()
                              : Result(AC500_NAME, fmt::format("{}", fmt::join(problems, "\n")));
}

std::string Plc::handshakeText() const {
    const std::optional<guard::HandshakePattern>& learned = settings_.session.handshake;
    if (!learned || ownSession_ == nullptr) {
        return {};
    }
    std::vector<std::string> texts = handshakeDoubts_;
    const std::optional<guard::HandshakeReplies> replies = ownSession_->handshakeReplies();
    const std::string difference = replies ? learned->difference(*replies).value_or("") : "";
    if (!difference.empty()) {
        texts.insert(texts.begin(), "the PLC answers the handshake otherwise than was learned: " + difference);
    }
    return fmt::format("{}", fmt::join(texts, "; "));
}

// Waits for a change after `seen`. False when it is too late for another look.
bool Plc::waitsUntil(Time deadline, std::size_t seen) const {
    const Time now = clock_.now();
    if (isClosed() || now >= deadline) {
        return false;
    }
    const auto left = std::chrono::duration_cast<Milliseconds>(deadline - now) + Milliseconds(1);
    session_->waitForChangeAfter(seen, std::min(left, kGlance));
    return true;
}

// One variable, whichever: a driver that has nothing to ask for opens no session. Nothing when the file has none.
std::optional<Tag> Plc::anyTag() const {
    for (const symbol_file::Leaf& leaf : tags_.leaves()) {
        std::string indices;
        for (const symbol_file::ArrayDimension& dimension : leaf.dimensions) {
            indices += (indices.empty() ? "" : ",") + std::to_string(dimension.lower);
        }
        std::string ignored;
        if (std::optional<Tag> tag =
                tags_.find(indices.empty() ? leaf.tag : leaf.tag + "[" + indices + "]", &ignored)) {
            return tag;
        }
    }
    return std::nullopt;
}

Result Plc::waitOnline(Milliseconds timeout) {
    const Time deadline = clock_.now() + timeout;
    const std::optional<Tag> asked = session_->status().isOnline ? std::nullopt : anyTag();
    const std::int32_t reading = asked ? session_->readOnce(*asked) : 0;
    const Result result = waitOnlineUntil(deadline);
    session_->giveUpReading(reading);
    return result;
}

Result Plc::waitOnlineUntil(Time deadline) const {
    for (;;) {
        const std::size_t seen = session_->changes();
        if (isClosed()) {
            return closed();
        }
        const SessionStatus status = session_->status();
        if (status.isOnline) {
            return {};
        }
        if (!waitsUntil(deadline, seen)) {
            return status.lastFailure ? Result(status.lastFailure->failure)
                                      : Result(AC500_REQUEST, "the PLC has not opened a session yet");
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------------------------------------------------

struct Plc::Reading {
    const Tag* tag = nullptr;
    std::int32_t serial = 0;
    Failure failure;
    bool isDone = false;
    std::optional<ValueEntry> entry;  // once it is over
};

// A connection that is lost takes the readings with it that the driver had, and a reading does no harm twice. What the PLC
// refuses it would refuse for ever.
void Plc::finishReading(Reading* reading, Time begun, Time deadline) {
    for (int attempts = 1;;) {
        const std::size_t seen = session_->changes();
        const std::optional<Order> order = session_->order(reading->serial);
        const bool hasFailed = order && order->step == OrderStep::Failed;
        const bool mayTryAgain = attempts < kAttempts && order && order->failure.kind != FailureKind::Name;
        if (hasFailed && mayTryAgain && !isClosed() && clock_.now() < deadline) {
            reading->serial = session_->readOnce(*reading->tag);
            ++attempts;
        } else if (hasFailed) {
            reading->failure = order->failure;
            return;
        } else if (!order || order->step == OrderStep::Succeeded) {
            reading->isDone = true;
            return;
        }
        if (!waitsUntil(deadline, seen)) {
            session_->giveUpReading(reading->serial);
            const Result why = missing("not received", begun);
            reading->failure = {static_cast<FailureKind>(why.code), why.text};
            return;
        }
    }
}

// Why something did not come within the time limit: what failed last meanwhile, or before and the connection is down since.
Result Plc::missing(const std::string& what, Time begun) const {
    const SessionStatus status = session_->status();
    const std::string waited = fmt::format("{} within {} ms", what, settings_.timeLimit.count());
    if (!status.lastFailure || (status.isOnline && status.lastFailure->time < begun)) {
        return {AC500_REQUEST, waited + "; a longer time limit may help"};
    }
    const Failure& last = status.lastFailure->failure;
    return {Result(last).code, waited + ": " + last.text};
}

// What was received for this call is as good as it was then, whatever became of the connection.
ValueEntry Plc::entryOf(const TagRef& tag, const Reading& reading, Time begun) const {
    ValueEntry entry = latest(tag);
    const bool isReceived = entry.value.isKnown && entry.value.received && *entry.value.received >= begun;
    if (isReceived && entry.value.state == ValueState::Stale) {
        entry.value.state = ValueState::Fresh;
    }
    if (reading.failure.occurred()) {
        entry.failure = reading.failure;
    } else if (!isReceived && !entry.failure.occurred()) {
        entry.failure = {FailureKind::Request, "too many readings at once: its end was forgotten"};
    }
    return entry;
}

Result Plc::read(const std::vector<TagRef>& tags, Time begun, std::vector<ValueEntry>* entries) {
    const Time deadline = begun + settings_.timeLimit;
    std::unordered_map<std::string, Reading> readings;
    std::vector<Reading*> inOrder;
    for (const TagRef& tag : tags) {
        const auto [found, isFirst] = readings.try_emplace(tag->text);
        if (isFirst) {
            found->second.tag = tag.get();
            inOrder.push_back(&found->second);
        }
    }
    for (Reading* reading : inOrder) {
        reading->serial = session_->readOnce(*reading->tag);
    }
    for (Reading* reading : inOrder) {
        finishReading(reading, begun, deadline);
    }
    if (isClosed()) {
        return closed();
    }
    Result result;
    for (const TagRef& tag : tags) {
        Reading& reading = readings[tag->text];
        if (!reading.entry) {
            reading.entry = entryOf(tag, reading, begun);
        }
        entries->push_back(*reading.entry);
        const Failure& failure = entries->back().failure;
        const bool isInVain = failure.occurred() && entries->back().value.state != ValueState::WriteFailed;
        if (result.isOk() && isInVain) {
            result = Result(Failure{failure.kind, tag->text + ": " + failure.text});
        }
    }
    return result;
}

ValueEntry Plc::entryOf(const TagRef& tag, const TagValue& value) const {
    ValueEntry entry{tag, value, value.failure, -1};
    if (value.received) {
        const Time age = clock_.now() - *value.received;
        entry.value.age = std::chrono::duration_cast<Milliseconds>(age);
        entry.receivedUnixMs = unixMs(std::chrono::system_clock::now() - age);
    }
    return entry;
}

ValueEntry Plc::latest(const TagRef& tag) const {
    return entryOf(tag, session_->value(*tag));
}

// ---------------------------------------------------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------------------------------------------------

// Half way to the deadline of the call the loop is to give up what could not be sent, also when it pauses.
void Plc::finishWrite(PlcWrite* write, const host::WriteTicket& ticket, Time deadline) {
    const Time giveUp = handoverDeadline(deadline - settings_.timeLimit);
    bool isGivenUp = false;
    for (;;) {
        const std::size_t seen = session_->changes();
        const std::optional<host::WriteReport> report = writes_->report(ticket);
        if (!report) {
            write->outcome = AC500_UNKNOWN;
            write->result = {AC500_REQUEST, "too many writes at once: what became of it was forgotten"};
            return;
        }
        if (report->outcome != host::WriteOutcome::Pending) {
            write->outcome = outcomeOf(report->outcome);
            write->result = Result(report->failure);
            return;
        }
        if (!isGivenUp && clock_.now() >= giveUp) {
            session_->checkDeadlines();
            isGivenUp = true;
        }
        if (!waitsUntil(deadline, seen)) {
            write->outcome = AC500_UNKNOWN;
            write->result = isClosed() ? closed() : missing("no answer", deadline - settings_.timeLimit);
            write->result.text += "; the PLC may or may not have it";
            return;
        }
    }
}

// Only a gateway is told the moment: to a session of our own it would mean a request for each.
Result Plc::write(std::vector<PlcWrite>* writes, Time begun) {
    const Time deadline = begun + settings_.timeLimit;
    std::vector<host::WriteTicket> tickets;
    tickets.reserve(writes->size());
    for (PlcWrite& write : *writes) {
        host::WriteRequest request;
        request.tag = *write.tag;
        request.values = write.values;
        request.replaces = write.replaces;
        request.who = "ac500client";
        if (gateway_ != nullptr) {
            request.expiry = handoverDeadline(begun);
        }
        write.outcome = AC500_PENDING;
        tickets.push_back(writes_->order(request));
    }
    Result first;
    for (std::size_t i = 0; i < writes->size(); ++i) {
        PlcWrite& write = (*writes)[i];
        finishWrite(&write, tickets[i], deadline);
        if (isClosed() && write.outcome != AC500_DONE) {
            write.result.code = AC500_CLOSED;
        }
        if (first.isOk() && !write.result.isOk()) {
            first = {write.result.code, write.tag->text + ": " + write.result.text};
        }
    }
    return first;
}

// ---------------------------------------------------------------------------------------------------------------------
// Subscriptions
// ---------------------------------------------------------------------------------------------------------------------

// Where there is no thread or memory to be had, nothing is changed: a thread without subscriptions waits for the next.
Result Plc::add(const std::shared_ptr<Subscription>& subscription) {
    const std::lock_guard<std::mutex> lock(watchMutex_);
    if (isClosed()) {
        return closed();
    }
    startWatching();
    subscriptions_.push_back(subscription);
    try {
        addWatched(subscription->tags());
    } catch (...) {
        subscriptions_.pop_back();
        throw;
    }
    return {};
}

void Plc::remove(const Subscription& subscription) {
    const std::lock_guard<std::mutex> lock(watchMutex_);
    const auto isIt = [&](const std::shared_ptr<Subscription>& one) { return one.get() == &subscription; };
    const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(), isIt);
    if (found == subscriptions_.end()) {
        return;
    }
    subscriptions_.erase(found);
    const std::size_t before = watched_.size();
    removeWatched(subscription.tags(), subscription.tags().size());
    if (watched_.size() != before) {
        pollWatched();
    }
}

void Plc::startWatching() {
    if (!watcher_.joinable()) {
        watcher_ = std::thread([self = shared_from_this()] { self->watch(); });
        isWatching_ = true;  // it looks at that when it ends, with the mutex
    }
}

// The session is told when there is a tag that it does not read yet: a thousand subscriptions of one tag cost it nothing.
void Plc::addWatched(const std::vector<TagRef>& tags) {
    const std::size_t before = watched_.size();
    std::size_t added = 0;
    try {
        for (const TagRef& tag : tags) {
            WatchedTag& watched = watched_[tag->text];
            watched.tag = tag;
            ++watched.uses;
            ++added;
        }
        if (watched_.size() != before) {
            pollWatched();
        }
    } catch (...) {
        removeWatched(tags, added);
        throw;
    }
}

// The first `count` of them.
void Plc::removeWatched(const std::vector<TagRef>& tags, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto watched = watched_.find(tags[i]->text);
        if (--watched->second.uses == 0) {
            watched_.erase(watched);
        }
    }
}

void Plc::pollWatched() {
    std::vector<Tag> tags;
    tags.reserve(watched_.size());
    for (const auto& [text, watched] : watched_) {
        tags.push_back(*watched.tag);
    }
    session_->poll(tags);
}

void Plc::watch() {
    std::size_t receptions = 0;
    std::size_t events = 0;
    Time lookedAt{0};
    while (!isClosed()) {
        const std::size_t seen = session_->changes();
        const std::size_t receptionsNow = session_->receptions();
        const std::size_t eventsNow = session_->status().events;
        const bool isDue = receptionsNow != receptions || eventsNow != events || clock_.now() - lookedAt >= kAgeing;
        if (isDue) {
            lookedAt = clock_.now();
            receptions = receptionsNow;
            events = eventsNow;
            lookForNews();
        }
        session_->waitForChangeAfter(seen, kGlance);
    }
    const std::lock_guard<std::mutex> lock(watchMutex_);
    isWatching_ = false;
    watchEnded_.notify_all();
}

// Without memory for an event it is told at the next look.
void Plc::lookForNews() {
    try {
        std::vector<std::shared_ptr<Subscription>> subscriptions;
        {
            const std::lock_guard<std::mutex> lock(watchMutex_);
            subscriptions = subscriptions_;
        }
        for (const std::shared_ptr<Subscription>& subscription : subscriptions) {
            subscription->look(*this);
            if (!isClosed()) {
                subscription->deliver(*this);
            }
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

// The watching thread ends after the callback that it is in, which may be the one that closes, and may take for ever.
void Plc::endWatching() {
    std::unique_lock<std::mutex> lock(watchMutex_);
    for (const std::shared_ptr<Subscription>& subscription : subscriptions_) {
        subscription->end();
    }
    subscriptions_.clear();
    if (!watcher_.joinable()) {
        return;
    }
    const bool isWatcher = watcher_.get_id() == std::this_thread::get_id();
    const Milliseconds patience = std::min(settings_.timeLimit, kLongestClose);
    const bool hasEnded = !isWatcher && watchEnded_.wait_for(lock, patience, [this] { return !isWatching_; });
    std::thread watcher = std::move(watcher_);
    lock.unlock();
    if (hasEnded) {
        watcher.join();
    } else {
        watcher.detach();
    }
}

}  // namespace ac500::client
