#include "tools/host/via/via_session.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <utility>

#include "tools/host/program_guard.h"
#include "tools/host/via/socket_path.h"
#include "tools/symbol_file/fingerprint.h"

namespace ac500::via {

using host::Failure;
using host::FailureKind;
using host::Milliseconds;
using host::Order;
using host::OrderKind;
using host::OrderStep;
using host::SessionEvent;
using host::SessionStatus;
using host::Tag;
using host::TagValue;
using host::Time;
using host::ValueState;
using host::WriteOutcome;
using host::WriteReport;
using host::WriteRequest;
using host::WriteTicket;

namespace {

// A gateway says something each second; one that does not is taken for one that hangs.
constexpr Milliseconds kSilence{3000};
constexpr Milliseconds kBackOff{500};
// So many names are asked for in one line, which stays far below the longest that a gateway takes.
constexpr std::size_t kNamesAtOnce = 1000;
// A list of tags makes the gateway look up each of them and tell its value anew: so long, and so long for each, no other list
// follows, and of those that were wanted meanwhile the last alone.
constexpr Time kListPause = Milliseconds(20);
constexpr Time kListPausePerTag{50};
// So many of each that have ended are remembered, the latest, and so many events.
constexpr std::size_t kKept = 1000;
constexpr std::size_t kKeptReadings = kMostReadings;

const Failure kEnded{FailureKind::Request, "not sent: the session was ended"};

std::string fingerprintText(const symbol_file::SymbolFile& file) {
    return fmt::format("{:016x}", symbol_file::fingerprint(file));
}

std::string whyUnreadable() {
    return std::strerror(errno);
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Beginning and end
// ---------------------------------------------------------------------------------------------------------------------

ViaSession::ViaSession(const std::string& socket, const host::Clock& clock)
    : socket_(socket), clock_(clock), began_(clock.now()), wakeDescriptor_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

std::unique_ptr<ViaSession> ViaSession::connect(const std::string& socket, const host::Clock& clock,
                                                Milliseconds patience, Failure* failure) {
    std::unique_ptr<ViaSession> session(new ViaSession(socket, clock));
    std::string error;
    if (session->wakeDescriptor_ < 0 || !session->reach(clock.now() + patience, &error)) {
        *failure = {FailureKind::Tcp, session->wakeDescriptor_ < 0 ? "no descriptor is left" : error};
        return nullptr;
    }
    return session;
}

bool ViaSession::begin(const host::TagTable& tags, Milliseconds writeDeadline, Failure* failure) {
    if (fingerprintText(tags.file()) != hello_.fingerprint) {
        *failure = {FailureKind::File,
                    fmt::format("the gateway at {} has other symbols than the symbol file given here: its own are {}; "
                                "without --symbols and AC500_SYMBOLS these are taken",
                                socket_, hello_.symbols)};
        return false;
    }
    guards_ = host::ProgramGuard(tags).tags();
    writeDeadline_ = writeDeadline;
    thread_ = std::thread([this] { work(); });
    return true;
}

ViaSession::~ViaSession() {
    stop();
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    if (wakeDescriptor_ >= 0) {
        ::close(wakeDescriptor_);
    }
}

void ViaSession::stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isStopping_) {
            return;
        }
        isStopping_ = true;
    }
    wake();
    if (thread_.joinable()) {
        thread_.join();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    failEverything(kEnded);
    changed();
}

// ---------------------------------------------------------------------------------------------------------------------
// The socket
// ---------------------------------------------------------------------------------------------------------------------

// Connects and reads the first line. What was there before is closed by the caller.
bool ViaSession::reach(Time deadline, std::string* error) {
    descriptor_ =
        connectTo(socket_, std::max(Milliseconds(1), std::chrono::ceil<Milliseconds>(deadline - clock_.now())), error);
    lines_ = LineBuffer(kLongestAnswer);
    unsent_.clear();
    std::optional<std::string> line;
    while (descriptor_ >= 0 && !line) {
        const auto left = std::chrono::ceil<Milliseconds>(deadline - clock_.now());
        if (left.count() <= 0) {
            *error =
                fmt::format("the gateway at {} lets nobody in: it says nothing; is it stopped or overloaded?", socket_);
            break;
        }
        waitForWork(left);
        const bool isOpen = receiveSome(error);
        line = lines_.next();
        if (!isOpen) {
            break;
        }
    }
    std::string problem;
    const std::optional<Json> message = line ? messageOf(*line) : std::nullopt;
    const std::optional<Hello> hello = message ? helloOf(*message, &problem) : std::nullopt;
    if (!hello) {
        if (line) {
            *error = fmt::format("the gateway at {}: {}", socket_,
                                 problem.empty() ? "it does not speak as a gateway does" : problem);
        }
        if (descriptor_ >= 0) {
            ::close(std::exchange(descriptor_, -1));
        }
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hello_.plc.empty()) {
        hello_ = *hello;
        if (const std::optional<host::Endpoint> plc = host::parseEndpoint(hello_.plc)) {
            hello_.session.loop.plc = *plc;
        }
    } else if (hello->fingerprint != hello_.fingerprint || hello->plc != hello_.plc) {
        *error = fmt::format("the gateway at {} has another PLC or other symbols than before; start this program anew",
                             socket_);
        ::close(std::exchange(descriptor_, -1));
        return false;
    }
    isConnected_ = true;
    offset_ = heard_ - hello->clock;
    // What the link to the PLC is like its first news will tell.
    status_.state = host::LoopState::Disconnected;
    status_.isOnline = false;
    status_.since = heard_;
    status_.sinceWallTime = std::chrono::system_clock::now();
    // Before anybody else can order something of it.
    outgoing_.clear();
    found_.clear();
    tellWatched();
    askForNews();
    return true;
}

// For bytes, for room for bytes, or for something to do.
void ViaSession::waitForWork(Milliseconds timeout) {
    std::array<pollfd, 2> waited{{{wakeDescriptor_, POLLIN, 0}, {descriptor_, POLLIN, 0}}};
    if (!unsent_.empty()) {
        waited[1].events |= POLLOUT;
    }
    ::poll(waited.data(), descriptor_ >= 0 ? 2 : 1, static_cast<int>(timeout.count()));
    std::uint64_t wakes = 0;
    if ((waited[0].revents & POLLIN) != 0 && ::read(wakeDescriptor_, &wakes, sizeof wakes) < 0) {
        return;  // somebody else took it, which there is not
    }
}

void ViaSession::wake() const {
    const std::uint64_t one = 1;
    if (::write(wakeDescriptor_, &one, sizeof one) < 0) {
        return;  // it is full, and so will wake
    }
}

bool ViaSession::sendSome() {
    while (!unsent_.empty()) {
        const ssize_t sent = ::send(descriptor_, unsent_.data(), unsent_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        unsent_.erase(0, static_cast<std::size_t>(sent));
    }
    return true;
}

bool ViaSession::receiveSome(std::string* error) {
    std::array<char, 65536> bytes{};
    for (;;) {
        const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count > 0) {
            heard_ = clock_.now();
            if (!lines_.add(bytes.data(), static_cast<std::size_t>(count))) {
                *error = fmt::format("the gateway at {} sends a line that is too long", socket_);
                return false;
            }
            continue;
        }
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return true;
        }
        *error = fmt::format("the gateway at {} has ended the connection{}; is it still running?", socket_,
                             count < 0 ? ": " + whyUnreadable() : std::string());
        return false;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The thread that talks
// ---------------------------------------------------------------------------------------------------------------------

void ViaSession::work() {
    std::string reason;
    try {
        converse();
        return;
    } catch (const std::bad_alloc&) {
        reason = "there is no memory left";
    } catch (const std::exception& exception) {
        reason = exception.what();
    }
    lose({FailureKind::Request, "the session has ended: " + reason});
}

void ViaSession::converse() {
    heard_ = clock_.now();  // before, it was asked for nothing
    for (;;) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (isStopping_) {
                return;
            }
        }
        stayConnected();
        talk();
        waitForWork(untilWork());
        listen();
    }
}

Milliseconds ViaSession::untilWork() const {
    if (descriptor_ < 0) {
        return kBackOff;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto left = std::chrono::ceil<Milliseconds>(nextTellingWatched() - clock_.now());
    return isWatchDue_ ? std::clamp(left, Milliseconds(0), kBeat) : kBeat;
}

void ViaSession::stayConnected() {
    if (descriptor_ >= 0 || clock_.now() < nextAttempt_) {
        return;
    }
    nextAttempt_ = clock_.now() + kBackOff;
    std::string error;
    const bool isReached = reach(clock_.now() + kBackOff, &error);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isReached) {
        lost_ = {FailureKind::Tcp, error};
        lostAt_ = clock_.now();
    }
    changed();
}

// What was ordered goes out.
void ViaSession::talk() {
    if (descriptor_ < 0) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isWatchDue_ && clock_.now() >= nextTellingWatched()) {
            tellWatched();
        }
        unsent_ += outgoing_;
        outgoing_.clear();
    }
    if (!sendSome()) {
        lose({FailureKind::Tcp, fmt::format("the gateway at {} takes nothing any more: {}", socket_, whyUnreadable())});
    }
}

void ViaSession::listen() {
    std::string error;
    if (descriptor_ < 0) {
        return;
    }
    bool isOpen = receiveSome(&error);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        while (const std::optional<std::string> line = lines_.next()) {
            if (const std::optional<Json> message = messageOf(*line)) {
                take(*message);
                changed();
            }
        }
    }
    if (isOpen && clock_.now() - heard_ > kSilence) {
        isOpen = false;
        error = fmt::format("the gateway at {} has said nothing for {} s; is it stopped or overloaded?", socket_,
                            kSilence.count() / 1000);
    }
    if (!isOpen) {
        lose({FailureKind::Tcp, error});
    }
}

