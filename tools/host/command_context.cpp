#include "tools/host/command_context.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "tools/host/print.h"
#include "tools/host/tag_access.h"
#include "tools/host/tcp_transport.h"
#include "tools/host/terminal.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::host {

using symbol_file::LoadedSymbolFile;
using symbol_file::loadSymbolFile;
using symbol_file::Problem;

namespace {

std::string inLines(const std::vector<std::string>& problems) {
    return fmt::format("{}", fmt::join(problems, "\n"));
}

std::string describeAll(const std::string& fileName, const std::vector<Problem>& problems) {
    std::vector<std::string> texts;
    for (const Problem& problem : problems) {
        texts.push_back(describe(fileName, problem));
    }
    return inLines(texts);
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

bool CommandContext::openSymbols(Failure* failure) {
    LoadedSymbolFile loaded = loadSymbolFile(options_.symbols);
    if (loaded.problems.empty() && options_.simulator) {
        loaded.problems = sim::reservedConflicts(loaded.file);
        if (loaded.problems.empty()) {
            loaded.file = sim::withReservedVariables(std::move(loaded.file));
        }
    }
    if (!loaded.problems.empty()) {
        *failure = {FailureKind::File, describeAll(options_.symbols, loaded.problems)};
        return false;
    }
    tags_ = std::make_unique<TagTable>(std::move(loaded.file));
    return true;
}

bool CommandContext::findTags(const std::vector<std::string>& texts, std::vector<Tag>* tags, Failure* failure) const {
    std::vector<std::string> problems;
    for (const std::string& text : texts) {
        std::string problem;
        if (const std::optional<Tag> tag = tags_->find(text, &problem)) {
            tags->push_back(*tag);
        } else if (std::find(problems.begin(), problems.end(), problem) == problems.end()) {
            problems.push_back(problem);
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

bool CommandContext::startSession(const std::vector<Tag>& tags, Failure* failure) {
    if (!openDriver(failure)) {
        return false;
    }
    const HostSession::Parts parts{driver_->functions(), *tags_, clock_,
                                   [] { return std::make_unique<TcpTransport>(); }};
    session_ = std::make_unique<HostSession>(parts, sessionSettings(options_));
    std::string error;
    if (!session_->start(&error)) {
        *failure = {FailureKind::File, error};
        return false;
    }
    if (!driverKnows(tags, failure)) {
        return false;
    }
    session_->poll(tags);
    return true;
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
    const TagAccess access(driver_->functions(), 2 * options_.maxRequestWords);
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
        printJson({{"error", failureJson(failure)}});
    }
    return exitCodeOf(failure.kind);
}

bool CommandContext::waitUntil(Milliseconds timeout, const std::function<bool()>& isDone) {
    const Time deadline = clock_.now() + timeout;
    while (!isDone()) {
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
    return std::all_of(tags.begin(), tags.end(), [this](const Tag& tag) { return session_->value(tag).isKnown; });
}

bool CommandContext::hasEventsToTell() const {
    return options_.verbose && session_ != nullptr && session_->status().events > eventsTold_;
}

void CommandContext::tellEvents() {
    if (!options_.verbose || session_ == nullptr) {
        return;
    }
    for (const SessionEvent& event : session_->eventsSince(eventsTold_)) {
        complain(event.failure);
        ++eventsTold_;
    }
}

}  // namespace ac500::host
