#include "tools/host/workplace.h"

#include <fmt/format.h>

#include <cstdio>

#include "tools/host/tcp_transport.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::host {

namespace {

std::string describeAll(const std::string& fileName, const std::vector<Problem>& problems) {
    std::string text;
    for (const Problem& problem : problems) {
        text += (text.empty() ? "" : "\n") + describe(fileName, problem);
    }
    return text;
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
    return settings;
}

}  // namespace

std::unique_ptr<TagTable> loadTags(const Options& options, Failure* failure) {
    LoadedSymbolFile loaded = loadSymbolFile(options.symbols);
    if (loaded.problems.empty() && options.simulator) {
        loaded.problems = sim::reservedConflicts(loaded.file);
        if (loaded.problems.empty()) {
            loaded.file = sim::withReservedVariables(std::move(loaded.file));
        }
    }
    if (!loaded.problems.empty()) {
        *failure = {FailureKind::File, describeAll(options.symbols, loaded.problems)};
        return nullptr;
    }
    return std::make_unique<TagTable>(std::move(loaded.file));
}

bool Workplace::openSymbols(Failure* failure) {
    tags_ = loadTags(options_, failure);
    return tags_ != nullptr;
}

bool Workplace::findTags(const std::vector<std::string>& texts, std::vector<Tag>* tags, Failure* failure) const {
    for (const std::string& text : texts) {
        std::string error;
        const std::optional<Tag> tag = tags_->find(text, &error);
        if (!tag) {
            *failure = {FailureKind::Name, error};
            return false;
        }
        tags->push_back(*tag);
    }
    return true;
}

bool Workplace::openDriver(Failure* failure) {
    std::string error;
    driver_ = options_.driver.empty() ? DriverLibrary::loadFirst(defaultDriverPaths(), &error)
                                      : DriverLibrary::load(options_.driver, &error);
    if (driver_ == nullptr) {
        *failure = {FailureKind::File, error};
    }
    return driver_ != nullptr;
}

bool Workplace::startSession(const std::vector<Tag>& tags, Failure* failure) {
    const HostSession::Parts parts{driver_->functions(), *tags_, clock_,
                                   [] { return std::make_unique<TcpTransport>(); }};
    session_ = std::make_unique<HostSession>(parts, sessionSettings(options_));
    std::string error;
    if (!session_->start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    for (const Tag& tag : tags) {
        if (!session_->driverKnows(tag, &error)) {
            *failure = {FailureKind::Name, error};
            return false;
        }
    }
    session_->poll(tags);
    return true;
}

void Workplace::tellEvents() {
    if (!options_.verbose || session_ == nullptr) {
        return;
    }
    for (const SessionEvent& event : session_->eventsSince(eventsTold_)) {
        complain(event.failure);
        ++eventsTold_;
    }
}

void complain(const Failure& failure) {
    fmt::print(stderr, "{}: {}\n", failureKindName(failure.kind), failure.text);
    std::fflush(stderr);
}

}  // namespace ac500::host
