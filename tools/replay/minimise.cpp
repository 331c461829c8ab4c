#include "tools/replay/minimise.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace ac500::replay {

namespace {

std::vector<std::size_t> without(const std::vector<std::size_t>& units, std::size_t begin, std::size_t end) {
    std::vector<std::size_t> left(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(begin));
    left.insert(left.end(), units.begin() + static_cast<std::ptrdiff_t>(end), units.end());
    return left;
}

}  // namespace

// Pieces are tried from the back: what came late depends on what came early, so it is the easier to spare.
Minimum minimise(std::size_t count, const std::function<bool(const std::vector<std::size_t>&)>& stillHappens,
                 const std::function<bool()>& isTimeUp) {
    Minimum minimum;
    minimum.kept.resize(count);
    std::iota(minimum.kept.begin(), minimum.kept.end(), std::size_t{0});
    std::size_t piece = std::max<std::size_t>(count / 2, 1);
    while (!minimum.kept.empty()) {
        bool isAnyGone = false;
        for (std::size_t end = minimum.kept.size(); end > 0;) {
            if (isTimeUp()) {
                return minimum;
            }
            const std::size_t begin = end > piece ? end - piece : 0;
            std::vector<std::size_t> left = without(minimum.kept, begin, end);
            ++minimum.trials;
            if (stillHappens(left)) {
                minimum.kept = std::move(left);
                isAnyGone = true;
            }
            end = begin;
        }
        if (piece == 1 && !isAnyGone) {
            break;
        }
        piece = isAnyGone && piece == 1 ? 1 : std::max<std::size_t>(piece / 2, 1);
    }
    minimum.isOneMinimal = true;
    return minimum;
}

}  // namespace ac500::replay
