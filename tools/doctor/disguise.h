// Disguise puts other names in place of those that tell whose plant this is: the same original always gets the same one,
// however it is spelt in upper and lower case. What is replaced has to be learnt first, but for IPv4 addresses, which are
// found by their form.
//
// Whole words are replaced wherever they stand, also where they were not meant: a variable "start" takes the "start" out
// of a sentence, too. Too much is better than too little. Used by one thread.
#ifndef AC500_TOOLS_DOCTOR_DISGUISE_H
#define AC500_TOOLS_DOCTOR_DISGUISE_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ac500::doctor {

class Disguise {
public:
    // An original of a kind ("name", "host", "path" ...): it becomes "name1", "name2" and so on, never what is an original
    // itself. Empty texts are not learnt.
    void learn(const std::string& kind, const std::string& original);
    // Each word of a text that is names and punctuation: the scope and the components of a tag. Numbers are no words.
    void learnWords(const std::string& kind, const std::string& text);

    // The text with everything that was learnt replaced. The longest original that fits a place counts. An original is only
    // found as a whole: no letter, digit or "_" stands before or behind it.
    std::string apply(const std::string& text);

    // Original and replacement, of what was learnt.
    std::vector<std::pair<std::string, std::string>> pairs() const;

private:
    struct Entry {
        std::string kind;
        std::string original;  // as it was first seen
        std::string replacement;
    };

    Entry* find(const std::string& text, std::size_t at, std::size_t* length);
    const std::string& replacementOf(Entry& entry);
    std::size_t addressAt(const std::string& text, std::size_t at) const;

    std::map<std::string, Entry> entries_;  // by the original in lower case
    std::map<char, std::vector<std::size_t>, std::less<>>
        lengths_;                        // of originals by their first character, longest first
    std::map<std::string, int> counts_;  // by kind
};

}  // namespace ac500::doctor

#endif
