// Holds the figures of a plan against those of an earlier one. Pure functions.
#ifndef AC500_TOOLS_DESK_PLAN_GROWTH_H
#define AC500_TOOLS_DESK_PLAN_GROWTH_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/desk/read_plan.h"

namespace ac500::desk {

struct PlanFigure {
    const char* key;   // in JSON
    const char* name;  // in words
    std::int64_t value;
};

// What a plan costs, in figures that are better when they are smaller.
std::vector<PlanFigure> costsOf(const ReadPlan& plan);

struct FigureChange {
    std::string name;
    std::int64_t before = 0;
    std::int64_t now = 0;

    bool isGrowth() const { return now > before; }
};

// The figures that differ. `before`: by key; a figure that it lacks is not compared.
std::vector<FigureChange> changesSince(const std::map<std::string, std::int64_t>& before, const ReadPlan& now);

bool anyGrowth(const std::vector<FigureChange>& changes);

// What a plan was made of: two plans of different things can be held against each other, but a growth then has its reason.
struct PlanBasis {
    std::optional<std::int64_t> tags;  // how many
    std::string tagsFingerprint;       // of their names, in the order of the list: 16 hexadecimal digits
    std::string placesFingerprint;     // of areas, addresses and sizes of the bytes that they want
    std::optional<std::int64_t> maxRequestWords;
};

PlanBasis basisOf(const std::vector<WantedTag>& wanted, int maxRequestWords);

struct BasisChange {
    std::string key;   // in JSON: "tags", "symbols", "max_request_words"
    std::string text;  // for people
};

// What is not the same. What one of the two does not tell is not compared.
std::vector<BasisChange> basisChanges(const PlanBasis& before, const PlanBasis& now);

}  // namespace ac500::desk

#endif
