#include "tests/fuzz/fuzz_check.h"

#include <cstdio>
#include <cstdlib>

namespace ac500::fuzz {

void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

}  // namespace ac500::fuzz
