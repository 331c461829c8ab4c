// Pattern is a name with placeholders: "*" stands for any characters of one component, "?" for one of them, "**" for any
// characters across components. Upper and lower case are the same. Immutable; safe to share between threads.
#ifndef AC500_TOOLS_SELECTION_PATTERN_H
#define AC500_TOOLS_SELECTION_PATTERN_H

#include <array>
#include <bitset>
#include <cstddef>
#include <string>

namespace ac500::selection {

class Pattern {
public:
    static constexpr std::size_t kLongest = 255;

    static bool isPattern(const std::string& text) { return text.find_first_of("*?") != std::string::npos; }

    // REQUIRES: text.size() <= kLongest
    explicit Pattern(const std::string& text);

    bool matches(const std::string& name) const;
    // Does it match the name, or that of a scope, structure or array that the name belongs to? "Main.p*" does so for
    // "Main.pumps[1].speed", as the name of the array "Main.pumps".
    bool matchesWhole(const std::string& name) const;
    // Could it match a name that begins like this?
    bool matchesBeginning(const std::string& begin) const;

private:
    // Which beginnings of the pattern have been matched: bit i is set when the first i parts have.
    using Progress = std::bitset<kLongest + 1>;

    Progress begin() const { return skipStars(Progress(1)); }
    Progress step(const Progress& progress, char c) const;
    Progress skipStars(const Progress& progress) const { return progress | ((progress & anyRun_) << 1); }
    bool isDone(const Progress& progress) const { return progress.test(parts_); }

    std::size_t parts_ = 0;
    std::array<Progress, 256> letters_;  // by lower-case character: the parts that are this character
    Progress anyOne_;                    // parts that are "?"
    Progress inComponent_;               // parts that are "*"
    Progress anyRun_;                    // parts that are "*" or "**"
};

}  // namespace ac500::selection

#endif
