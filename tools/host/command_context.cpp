#include "tools/host/command_context.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <utility>

#include "tools/host/audited_path.h"
#include "tools/host/handshake_file.h"
#include "tools/host/latencies.h"
#include "tools/host/open_symbols.h"
#include "tools/host/print.h"
#include "tools/host/tag_access.h"
#include "tools/host/tcp_transport.h"
#include "tools/host/terminal.h"

namespace ac500::host {

using selection::ChoiceLimits;
using selection::ChosenTag;
using selection::ProblemKind;
using selection::SelectionProblem;

namespace {

constexpr char kAtFailure[] = "failure";

std::string inLines(const std::vector<std::string>& problems) {
    return fmt::format("{}", fmt::join(problems, "\n"));
}

FailureKind kindOf(ProblemKind kind) {
    switch (kind) {
        case ProblemKind::Name:
            return FailureKind::Name;
        case ProblemKind::List:
            return FailureKind::File;
        case ProblemKind::TooMany:
            return FailureKind::Usage;
    }
    return FailureKind::Usage;
}

// All of one text, under the kind of the first: one exit code has to do.
Failure failureOf(const std::vector<SelectionProblem>& problems) {
    std::vector<std::string> texts;
    for (const SelectionProblem& problem : problems) {
        texts.push_back(problem.text);
    }
    return {kindOf(problems.front().kind), inLines(texts)};
}

SessionSettings sessionSettings(const Options& options) {
    SessionSettings settings;
    settings.loop.plc = options.plc;
    settings.loop.connectTimeout = Milliseconds(options.timeoutMs);
    settings.loop.replyTimeout = Milliseconds(options.timeoutMs);
    settings.loop.cycle = Milliseconds(options.cycleMs);
    settings.maxRequestWords = options.maxRequestWords;
    settings.retryLimit = options.retryLimit;
    settings.writeDeadline = Milliseconds(options.waitMs);
    settings.isDeadlineForLinkAlone = options.command == Command::Write;  // it waits until all have ended
    return settings;
}

}  // namespace

std::unique_ptr<RunRecorder> recorderOf(const Options& options, const DriverLibrary& driver) {
    if (!options.record.isOn()) {
        return nullptr;
    }
    record::RecorderSettings settings;
    settings.memoryBytes = options.record.memoryBytes;
    settings.wholeFile = options.record.file;
    settings.ringFile = options.record.ringFile;
    settings.ringBytes = options.record.ringBytes;
    settings.saveFile = options.record.saveFile;
    return std::make_unique<RunRecorder>(
        settings, "ac500-host " AC500_VERSION,
        RunRecorder::RunSettings{{"plc", options.plc.text()},
                                 {"symbols", options.symbols},
                                 {"timeout", std::to_string(options.timeoutMs)},
                                 {"wait", std::to_string(options.waitMs)},
                                 {"cycle", std::to_string(options.cycleMs)},
                                 {"max-request-words", std::to_string(options.maxRequestWords)},
                                 {"retry-limit", std::to_string(options.retryLimit)},
                                 {"simulator", options.simulator ? "true" : "false"}},
        driver);
}

CommandContext::~CommandContext() {
    finish();
}

void CommandContext::finish() {
    if (session_ != nullptr) {
        session_->stop();
        tellEvents();
    }
    if (recorder_ != nullptr) {
        recorder_->finish();
        tellOfRecords();
    }
}

bool CommandContext::openSymbols(Failure* failure) {
    if (!options_.via.empty() && !openGateway(failure)) {
        return false;
    }
    std::optional<TagTable> tags = host::openSymbols(symbolsFile_, options_.simulator, failure);
    if (!tags) {
        return false;
    }
    tags_ = std::make_unique<TagTable>(std::move(*tags));
    return gateway_ == nullptr || gateway_->begin(*tags_, Milliseconds(options_.waitMs), failure);
}

// Its symbol file is ours, unless another is given.
bool CommandContext::openGateway(Failure* failure) {
    std::unique_ptr<via::ViaSession> gateway =
        via::ViaSession::connect(options_.via, clock_, Milliseconds(options_.timeoutMs), failure);
    if (gateway == nullptr) {
        return false;
    }
    gateway_ = gateway.get();
    session_ = std::move(gateway);
    plc_ = gateway_->gateway().plc;
    symbolsFile_ = symbolsFile_.empty() ? gateway_->gateway().symbols : symbolsFile_;
    return true;
}

bool CommandContext::chooseTags(const selection::EntryList& list, selection::Expansion expansion,
                                std::vector<ChosenTag>* chosen, Failure* failure) const {
    const bool isListing = expansion == selection::Expansion::WholeArrays;
    const ChoiceLimits limits{
        isListing ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(options_.mostTags), expansion};
    selection::Choice choice = selection::choose(tags_->catalog(), list.entries, limits);
    std::vector<SelectionProblem> problems = list.problems;
    problems.insert(problems.end(), choice.problems.begin(), choice.problems.end());
    if (!problems.empty()) {
        *failure = failureOf(problems);
        return false;
    }
    *chosen = std::move(choice.tags);
    return true;
}

bool CommandContext::chooseTags(std::vector<Tag>* tags, Failure* failure) const {
    std::vector<ChosenTag> chosen;
    return chooseTags(selection::entriesOf(options_.arguments, std::cin), selection::Expansion::Allowed, &chosen,
                      failure) &&
           findTags(chosen, tags, failure);
}

bool CommandContext::findTags(const std::vector<ChosenTag>& chosen, std::vector<Tag>* tags, Failure* failure) const {
    std::vector<std::string> problems;
    for (const ChosenTag& one : chosen) {
        std::string problem;
        if (std::optional<Tag> tag = tags_->find(one.tag, &problem)) {
            tags->push_back(std::move(*tag));
        } else {
            problems.push_back(one.origin.text() + problem);
        }
    }
    if (!problems.empty()) {
        *failure = {FailureKind::Name, inLines(problems)};
    }
    return problems.empty();
}

bool CommandContext::openDriver(Failure* failure) {
    std::string error;
    driver_ = options_.driver.empty() ? DriverLibrary::loadFirst(defaultDriverPaths(), &error)
                                      : DriverLibrary::load(options_.driver, &error);
    if (driver_ == nullptr) {
        *failure = {FailureKind::File, error};
    }
    return driver_ != nullptr;
}

// Before anything is begun: what is wrong with the condition is told then.
bool CommandContext::startRecorder(std::optional<Condition>* saveWhen, Failure* failure) {
    const std::string& when = options_.record.when;
    if (!when.empty() && when != kAtFailure) {
        *saveWhen = Condition::parse(*tags_, when, failure, "--record-when");
        if (!*saveWhen) {
            return false;
        }
    }
    recorder_ = recorderOf(options_, *driver_);
    return true;
}

// REQUIRES: the session is there.
void CommandContext::saveWhen(const std::optional<Condition>& condition) {
    if (condition) {
        recorder_->saveWhen([this, condition]() -> std::optional<std::string> {
            const TagValue value = session_->value(condition->tag());
            const bool holds = value.isKnown && condition->holds(value.values);
            return holds ? std::optional<std::string>(options_.record.when) : std::nullopt;
        });
    } else if (!options_.record.when.empty()) {
        recorder_->saveAtFailure([this](std::size_t first) { return session_->eventsSince(first); });
    }
}

// What is recorded passes through the recorder.
HostSession::Parts CommandContext::sessionParts() {
    if (recorder_ == nullptr) {
        return {driver_->functions(), *tags_, clock_, [] { return std::make_unique<TcpTransport>(); }};
    }
    return {recorder_->driver(), *tags_, clock_,
            [this] { return recorder_->recorded(std::make_unique<TcpTransport>()); },
            [this](const SessionEvent& event) { recorder_->note(event); }};
}

// What the user should know of it is told.
bool CommandContext::loadLearned(std::optional<guard::HandshakePattern>* learned, Failure* failure) const {
    const std::string& file = options_.handshake;
    if (file.empty()) {
        return true;
    }
    if (!loadHandshake(file, learned, failure)) {
        return false;
    }
    for (const std::string& doubt : doubtsOf(**learned, handshakeOrigin(options_.plc, options_.symbols))) {
        note(file + ": " + doubt);
    }
    return true;
}

bool CommandContext::startSession(const std::vector<Tag>& tags, Failure* failure) {
    return gateway_ == nullptr ? startOwnSession(tags, failure) : startViaSession(tags, failure);
}

bool CommandContext::startViaSession(const std::vector<Tag>& tags, Failure* failure) {
    std::vector<std::string> problems;
    if (!gateway_->findAll(tags, clock_.now() + via::ViaSession::kPatience, &problems, failure)) {
        return false;
    }
    if (!problems.empty()) {
        *failure = {FailureKind::Name, inLines(problems)};
        return false;
    }
    gateway_->poll(tags);
    return true;
}

WriteOrders& CommandContext::openWrites(const std::shared_ptr<AuditGate>& audit, std::size_t count) {
    if (gateway_ != nullptr) {
        return *gateway_;
    }
    WritePath::Settings settings = pathSettings(audit);
    settings.kept = count;
    writes_ = std::make_unique<WritePath>(*ownSession_, clock_, settings);
    return *writes_;
}

bool CommandContext::startOwnSession(const std::vector<Tag>& tags, Failure* failure) {
    std::optional<Condition> condition;
    SessionSettings settings = sessionSettings(options_);
    if (!loadLearned(&settings.handshake, failure) || !openDriver(failure) || !startRecorder(&condition, failure)) {
        return false;
    }
    auto session = std::make_unique<HostSession>(sessionParts(), settings);
    ownSession_ = session.get();
    session_ = std::move(session);
    std::string error;
    if (!ownSession_->start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    std::vector<Tag> polled = tags;
    if (condition) {
        polled.push_back(condition->tag());
    }
    std::vector<Tag> known = polled;
    known.insert(known.end(), session_->guards().begin(), session_->guards().end());
    if (!driverKnows(known, failure)) {
        return false;
    }
    session_->poll(polled);
    saveWhen(condition);
    if (recorder_ != nullptr) {
        recorder_->noteLatencies([this] { return latencyTexts(session_->latencies(), clock_.now()); });
    }
    return true;
}

void CommandContext::endSession() {
    session_->stop();
    tellEvents();
    writes_.reset();
    session_.reset();
    ownSession_ = nullptr;
    eventsTold_ = 0;
}

bool CommandContext::openOfflineDriver(Failure* failure) {
    if (!openDriver(failure)) {
        return false;
    }
    offlineDriver_ = std::make_unique<OfflineDriver>(driver_->functions(), *tags_);
    std::string error;
    if (!offlineDriver_->start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    return true;
}

bool CommandContext::driverKnows(const std::vector<Tag>& tags, Failure* failure) const {
    const DriverFunctions& functions = recorder_ == nullptr ? driver_->functions() : recorder_->driver();
    const TagAccess access(functions, 2 * options_.maxRequestWords);
    std::vector<std::string> problems;
    std::string error;
    for (const Tag& tag : tags) {
        if (!access.isKnown(tag, &error)) {
            problems.push_back(error);
        }
    }
    if (!problems.empty()) {
        *failure = {FailureKind::Name, inLines(problems)};
    }
    return problems.empty();
}

int CommandContext::cannotBegin(const Failure& failure) const {
    complain(failure);
    if (options_.json) {
        Json json = newDocument();
        json["error"] = failureJson(failure);
        printJson(json);
    }
    return exitCodeOf(failure.kind);
}

bool CommandContext::waitUntil(Milliseconds timeout, const std::function<bool()>& isDone) {
    const Time deadline = clock_.now() + timeout;
    while (!isDone()) {
        resetIfAsked();
        tellEvents();
        if (clock_.now() >= deadline || wasInterrupted()) {
            return isDone();
        }
        session_->waitForChange(kGlance);
    }
    tellEvents();
    return true;
}

bool CommandContext::areReceived(const std::vector<Tag>& tags) {
    return std::all_of(tags.begin(), tags.end(), [this](const Tag& tag) { return session_->isKnown(tag); });
}

void CommandContext::resetIfAsked() {
    if (wasAskedToReset() && session_ != nullptr) {
        session_->resetLatencies();
    }
}

std::string overwrittenTag(const SessionEvent& event) {
    return event.message().substr(0, event.message().find(": "));
}

// Who asks for a warning gets it: by an option, or by the symbol file, that nobody else is to write a variable. Of one that
// somebody writes all the time once is enough.
bool CommandContext::isWanted(const SessionEvent& event) const {
    if (event.event == events::EventId::ProgramHandshake && !options_.handshake.empty()) {
        return true;
    }
    if (event.event == events::EventId::ValueOverwritten && overwrittenTold_.count(overwrittenTag(event)) == 0) {
        return true;
    }
    return options_.logLevel && events::rowOf(event.event).level >= *options_.logLevel;
}

bool CommandContext::hasEventsToTell() const {
    if (recorder_ != nullptr && recorder_->hasMessages()) {
        return true;
    }
    if (session_ == nullptr) {
        return false;
    }
    const std::vector<SessionEvent> events = session_->eventsSince(eventsTold_);
    return std::any_of(events.begin(), events.end(), [this](const SessionEvent& event) { return isWanted(event); });
}

void CommandContext::tellOfRecords() {
    for (const RunRecorder::Message& message : recorder_->takeMessages()) {
        if (message.isProblem) {
            hasLostRecord_ = true;
            complain({FailureKind::Output, message.text});
        } else {
            note(message.text);
        }
    }
}

void CommandContext::tellEvents() {
    if (recorder_ != nullptr) {
        tellOfRecords();
    }
    if (session_ == nullptr) {
        return;
    }
    for (const SessionEvent& event : session_->eventsSince(eventsTold_)) {
        eventsTold_ = event.number + 1;
        if (isWanted(event)) {
            tellEvent(event);
        }
        if (event.event == events::EventId::ValueOverwritten) {
            overwrittenTold_.insert(overwrittenTag(event));
        }
    }
}

}  // namespace ac500::host
