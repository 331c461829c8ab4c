// What the page is told of a plant, as JSON: the objects of docs/schema/gateway-*.schema.json. Times are whole milliseconds
// of the server's clock, counted from when this process began; "utc" is the wall time. Pure functions.
#ifndef AC500_TOOLS_GATEWAY_PAGE_JSON_H
#define AC500_TOOLS_GATEWAY_PAGE_JSON_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway/plant.h"

namespace ac500::gateway {

struct PageViewer {
    std::string name;
    bool mayWrite = false;
};

struct PlantIntroduction {
    std::string plc;     // its address
    std::string signIn;  // "off", "optional", "required"
    std::optional<PageViewer> viewer;
    bool showsTags = true;  // false: whoever asks has to sign in first
};

std::string plantJson(const Plant& plant, const PlantIntroduction& introduction);

// {"state":..,"since":..,"text":..,"cycle_us":..}
std::string sessionJson(const Plant& plant);
// {"clock":..,"session":..,"received":[..]}, in the order of `tags`.
std::string beatJson(const Plant& plant, const std::vector<std::size_t>& tags);
// {"clock":..,"values":[..]}
std::string valuesJson(const Plant& plant, const std::vector<BoardEntry>& entries);
// {"events":[..]}
std::string eventsJson(const std::vector<host::SessionEvent>& events);
// {"number":..,"outcome":..,"text":..,"before":[..]}
std::string writeJson(const Plant& plant, std::size_t tag, const std::string& number, const host::WriteReport& report);
std::string timeLineJson(const Plant& plant);
std::string latencyJson(const Plant& plant);

struct TrendQuestion {
    std::vector<std::size_t> tags;  // REQUIRES: they are kept
    TrendRange range;
    std::size_t columns = 1;
};
std::string trendJson(const Plant& plant, const TrendQuestion& question);

// Texts of a value without the unit, which the page shows by itself.
std::vector<std::string> textsWithoutUnit(const Plant& plant, std::size_t tag, const std::vector<std::string>& texts);
std::string textsJson(const std::vector<std::string>& texts);

std::int64_t pageClock(host::Time time);
// The wall time at a time of the clock, as it is reckoned now.
std::string utcAt(const Plant& plant, host::Time time);

}  // namespace ac500::gateway

#endif
