#include "tools/replay/shrink.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <variant>

#include "core/codes.h"
#include "tools/record/record_reader.h"
#include "tools/record/record_writer.h"
#include "tools/replay/apart.h"
#include "tools/replay/event_text.h"
#include "tools/replay/minimise.h"
#include "tools/wire/frame.h"

namespace ac500::replay {

namespace {

using Clock = std::chrono::steady_clock;
using Events = std::vector<record::Event>;

// A trial that takes longer hangs, or comes too late anyway.
constexpr std::chrono::seconds kLongestTrial{20};

enum class FailureSort { None, Signal, Divergence, Reported };

struct SeenFailure {
    FailureSort sort = FailureSort::None;
    std::string text;          // in words; two failures with the same words are the same
    std::size_t position = 0;  // of the call, in the events that were replayed
    std::uint64_t number = 0;  // of the call, in the record
};

bool isSame(const SeenFailure& seen, const SeenFailure& wanted) {
    return seen.sort == wanted.sort && seen.text == wanted.text &&
           (wanted.sort != FailureSort::Divergence || seen.number == wanted.number);
}

// ---------------------------------------------------------------------------------------------------------------------
// One trial
// ---------------------------------------------------------------------------------------------------------------------

// What a driver reports, call by call.
class ReportWatch {
public:
    // The failure that the answered call reports, in words; empty: none.
    std::string failureIn(const record::Event& answered) {
        if (const auto* next = std::get_if<record::NextRequest>(&answered.what)) {
            const bool hasService = next->frame && next->frame->frame.size() > wire::kServiceAt;
            service_ = hasService ? wire::serviceName(static_cast<wire::Service>(
                                        wire::byteAt(next->frame->frame.data(), wire::kServiceAt)))
                                  : "no";
        }
        const auto* reply = std::get_if<record::TakeReply>(&answered.what);
        if (reply == nullptr || reply->result.status == kStatusPending || isAccepted(reply->result.status)) {
            return {};
        }
        return fmt::format("DataCom answers with status {} to a {} request", statusText(reply->result.status),
                           service_);
    }

private:
    const char* service_ = "no";
};

std::string packed(const SeenFailure& failure) {
    return fmt::format("{} {} {} {}", static_cast<int>(failure.sort), failure.position, failure.number, failure.text);
}

SeenFailure unpacked(const std::string& text) {
    SeenFailure failure;
    int sort = 0;
    int textAt = 0;
    unsigned long long position = 0;
    unsigned long long number = 0;
    if (std::sscanf(text.c_str(), "%d %llu %llu %n", &sort, &position, &number, &textAt) == 3) {
        failure = {static_cast<FailureSort>(sort), text.substr(static_cast<std::size_t>(textAt)),
                   static_cast<std::size_t>(position), number};
    }
    return failure;
}

// To the first failure of the kind that is looked for; FailureSort::None looks for a difference, and when there is none in
// the whole record for what was reported first.
SeenFailure replayedFailure(const Events& events, const FreshDriver& freshDriver, FailureSort wanted,
                            Progress& progress) {
    ReplayRun run(events, freshDriver);
    ReportWatch reports;
    SeenFailure reported;
    for (;;) {
        const std::size_t position = run.position();
        progress.set(position);
        if (!run.step()) {
            return reported;
        }
        const std::uint64_t number = run.answered().number;
        if (run.hasDiverged() && wanted != FailureSort::Reported) {
            const Difference& difference = run.firstDivergence()->difference;
            return {FailureSort::Divergence,
                    fmt::format("{} differs in {}: expected {}, actual {}", callName(run.answered().what),
                                difference.field, difference.expected, difference.actual),
                    position, number};
        }
        const std::string failure = reports.failureIn(run.answered());
        if (!failure.empty() && reported.sort == FailureSort::None) {
            reported = {FailureSort::Reported, failure, position, number};
            if (wanted == FailureSort::Reported) {
                return reported;
            }
        }
    }
}

SeenFailure failureOf(const Events& events, const FreshDriver& freshDriver, FailureSort wanted,
                      std::chrono::milliseconds limit) {
    const ApartEnd end = runApart(
        [&](Progress& progress) { return packed(replayedFailure(events, freshDriver, wanted, progress)); }, limit);
    if (end.kind == ApartEnd::Kind::Done) {
        return unpacked(end.result);
    }
    if (end.kind != ApartEnd::Kind::Signal || end.step >= events.size()) {
        return {};
    }
    const record::Event& last = events[static_cast<std::size_t>(end.step)];
    return {FailureSort::Signal,
            fmt::format("the driver ends with {} in {}", signalName(end.signal), callName(last.what)),
            static_cast<std::size_t>(end.step), last.number};
}

// ---------------------------------------------------------------------------------------------------------------------
// What may be left out
// ---------------------------------------------------------------------------------------------------------------------

bool isUnit(const record::Event& event) {
    return isCall(event.what) || std::holds_alternative<record::SettingsChanged>(event.what);
}

// Where the driver was loaded, or brought to a known state, that answered the event at `position`.
std::size_t beginningOf(const Events& events, std::size_t position) {
    for (std::size_t i = position + 1; i > 0; --i) {
        const auto* segment = std::get_if<record::SegmentStart>(&events[i - 1].what);
        if (segment != nullptr && !segment->isContinuation && segment->begin != record::SegmentBegin::Unknown) {
            return i - 1;
        }
    }
    return 0;
}

// The beginning stays; of what follows without a gap the state is known without it. What is no unit is of no use without
// the rest.
class Selection {
public:
    Selection(const Events& events, std::size_t last) : events_(events), begin_(beginningOf(events, last)) {
        for (std::size_t i = begin_; i <= last; ++i) {
            if (isUnit(events[i])) {
                units_.push_back(i);
            }
        }
    }

