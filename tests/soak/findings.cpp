#include "tests/soak/findings.h"

#include <fmt/format.h>

namespace ac500::soak {

void Findings::add(const std::string& what) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (++count_ <= kEnough) {
        print_(fmt::format("VIOLATION at {:.1f} s: {}", now_(), what));
    }
}

}  // namespace ac500::soak
