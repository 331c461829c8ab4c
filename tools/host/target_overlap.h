// Targets of one write that meet in the PLC's memory: whichever is written last would stand there, and nothing says
// which that is.
#ifndef AC500_TOOLS_HOST_TARGET_OVERLAP_H
#define AC500_TOOLS_HOST_TARGET_OVERLAP_H

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/host/tag.h"

namespace ac500::host {

// Positions in the list; `first` is the smaller one.
struct TargetOverlap {
    std::size_t first = 0;
    std::size_t second = 0;
};

// Two targets that share a bit of the PLC's memory; nothing when all keep apart. Different bits of one variable do.
std::optional<TargetOverlap> findOverlap(const std::vector<Tag>& targets);

}  // namespace ac500::host

#endif