void ViaSession::lose(const Failure& why) {
    if (descriptor_ >= 0) {
        ::close(std::exchange(descriptor_, -1));
    }
    nextAttempt_ = clock_.now() + kBackOff;
    const std::lock_guard<std::mutex> lock(mutex_);
    isConnected_ = false;
    lost_ = why;
    lostAt_ = clock_.now();
    outgoing_.clear();
    failEverything(lost_);
    changed();
}

// ---------------------------------------------------------------------------------------------------------------------
// What is said
// ---------------------------------------------------------------------------------------------------------------------

void ViaSession::say(const Json& message) const {
    outgoing_ += lineOf(message) + "\n";
}

void ViaSession::askForNews() {
    newsId_ = ++lastId_;
    say({{"id", newsId_}, {"do", "news"}});
}

// The gateway numbers the tags of this list, and says with the news which list they are of.
void ViaSession::tellWatched() {
    watched_ = wanted_;
    isWatchDue_ = false;
    toldWatched_ = clock_.now();
    Json tags = Json::array();
    for (const Tag& tag : watched_) {
        tags.push_back(tag.text);
    }
    watch_ = ++lastId_;
    say({{"id", watch_}, {"do", "watch"}, {"tags", tags}});
}

// Nobody needs to wait after a list of none.
Time ViaSession::nextTellingWatched() const {
    const auto tags = static_cast<Time::rep>(watched_.size());
    return watched_.empty() ? Time(0) : toldWatched_ + kListPause + kListPausePerTag * tags;
}

std::optional<Json> ViaSession::ask(Json message, Time deadline) const {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!isConnected_ || isStopping_) {
        return std::nullopt;
    }
    const std::int64_t id = ++lastId_;
    message["id"] = id;
    answers_[id];
    say(message);
    wake();
    const auto isOver = [&] { return answers_[id].has_value() || !isConnected_ || isStopping_; };
    while (!isOver() && clock_.now() < deadline) {
        changed_.wait_for(lock, deadline - clock_.now());
    }
    std::optional<Json> answer = std::move(answers_[id]);
    answers_.erase(id);
    return answer;
}

// ---------------------------------------------------------------------------------------------------------------------
// What is told
// ---------------------------------------------------------------------------------------------------------------------

void ViaSession::take(const Json& message) {
    const std::int64_t id = numberAt(message, "id").value_or(0);
    if (id == newsId_) {
        takeNews(message);
        askForNews();
        wake();
        return;
    }
    const auto awaited = answers_.find(id);
    if (awaited != answers_.end()) {
        awaited->second = message;
    } else if (message.contains("error")) {
        takeRefusal(id, objectAt(message, "error"));
    }
}

