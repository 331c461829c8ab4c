// Finds circles among things of which each leads to at most one other.
#ifndef AC500_TOOLS_SYMBOL_FILE_CIRCLES_H
#define AC500_TOOLS_SYMBOL_FILE_CIRCLES_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ac500::symbol_file {

constexpr std::size_t kLeadsNowhere = static_cast<std::size_t>(-1);

// `next[i]` is where i leads to, or kLeadsNowhere. Every circle is listed once, in order, starting with its smallest
// member.
inline std::vector<std::vector<std::size_t>> findCircles(const std::vector<std::size_t>& next) {
    std::vector<std::vector<std::size_t>> circles;
    std::vector<std::size_t> walkOf(next.size(), kLeadsNowhere);
    for (std::size_t start = 0; start < next.size(); ++start) {
        std::size_t at = start;
        while (at != kLeadsNowhere && walkOf[at] == kLeadsNowhere) {
            walkOf[at] = start;
            at = next[at];
        }
        if (at == kLeadsNowhere || walkOf[at] != start) {
            continue;
        }
        std::vector<std::size_t> circle(1, at);
        for (std::size_t i = next[at]; i != at; i = next[i]) {
            circle.push_back(i);
        }
        std::rotate(circle.begin(), std::min_element(circle.begin(), circle.end()), circle.end());
        circles.push_back(circle);
    }
    return circles;
}

}  // namespace ac500::symbol_file

#endif
