#include "tools/text/near_names.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tools/text/text.h"

namespace ac500::text {

namespace {

constexpr std::size_t kLongestName = 100;

int farthestFrom(const std::string& name) {
    return name.size() < 6 ? 1 : std::max(2, static_cast<int>(name.size()) / 3);
}

bool isNear(int distance, const std::string& name, const std::string& candidate) {
    const bool sharesSomething = distance < static_cast<int>(candidate.size());
    return distance <= farthestFrom(name) && sharesSomething;
}

// Without what both have in common at either end, which no error concerns.
struct Difference {
    std::string from;
    std::string to;
};

Difference differenceOf(const std::string& a, const std::string& b) {
    const auto same = [](char x, char y) { return x == y || lowerCase(x) == lowerCase(y); };
    const auto [fromBegin, toBegin] = std::mismatch(a.begin(), a.end(), b.begin(), b.end(), same);
    auto fromEnd = a.end();
    auto toEnd = b.end();
    while (fromEnd != fromBegin && toEnd != toBegin && same(*(fromEnd - 1), *(toEnd - 1))) {
        --fromEnd;
        --toEnd;
    }
    return {lowerCase(std::string(fromBegin, fromEnd)), lowerCase(std::string(toBegin, toEnd))};
}

}  // namespace

// Row i of the table of distances between the first i characters of `from` and the first j of `to`; the two rows above it
// are all that it is made of.
int editDistance(const std::string& a, const std::string& b) {
    const auto [from, to] = differenceOf(a, b);
    if (from.empty() || to.empty()) {
        return static_cast<int>(from.size() + to.size());
    }
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

NearestNames::NearestNames(std::string name, std::size_t most) : name_(std::move(name)), most_(most) {}

void NearestNames::offer(const std::string& candidate) {
    const int lengths = std::abs(static_cast<int>(name_.size()) - static_cast<int>(candidate.size()));
    const bool isFull = ranked_.size() == most_;
    const int farthest = isFull && most_ > 0 ? ranked_.back().distance - 1 : farthestFrom(name_);
    if (name_.size() > kLongestName || candidate.size() > kLongestName || lengths > farthest || most_ == 0) {
        return;
    }
    const int distance = editDistance(name_, candidate);
    if (distance > farthest || !isNear(distance, name_, candidate)) {
        return;
    }
    // Equally near ones keep the order in which they came.
    const auto place = std::upper_bound(ranked_.begin(), ranked_.end(), distance,
                                        [](int value, const Ranked& ranked) { return value < ranked.distance; });
    ranked_.insert(place, {distance, candidate});
    if (isFull) {
        ranked_.pop_back();
    }
}

std::vector<std::string> NearestNames::names() const {
    std::vector<std::string> names;
    names.reserve(ranked_.size());
    for (const Ranked& ranked : ranked_) {
        names.push_back(ranked.name);
    }
    return names;
}

std::vector<std::string> nearNames(const std::string& name, const std::vector<std::string>& candidates,
                                   std::size_t most) {
    NearestNames nearest(name, most);
    for (const std::string& candidate : candidates) {
        nearest.offer(candidate);
    }
    return nearest.names();
}

}  // namespace ac500::text
