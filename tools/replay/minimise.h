// Leaves out of a row of units what is not needed for something to happen: delta debugging (Zeller and Hildebrandt, 2002).
#ifndef AC500_TOOLS_REPLAY_MINIMISE_H
#define AC500_TOOLS_REPLAY_MINIMISE_H

#include <cstddef>
#include <functional>
#include <vector>

namespace ac500::replay {

struct Minimum {
    std::vector<std::size_t> kept;  // numbers of the units that are left, ascending
    // No unit of them can be left out alone: each was tried since the last one went. False when the time was over before.
    bool isOneMinimal = false;
    int trials = 0;
};

// REQUIRES: stillHappens with all `count` units. It is asked with ascending numbers, never with all of them; its answer
// depends on them alone. `isTimeUp` is asked before each trial.
Minimum minimise(std::size_t count, const std::function<bool(const std::vector<std::size_t>&)>& stillHappens,
                 const std::function<bool()>& isTimeUp);

}  // namespace ac500::replay

#endif
