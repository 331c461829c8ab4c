#include "tools/host/near_names.h"

#include <algorithm>
#include <cctype>

namespace ac500::host {

char folded(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

namespace {

struct Ranked {
    int distance;
    const std::string* name;
};

}  // namespace

int editDistance(const std::string& a, const std::string& b) {
    std::vector<int> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = static_cast<int>(j);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        int diagonal = row[0];
        row[0] = static_cast<int>(i) + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (folded(a[i]) == folded(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row[b.size()];
}

std::vector<std::string> nearNames(const std::string& name, const std::vector<std::string>& candidates,
                                   std::size_t most) {
    const int farthest = std::max(2, static_cast<int>(name.size()) / 3);
    std::vector<Ranked> ranked;
    for (const std::string& candidate : candidates) {
        const int distance = editDistance(name, candidate);
        if (distance <= farthest) {
            ranked.push_back({distance, &candidate});
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const Ranked& a, const Ranked& b) { return a.distance < b.distance; });
    std::vector<std::string> names;
    for (std::size_t i = 0; i < std::min(most, ranked.size()); ++i) {
        names.push_back(*ranked[i].name);
    }
    return names;
}

}  // namespace ac500::host
