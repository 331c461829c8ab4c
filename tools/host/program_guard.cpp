#include "tools/host/program_guard.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace ac500::host {

namespace {

constexpr char kTellsWhatMoved[] = "\"ac500-host symbols diff OLD NEW\" tells what moved";

std::string guardNumber(const HostValues& values) {
    struct Visitor {
        std::string operator()(std::int64_t v) const { return std::to_string(v); }
        std::string operator()(std::uint64_t v) const { return std::to_string(v); }
        std::string operator()(bool) const { return {}; }
        std::string operator()(float) const { return {}; }
        std::string operator()(double) const { return {}; }
        std::string operator()(const std::string&) const { return {}; }
    };
    return values.empty() ? std::string() : std::visit(Visitor(), values.front());
}

std::string guardDifference(const WriteCondition& guard, const HostValues& found) {
    return fmt::format("{} is {} there, {} in the program of these symbols", guard.tag.text, guardNumber(found),
                       guardNumber(guard.values));
}

}  // namespace

// The loader of the symbol file has checked that each guard is there and that its number fits.
ProgramGuard::ProgramGuard(const TagTable& tags) : watch_(!tags.file().guards.empty()) {
    for (const symbol_file::GuardTag& guard : tags.file().guards) {
        std::string error;
        const std::optional<Tag> tag = tags.find(guard.tag, &error);
        const std::optional<HostValues> values =
            tag ? parseValues(tag->form, 1, text::toText(guard.value), &error) : std::nullopt;
        if (values) {
            guards_.push_back(*tag);
            conditions_.push_back({*tag, *values, {}});
        }
    }
}

bool ProgramGuard::isGuard(const Tag& tag) const {
    return std::any_of(guards_.begin(), guards_.end(), [&](const Tag& guard) { return guard.text == tag.text; });
}

std::string ProgramGuard::differences(const std::vector<HostValues>& found) const {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < conditions_.size(); ++i) {
        if (!sameValues(found[i], conditions_[i].values)) {
            texts.push_back(guardDifference(conditions_[i], found[i]));
        }
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

std::string ProgramGuard::differencesWithoutValues(const std::vector<HostValues>& found) const {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < conditions_.size(); ++i) {
        if (!sameValues(found[i], conditions_[i].values)) {
            texts.push_back(conditions_[i].tag.text +
                            " holds another number there than in the program of these symbols");
        }
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

std::optional<Failure> ProgramGuard::read(const std::vector<HostValues>& found, Time time) {
    const std::string difference = differences(found);
    const bool isExpected = difference.empty();
    doubt_ = isExpected ? Failure()
                        : Failure{FailureKind::Program,
                                  fmt::format("another program is in the PLC: {}; {}", difference, kTellsWhatMoved)};
    switch (watch_.read(isExpected, time)) {
        case guard::ProgramWatch::News::None:
            return std::nullopt;
        case guard::ProgramWatch::News::OtherProgram:
        case guard::ProgramWatch::News::Unreadable:
            return Failure{FailureKind::Program,
                           doubt_.text + "; until it is back nothing is written, and values are marked"};
        case guard::ProgramWatch::News::ExpectedAgain:
            return Failure();
    }
    return std::nullopt;
}

std::optional<Failure> ProgramGuard::refused(const Failure& reason) {
    doubt_ = {FailureKind::Program,
              "the guard could not be read, so nobody knows which program is in the PLC: " + reason.text};
    const bool isNews = watch_.refused() != guard::ProgramWatch::News::None;
    return isNews ? std::optional<Failure>(doubt_) : std::nullopt;
}

Failure ProgramGuard::otherProgram(const WriteCondition& condition, const HostValues& found) const {
    return {FailureKind::Program,
            fmt::format("another program is in the PLC: {}; {}", guardDifference(condition, found), kTellsWhatMoved)};
}

}  // namespace ac500::host
