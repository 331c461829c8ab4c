#include "tools/replay/moment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using ac500::record::Event;
using ac500::replay::untilMoment;

// Every half second from noon on, numbers from 100 on.
std::vector<Event> tenEvents() {
    std::vector<Event> events(10);
    for (std::size_t i = 0; i < events.size(); ++i) {
        events[i].number = 100 + i;
        events[i].monotonicUs = 7000000 + 500000 * static_cast<std::int64_t>(i);
        events[i].utcUs = 1795348800000000 + 500000 * static_cast<std::int64_t>(i);
    }
    return events;
}

std::optional<std::size_t> eventsUntil(const std::vector<Event>& events, const char* moment) {
    const auto belongs = untilMoment(moment, events.front());
    if (!belongs) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::find_if_not(events.begin(), events.end(), *belongs) - events.begin());
}

struct MomentRow {
    const char* moment;
    std::size_t events;
};

constexpr MomentRow kMoments[] = {
    {"100", 1},
    {"103", 4},
    {"99", 0},
    {"1000000", 10},
    {"0s", 1},
    {"1.25s", 3},
    {"1500ms", 4},
    {"1499.999ms", 3},
    {"1e9s", 10},
    {"12:00:01", 3},
    {"12:00:00", 1},
    {"11:59:59.9", 0},
    {"2026-11-22T12:00:02Z", 5},
    {"2026-11-21T12:00:02Z", 0},
    {"2026-11-23T00:00:00Z", 10},
};

TEST(MomentTest, CountsTheEventsUpToIt) {
    for (const MomentRow& row : kMoments) {
        EXPECT_EQ(eventsUntil(tenEvents(), row.moment), row.events) << row.moment;
    }
}

TEST(MomentTest, RefusesWhatIsNone) {
    for (const char* text : {"",
                             "s",
                             "ms",
                             "-1",
                             "-1s",
                             "nans",
                             "infs",
                             "1e10s",
                             "1m",
                             "12:00",
                             "24:00:00",
                             "12:60:00",
                             "12:00:61",
                             "12:00:00:00",
                             "2026-11-22T12:00:02",
                             "2026-11-22 12:00:02Z",
                             "26-11-22T12:00:02Z",
                             "T12:00:00Z",
                             "2026-11-22T",
                             "12 s",
                             "1 "}) {
        EXPECT_FALSE(eventsUntil(tenEvents(), text)) << text;
    }
}

}  // namespace
