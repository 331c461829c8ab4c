// ReportFilter decides which values are told to a broker, and when: report by exception. It is shown what the board has and
// gives back what is due.
//
// - A value is due when it differs from the one that was *told* last by more than its dead band, so that a slow ramp arrives,
//   step by step; without a dead band, when it differs at all. Of an array one element is enough.
// - The dead band is held against the numbers as people see them, a REAL by its shortest spelling. As much as the dead band
//   is not more: with 0.1, of a value that goes up by 0.1 every second step is told. Differences of floating-point numbers
//   that are within four units in the last place of the larger one are taken for equal, so that this holds for 0.2 to 0.3
//   and for 0.3 to 0.4; those of whole numbers are exact.
// - What has no distance passes without one: booleans, bits, texts, values with a name, and numbers when they become no
//   number (NaN, infinity), or become one again. A NaN that stays one is not told again.
// - Such changes and every change of state pass at once. Other changes wait until the smallest interval since the tag was
//   told last has passed; then the latest value is told, if it is still beyond the dead band.
// - After the largest interval a value is told again, when it was received again, with the time of that reception. What was
//   not received again is not repeated, and of what was never received nothing is told, not even its state.
// - Of a suspect value the state is told, when it becomes so, and no value: it may be from another program. When the
//   suspicion ends, state and value are told.
//
// Times of `host::Time` are on the gateway's clock. Used by one thread.
#ifndef AC500_TOOLS_BROKER_REPORT_FILTER_H
#define AC500_TOOLS_BROKER_REPORT_FILTER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/broker/broker_settings.h"
#include "tools/host/session.h"

namespace ac500::broker {

// What is to be told of a tag.
struct Report {
    std::size_t tag = 0;  // its place in the list that the filter was made of
    host::ValueState state = host::ValueState::NeverReceived;
    host::HostValues values;         // as the PLC has them; none: the state alone is told
    host::Time received{0};          // the oldest byte of the value
    std::int64_t receivedUtcMs = 0;  // the same, reckoned once, when it was first seen: a step of the clock leaves it
};

class ReportFilter {
public:
    struct FilteredTag {
        host::Tag tag;
        ReportTerms terms;
    };

    explicit ReportFilter(std::vector<FilteredTag> tags);

    // What the board has of a tag now; to be called after each change of value or state, more often does no harm. `now` and
    // `utcMs` are the same moment on both clocks. REQUIRES: tag is a place in the list
    void see(std::size_t tag, const host::TagValue& value, host::Time now, std::int64_t utcMs);
    // When a tag was received, as Plant::received() tells: for the largest interval.
    void seeReception(std::size_t tag, const std::optional<host::Time>& received, host::Time now, std::int64_t utcMs);

    // What is due, in the order of the list. It counts as told from now on.
    std::vector<Report> take(host::Time now);
    // When take() may have something without anything new being seen: an interval ends. Nothing: not before. Costs nothing.
    std::optional<host::Time> whenNext() const { return next_; }

    // New terms, as many as there are tags, in their order: what was told stays told.
    void setTerms(const std::vector<ReportTerms>& terms);
    // All that was received is told again, as at the beginning: for a change of format, or of topics.
    void forget();

private:
    struct Told {
        host::ValueState state;
        host::HostValues numbers;  // the latest values that were told, as people see them
        host::Time received{0};
        host::Time at{0};
    };
    // When it is to be told: not after what is known now, or from a time on.
    struct Due {
        bool isDue = false;
        host::Time at{0};
    };
    struct Slot {
        FilteredTag tag;
        bool hasNames = false;
        bool isWaiting = false;  // in waiting_
        host::ValueState state = host::ValueState::NeverReceived;
        host::HostValues values;   // as the PLC has them; none: not known
        host::HostValues numbers;  // the same as people see them
        std::optional<host::Time> received;
        std::int64_t receivedUtcMs = 0;
        std::optional<Told> told;
        Due due;  // after what is known now
    };

    static Due dueOf(const Slot& slot);
    static void keepReception(Slot* slot, host::Time received, host::Time now, std::int64_t utcMs);
    static Report tell(std::size_t tag, Slot* slot, host::Time now);
    void lookAt(std::size_t tag);

    std::vector<Slot> slots_;
    std::vector<std::size_t> waiting_;  // that are due, now or later; some may not be any more
    std::optional<host::Time> next_;    // when the first of them is, or earlier
};

}  // namespace ac500::broker

#endif
