// Finds the names that a user may have meant. Pure functions.
#ifndef AC500_TOOLS_HOST_NEAR_NAMES_H
#define AC500_TOOLS_HOST_NEAR_NAMES_H

#include <string>
#include <vector>

namespace ac500::host {

// As letters are compared: upper and lower case are the same. ASCII.
char folded(char c);

// How many letters must be inserted, removed or replaced to turn one into the other; upper and lower case are the same.
int editDistance(const std::string& a, const std::string& b);

// Up to `most` names that are near enough to be meant, the nearest first; equally near ones in their order.
std::vector<std::string> nearNames(const std::string& name, const std::vector<std::string>& candidates,
                                   std::size_t most);

}  // namespace ac500::host

#endif
