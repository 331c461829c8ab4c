// SoakRun is one long run: the host's library with the real driver, a PLC in a process of its own, faults by seed.
//
// It goes in rounds. In a storm the PLC misbehaves, drops connections and is started anew, while writes and one-shot
// reads are ordered and every value is checked. Then the load is held back until nothing is under way, the faults end,
// and two cycles later all values must be right; memory is looked at; a quiet time with load and without faults follows.
//
// The seed fixes the plant, the order of the orders and the sequence of the faults; which reply meets a fault is up to
// the machine's timing, so a run with the same seed is alike and not the same.
#ifndef AC500_TESTS_SOAK_SOAK_RUN_H
#define AC500_TESTS_SOAK_SOAK_RUN_H

#include <cstdint>
#include <string>

namespace ac500::soak {

struct SoakOptions {
    std::uint64_t seed = 1;
    double seconds = 60;
    std::string driver;
    std::string report;  // file for the report's table; empty: none
    std::string record;  // file for a record of the whole run, whose memory is then not judged; empty: none
};

// Prints a line of progress every ten seconds and the report at the end. The exit code: 0 nothing was violated,
// 1 something was, 2 it could not run.
int runSoak(const SoakOptions& options);

}  // namespace ac500::soak

#endif
