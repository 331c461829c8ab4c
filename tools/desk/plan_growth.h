// Holds the figures of a plan against those of an earlier one. Pure functions.
#ifndef AC500_TOOLS_DESK_PLAN_GROWTH_H
#define AC500_TOOLS_DESK_PLAN_GROWTH_H

#include <cstdint>
#include <map>
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

}  // namespace ac500::desk

#endif