void ViaSession::takeNews(const Json& news) {
    if (const std::optional<std::int64_t> clock = numberAt(news, "clock")) {
        offset_ = std::min(offset_, heard_ - Time(*clock));  // what took longer to get here tells less of it
    }
    if (news.contains("session")) {
        if (std::optional<SessionStatus> status = statusOf(news["session"])) {
            status->since = here(status->since);
            if (status->lastFailure) {
                status->lastFailure->time = here(status->lastFailure->time);
            }
            status_ = std::move(*status);
        }
    }
    const bool isOfThisList = numberAt(news, "watch") == watch_;
    for (const Json& entry : arrayAt(news, "values")) {
        const std::int64_t tag = numberAt(entry, "tag").value_or(-1);
        if (isOfThisList && tag >= 0 && tag < static_cast<std::int64_t>(watched_.size())) {
            takeValue(watched_[static_cast<std::size_t>(tag)], entry);
        }
    }
    for (const Json& again : arrayAt(news, "again")) {
        const Time received = here(Time(numberAt(again, "received").value_or(0)));
        for (const Json& tag : arrayAt(again, "tags")) {
            if (isOfThisList && tag.is_number_unsigned() && tag.get<std::size_t>() < watched_.size()) {
                values_[watched_[tag.get<std::size_t>()].text].received = received;
                ++receptions_;
            }
        }
    }
    for (const Json& ended : arrayAt(news, "ended")) {
        takeEnded(ended);
    }
    for (const Json& told : arrayAt(news, "writes")) {
        takeReport(told);
    }
    takeEvents(arrayAt(news, "events"));
}

void ViaSession::takeValue(const Tag& tag, const Json& json) {
    std::optional<TagValue> value = valueOf(tag, json);
    if (!value) {
        return;
    }
    if (value->received) {
        value->received = here(*value->received);
    }
    values_[tag.text] = std::move(*value);
    ++receptions_;
}

void ViaSession::takeEnded(const Json& ended) {
    const auto serial = static_cast<std::int32_t>(numberAt(ended, "order").value_or(0));
    const auto found = readings_.find(serial);
    if (found == readings_.end() || host::hasEnded(found->second.step)) {
        return;
    }
    takeValue(found->second.tag, objectAt(ended, "value"));
    endReading(serial, failureAt(ended, "failure"));
}

void ViaSession::takeReport(const Json& told) {
    const std::int64_t id = numberAt(told, "order").value_or(0);
    const auto found = writes_.find(id);
    if (found == writes_.end() || found->second.report.outcome != WriteOutcome::Pending) {
        return;
    }
    const std::optional<WriteReport> report = writeReportOf(found->second.tag, told);
    if (report && report->outcome != WriteOutcome::Pending) {
        endWrite(id, *report);
    }
}

// A write that the gateway did not take, as when too many wait already.
void ViaSession::takeRefusal(std::int64_t request, const Json& error) {
    const auto found = std::find_if(writes_.begin(), writes_.end(), [&](const auto& entry) {
        return entry.second.request == request && entry.second.report.outcome == WriteOutcome::Pending;
    });
    if (found != writes_.end()) {
        const Failure why{FailureKind::Usage, "not sent: " + textAt(error, "what")};
        endWrite(found->first, {WriteOutcome::NotSent, why, {}, {}});
    }
}

// Another gateway, or the same anew, counts from 0 again: so the numbers are those of this session.
void ViaSession::takeEvents(const Json& events) {
    for (const Json& json : events) {
        if (std::optional<SessionEvent> event = eventOf(json)) {
            event->time = here(event->time);
            event->number = eventCount_++;
            events_.push_back(std::move(*event));
        }
    }
    while (events_.size() > kKept) {
        events_.pop_front();
    }
}

void ViaSession::endReading(std::int32_t serial, const Failure& failure) {
    Order& order = readings_.at(serial);
    order.failure = failure;
    order.step = failure.occurred() ? OrderStep::Failed : OrderStep::Succeeded;
    order.ended = clock_.now();
    endedReadings_.push_back(serial);
    if (endedReadings_.size() > kKeptReadings) {
        readings_.erase(endedReadings_.front());
        endedReadings_.pop_front();
    }
}

void ViaSession::endWrite(std::int64_t id, const WriteReport& report) {
    writes_.at(id).report = report;
    endedWrites_.push_back(id);
    if (endedWrites_.size() > kKept) {
        writes_.erase(endedWrites_.front());
        endedWrites_.pop_front();
    }
}

