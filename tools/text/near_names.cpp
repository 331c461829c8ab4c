#include "tools/text/near_names.h"

#include <algorithm>
#include <utility>

#include "tools/text/text.h"

namespace ac500::text {

namespace {

constexpr std::size_t kLongestName = 100;

struct Ranked {
    int distance;
    const std::string* name;
};

int farthestFrom(const std::string& name) {
    return name.size() < 6 ? 1 : std::max(2, static_cast<int>(name.size()) / 3);
}

bool isNear(int distance, const std::string& name, const std::string& candidate) {
    const bool sharesSomething = distance < static_cast<int>(candidate.size());
    return distance <= farthestFrom(name) && sharesSomething;
}

}  // namespace

// Row i of the table of distances between the first i characters of `a` and the first j of `b`; the two rows above it
// are all that it is made of.
int editDistance(const std::string& a, const std::string& b) {
    const std::string from = lowerCase(a);
    const std::string to = lowerCase(b);
    std::vector<int> beforeLast(to.size() + 1);
    std::vector<int> last(to.size() + 1);
    std::vector<int> row(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j) {
        row[j] = static_cast<int>(j);
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = static_cast<int>(i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const int replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[to.size()];
}

std::vector<std::string> nearNames(const std::string& name, const std::vector<std::string>& candidates,
                                   std::size_t most) {
    std::vector<Ranked> ranked;
    for (const std::string& candidate : candidates) {
        if (name.size() > kLongestName || candidate.size() > kLongestName) {
            continue;
        }
        const int distance = editDistance(name, candidate);
        if (isNear(distance, name, candidate)) {
            ranked.push_back({distance, &candidate});
        }
    }
    // Equally near ones in the order of the candidates, which stand in one array.
    std::sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) {
        return a.distance != b.distance ? a.distance < b.distance : a.name < b.name;
    });
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(most, ranked.size()); ++i) {
        names.push_back(*ranked[i].name);
    }
    return names;
}

}  // namespace ac500::text
