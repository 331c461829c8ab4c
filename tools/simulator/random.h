// A small random number generator that gives the same sequence on every platform and library version, which the
// distributions of <random> do not promise. SplitMix64; not for secrets.
#ifndef AC500_TOOLS_SIMULATOR_RANDOM_H
#define AC500_TOOLS_SIMULATOR_RANDOM_H

#include <cstdint>

namespace ac500::sim {

class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31);
    }

    // Uniform in [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

private:
    std::uint64_t state_;
};

}  // namespace ac500::sim

#endif
