// Finds the names that a user may have meant. No threads.
#ifndef AC500_TOOLS_TEXT_NEAR_NAMES_H
#define AC500_TOOLS_TEXT_NEAR_NAMES_H

#include <cstddef>
#include <string>
#include <vector>

namespace ac500::text {

// The number of typing errors between two words: a character too many, missing, wrong, or two neighbours swapped
// (optimal string alignment). Upper and lower case are the same.
int editDistance(const std::string& a, const std::string& b);

// Up to `most` candidates that are near enough to be meant, the nearest first; equally near ones in their order. Near
// enough is one error in a short name, two in one of six characters, and a third of a longer one. Names beyond 100
// characters are near nothing: comparing costs the product of their lengths.
std::vector<std::string> nearNames(const std::string& name, const std::vector<std::string>& candidates,
                                   std::size_t most);

// The same for candidates that stand in no list: offers them one by one.
class NearestNames {
public:
    NearestNames(std::string name, std::size_t most);

    void offer(const std::string& candidate);
    std::vector<std::string> names() const;

private:
    struct Ranked {
        int distance;
        std::string name;
    };

    std::string name_;
    std::size_t most_;
    std::vector<Ranked> ranked_;  // the nearest first
};

}  // namespace ac500::text

#endif