// The gateway may have got a write, and go on with it.
void ViaSession::failEverything(const Failure& failure) {
    for (const auto& [serial, order] : std::map<std::int32_t, Order>(readings_)) {
        if (!host::hasEnded(order.step)) {
            endReading(serial, failure);
        }
    }
    for (const auto& [id, write] : std::map<std::int64_t, Write>(writes_)) {
        if (write.report.outcome == WriteOutcome::Pending) {
            const Failure why{FailureKind::Request, "the gateway has it, and did not tell what became of it: " +
                                                        (isStopping_ ? "it took too long" : failure.text)};
            endWrite(id, {WriteOutcome::Unknown, why, {}, {}});
        }
    }
}

void ViaSession::changed() {
    ++changes_;
    changed_.notify_all();
}

// ---------------------------------------------------------------------------------------------------------------------
// Session
// ---------------------------------------------------------------------------------------------------------------------

bool ViaSession::findAll(const std::vector<Tag>& tags, Time deadline, std::vector<std::string>* problems,
                         Failure* failure) const {
    const std::vector<std::string> names = neverFound(tags);
    for (std::size_t first = 0; first < names.size(); first += kNamesAtOnce) {
        const std::size_t end = std::min(names.size(), first + kNamesAtOnce);
        const std::vector<std::string> some(names.data() + first, names.data() + end);
        if (!find(some, deadline, problems, failure)) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> ViaSession::neverFound(const std::vector<Tag>& tags) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> names;
    for (const Tag& tag : tags) {
        if (found_.count(tag.text) == 0) {
            names.push_back(tag.text);
        }
    }
    return names;
}

// Whose names the problems are of it does not say.
bool ViaSession::find(const std::vector<std::string>& names, Time deadline, std::vector<std::string>* problems,
                      Failure* failure) const {
    const std::optional<Json> answer = ask({{"do", "find"}, {"tags", names}}, deadline);
    if (!answer || answer->contains("error")) {
        const std::string refused = answer ? textAt(objectAt(*answer, "error"), "what") : std::string();
        const std::lock_guard<std::mutex> lock(mutex_);
        const Failure silent{FailureKind::Tcp, fmt::format("the gateway at {} does not answer", socket_)};
        *failure = !refused.empty()
                       ? Failure{FailureKind::Usage, fmt::format("the gateway at {}: {}", socket_, refused)}
                   : isConnected_ ? silent
                                  : lost_;
        return false;
    }
    const Json& told = arrayAt(*answer, "problems");
    for (const Json& problem : told) {
        problems->push_back(problem.is_string() ? problem.get<std::string>() : std::string());
    }
    if (told.empty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        found_.insert(names.begin(), names.end());
    }
    return true;
}

// As long as nobody can be asked nothing is known against it, and what is ordered of it then tells why.
bool ViaSession::driverKnows(const Tag& tag, std::string* error) const {
    std::vector<std::string> problems;
    Failure ignored;
    findAll({tag}, clock_.now() + kPatience, &problems, &ignored);
    if (!problems.empty()) {
        *error = problems.front();
    }
    return problems.empty();
}

void ViaSession::poll(const std::vector<Tag>& tags) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        wanted_ = tags;
        isWatchDue_ = true;
    }
    wake();
}

std::int32_t ViaSession::readOnce(const Tag& tag) {
    std::int32_t serial = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lastSerial_ = lastSerial_ == std::numeric_limits<std::int32_t>::max() ? 1 : lastSerial_ + 1;
        serial = lastSerial_;
        Order& order = readings_[serial];
        order.serial = serial;
        order.kind = OrderKind::Read;
        order.tag = tag;
        order.ordered = clock_.now();
        if (!isConnected_ || isStopping_) {
            endReading(serial, isStopping_ ? kEnded : lost_);
        } else {
            say({{"id", ++lastId_}, {"do", "read"}, {"order", serial}, {"tag", tag.text}});
        }
    }
    wake();
    return serial;
}

void ViaSession::giveUpReading(std::int32_t serial) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = readings_.find(serial);
    if (found != readings_.end() && !host::hasEnded(found->second.step)) {
        say({{"id", ++lastId_}, {"do", "give up"}, {"order", serial}});
        endReading(serial, {FailureKind::Request, "given up by its caller"});
        wake();
    }
}

std::optional<Order> ViaSession::order(std::int32_t serial) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = readings_.find(serial);
    return found == readings_.end() ? std::nullopt : std::optional<Order>(found->second);
}

