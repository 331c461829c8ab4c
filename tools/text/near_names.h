// Finds the names that a user may have meant. Pure functions.
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

}  // namespace ac500::text

#endif
