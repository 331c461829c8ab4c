// SignalGenerator makes the simulated PLC look alive: it writes the values of a symbol file's signals into the memory,
// as a PLC program does with its outputs. What a client writes to such a variable is overwritten by the next advance.
//
// The value of a signal at time t, in milliseconds since the start:
//   Constant    minimum
//   Counter     minimum + k * step after k whole periods, back to the minimum when it would pass the maximum; with a
//               negative step the same downwards from the maximum; with step 0 always the minimum
//   Ramp        from minimum towards maximum in each period, then again from the minimum
//   Sine        from the middle up to maximum, down to minimum and back in each period
//   Square      minimum in the first half of each period, maximum in the second
//   RandomWalk  starts in the middle; after each whole period it moves by at most `step` either way and stays within
//               minimum and maximum; depends on the seed, the position in the file and the time, on nothing else
//   Pattern     the pattern (pattern.h) of the number of whole periods so far
//   Echo        the value of its source; echoes are written after all other signals, an echo of an echo after that one
//
// Knows no clock. Not thread-safe.
#ifndef AC500_TOOLS_SIMULATOR_SIGNAL_GENERATOR_H
#define AC500_TOOLS_SIMULATOR_SIGNAL_GENERATOR_H

#include <cstdint>
#include <vector>

#include "tools/simulator/element_value.h"
#include "tools/simulator/random.h"

namespace ac500::sim {

using symbol_file::Element;
using symbol_file::Signal;

// The value of every kind that depends on nothing but time; the middle for RandomWalk, 0 for Echo and Pattern.
double signalValueAt(const Signal& signal, std::int64_t nowMs);

class SignalGenerator {
public:
    // A signal whose tags have become places in the memory.
    struct ResolvedSignal {
        Signal signal;
        Element target;
        Element source;  // Echo only
    };

    // REQUIRES: the ranges of all elements lie within the memory that advance() is given.
    SignalGenerator(std::vector<ResolvedSignal> resolved, std::uint64_t seed);

    // Writes all values for the time `nowMs`, milliseconds since the start; time that goes backwards counts as no time.
    // A random walk catches up with at most kMaxWalkSteps steps per call.
    void advance(std::int64_t nowMs, PlcMemory& memory);

    static constexpr std::int64_t kMaxWalkSteps = 100000;

private:
    struct Walk {
        Random random;
        std::int64_t periods;  // whole periods behind us
        double value;
    };

    static double walkedValue(const Signal& signal, Walk& walk, std::int64_t nowMs);

    std::vector<ResolvedSignal> signals_;  // all but echoes
    std::vector<Walk> walks_;              // one per signal; used by RandomWalk only
    std::vector<ResolvedSignal> echoes_;   // sources first
};

}  // namespace ac500::sim

#endif