// A value from before that is not fresh any more would not be there if this were a session of its own.
TagValue ViaSession::value(const Tag& tag) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = values_.find(tag.text);
    if (found == values_.end()) {
        return {};
    }
    TagValue value = found->second;
    const bool isUp = isConnected_ && status_.isOnline;
    const Time age = value.received ? std::max(Time(0), clock_.now() - *value.received) : Time(0);
    const Time staleAge = host::staleAge(status_.statistics.cycleTimes(), hello_.session.loop.cycle);
    value.isStale = value.received && (value.state == ValueState::Stale || !isUp || age > staleAge);
    if (value.state == ValueState::Fresh && value.isStale) {
        value.state = ValueState::Stale;
    }
    const bool isOfOrders = value.state == ValueState::WritePending || value.state == ValueState::WriteFailed;
    if (value.isStale && !isOfOrders && *value.received < began_) {
        return {};
    }
    if (value.received) {
        value.age = std::chrono::duration_cast<Milliseconds>(age);
    }
    return value;
}

SessionEvent ViaSession::linkEvent() const {
    SessionEvent event;
    event.time = lostAt_;
    event.wallTime = std::chrono::system_clock::now() -
                     std::chrono::duration_cast<std::chrono::system_clock::duration>(clock_.now() - lostAt_);
    event.event = events::EventId::LinkLost;
    event.failure = lost_;
    return event;
}

// What failed before the beginning and is well again is no answer to whoever asks why something is missing.
SessionStatus ViaSession::status() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    SessionStatus status = status_;
    status.events = eventCount_;
    if (status.isOnline && status.lastFailure && status.lastFailure->time < began_) {
        status.lastFailure.reset();
    }
    if (!isConnected_) {
        status.state = host::LoopState::Disconnected;
        status.isOnline = false;
        status.since = lostAt_;
        status.lastFailure = linkEvent();
        status.sinceWallTime = status.lastFailure->wallTime;
    }
    return status;
}

std::vector<SessionEvent> ViaSession::eventsSince(std::size_t first) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<SessionEvent> since;
    for (const SessionEvent& event : events_) {
        if (event.number >= first) {
            since.push_back(event);
        }
    }
    return since;
}

host::Latencies ViaSession::latencies() const {
    const std::optional<Json> answer = ask({{"do", "latency"}}, clock_.now() + kPatience);
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<host::Latencies> latencies = answer ? latenciesOf(*answer) : std::nullopt;
    if (latencies) {
        latencies_ = *latencies;
        latencies_.since = here(latencies_.since);
    }
    return latencies_;
}

void ViaSession::waitForChange(Milliseconds timeout) const {
    waitForChangeAfter(changes(), timeout);
}

std::size_t ViaSession::changes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
}

void ViaSession::waitForChangeAfter(std::size_t seen, Milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return changes_ != seen; });
}

std::size_t ViaSession::receptions() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return receptions_;
}

// ---------------------------------------------------------------------------------------------------------------------
// Writes
// ---------------------------------------------------------------------------------------------------------------------

// The gateway is always told when the caller's patience ends: what it counts itself begins when it reads the line, which may
// have lain in the socket while the gateway was stopped.
WriteTicket ViaSession::order(const WriteRequest& request) {
    WriteTicket ticket;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ticket.id = ++lastWrite_;
        writes_[ticket.id] = {request.tag, {}, 0};
        if (!isConnected_ || isStopping_) {
            const Failure& why = isStopping_ ? kEnded : lost_;
            endWrite(ticket.id, {WriteOutcome::NotSent, {why.kind, "not sent: " + why.text}, {}, {}});
            return ticket;
        }
        WriteRequest handedOn = request;
        const Time latest = clock_.now() + writeDeadline_;
        handedOn.expiry = std::min(request.expiry.value_or(latest), latest) - offset_;
        Json message = jsonOf(handedOn);
        message["id"] = ++lastId_;
        writes_[ticket.id].request = lastId_;
        message["do"] = "write";
        message["order"] = ticket.id;
        say(message);
    }
    wake();
    return ticket;
}

std::optional<WriteReport> ViaSession::report(const WriteTicket& ticket) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = writes_.find(ticket.id);
    return found == writes_.end() ? std::nullopt : std::optional<WriteReport>(found->second.report);
}

}  // namespace ac500::via