    std::size_t units() const { return units_.size(); }

    Events eventsOf(const std::vector<std::size_t>& kept) const {
        Events chosen;
        chosen.reserve(kept.size() + 1);
        if (!isUnit(events_[begin_])) {
            chosen.push_back(events_[begin_]);
        }
        for (const std::size_t unit : kept) {
            chosen.push_back(events_[units_[unit]]);
        }
        return chosen;
    }

private:
    const Events& events_;
    const std::size_t begin_;
    std::vector<std::size_t> units_;
};

std::size_t callsAmong(const Events& events) {
    return static_cast<std::size_t>(
        std::count_if(events.begin(), events.end(), [](const record::Event& event) { return isCall(event.what); }));
}

// The same calls with the answers of the driver; as they are when it does not come to the end.
Events withAnswers(const Events& events, const FreshDriver& freshDriver) {
    const ApartEnd end = runApart(
        [&](Progress&) {
            record::RecordWriter writer{record::RunInfo()};
            ReplayRun run(events, freshDriver);
            while (run.step()) {
                writer.add(run.answered());
            }
            writer.close();
            return writer.bytes();
        },
        kLongestTrial);
    std::string error;
    const std::unique_ptr<record::RecordReader> reader = record::RecordReader::ofBytes(end.result, &error);
    Events answered;
    while (std::optional<record::Event> event = reader == nullptr ? std::nullopt : reader->next()) {
        answered.push_back(std::move(*event));
    }
    return answered.size() == events.size() ? answered : events;
}

}  // namespace

std::optional<ShrunkRecord> shrink(const Events& events, const FreshDriver& freshDriver, const ShrinkSettings& settings,
                                   std::string* error) {
    const Clock::time_point deadline = Clock::now() + settings.limit;
    const SeenFailure wanted = failureOf(events, freshDriver, FailureSort::None, settings.limit);
    if (wanted.sort == FailureSort::None) {
        *error = "the record replays exactly and reports no failure: there is nothing to shrink";
        return std::nullopt;
    }
    const Selection selection(events, wanted.position);
    const auto happens = [&](const std::vector<std::size_t>& kept) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        const auto limit = std::clamp<std::chrono::milliseconds>(left, std::chrono::seconds(1), kLongestTrial);
        return isSame(failureOf(selection.eventsOf(kept), freshDriver, wanted.sort, limit), wanted);
    };
    std::vector<std::size_t> all(selection.units());
    for (std::size_t unit = 0; unit < all.size(); ++unit) {
        all[unit] = unit;
    }
    if (!happens(all)) {
        *error = "the failure does not happen again, so nothing can be left out: " + wanted.text;
        return std::nullopt;
    }
    const Minimum minimum = minimise(selection.units(), happens, [&] {
        return Clock::now() >= deadline || (settings.isCancelled && settings.isCancelled());
    });
    ShrunkRecord shrunk;
    shrunk.events = selection.eventsOf(minimum.kept);
    if (wanted.sort == FailureSort::Reported) {
        shrunk.events = withAnswers(shrunk.events, freshDriver);
    }
    shrunk.failure = wanted.text;
    shrunk.callsBefore = callsAmong(events);
    shrunk.callsAfter = callsAmong(shrunk.events);
    shrunk.trials = minimum.trials + 2;
    shrunk.isOneMinimal = minimum.isOneMinimal;
    return shrunk;
}

}  // namespace ac500::replay
