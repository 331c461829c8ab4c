// Pictures of a plan: the memory of each area, what of it is read, wanted and read along, and by which request. As SVG, and
// in characters for a terminal. Pure functions.
#ifndef AC500_TOOLS_DESK_PLAN_PICTURE_H
#define AC500_TOOLS_DESK_PLAN_PICTURE_H

#include <string>
#include <vector>

#include "tools/desk/read_plan.h"

namespace ac500::desk {

struct PlanPicture {
    std::string title;
    std::string summary;  // one line below the title
    const ObservedPass& pass;
    const std::vector<WantedTag>& wanted;
    const ReadPlan& plan;
};

// A whole document. What is wanted and what is read along differ by pattern, not by colour alone. Of some tens of rows at
// most, however many tags there are.
std::string svgOf(const PlanPicture& picture);

// Lines of at most 80 characters, of ASCII.
std::vector<std::string> characterMapOf(const ObservedPass& pass, const std::vector<WantedTag>& wanted);

}  // namespace ac500::desk

#endif
