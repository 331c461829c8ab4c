#include "tools/host/command_context.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <utility>

#include "tools/host/print.h"
#include "tools/host/tag_access.h"
#include "tools/host/tcp_transport.h"
#include "tools/host/terminal.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::host {

using selection::ChoiceLimits;
using selection::ChosenTag;
using selection::ProblemKind;
using selection::SelectionProblem;
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
        Json json = newDocument();
        json["error"] = failureJson(failure);
        printJson(json);
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
