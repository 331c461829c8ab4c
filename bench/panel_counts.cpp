// Runs a scenario of bench/ once, between two marks for the emulator (bench/arm_instructions.cpp), and prints "items N".
// For 32-bit ARM, where neither Google's library nor valgrind is at hand.
//
//   qemu-arm -plugin libarm_instructions.so panel_counts NAME
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench/arm_marks.h"
#include "bench/workload.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "panel_counts: %s\n", what);
        std::exit(1);
    }
}

namespace {

int count(const std::string& name) {
    for (const Scenario& scenario : allScenarios()) {
        if (scenario.name == name) {
            const std::unique_ptr<Workload> workload = scenario.make();
            workload->check();
            for (int warmUp = 0; warmUp < 2; ++warmUp) {
                workload->prepare();
                workload->run();
            }
            workload->prepare();
            syscall(kMarkCall, kBeginMark);
            workload->run();
            syscall(kMarkCall, kEndMark);
            workload->check();
            std::printf("items %.17g\n", workload->items());
            return 0;
        }
    }
    std::fprintf(stderr, "panel_counts: no scenario is called %s\n", name.c_str());
    return 2;
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    ac500::bench::require(argc == 2, "usage: panel_counts NAME");
    return ac500::bench::count(argv[1]);
}
