// FUZZ_CHECK is how a fuzz target says what must hold. It stays in optimised builds, and a broken one ends the program,
// which is what a fuzzer takes for a finding.
#ifndef AC500_TESTS_FUZZ_FUZZ_CHECK_H
#define AC500_TESTS_FUZZ_FUZZ_CHECK_H

#include <cstddef>
#include <cstdint>

namespace ac500::fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

}  // namespace ac500::fuzz

#define FUZZ_CHECK(condition) \
    (static_cast<bool>(condition) ? static_cast<void>(0) : ac500::fuzz::fail(#condition, __FILE__, __LINE__))

// Defined once by each target; returns 0. `data` may be null when `size` is 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif
