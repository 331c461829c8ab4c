#include "tools/text/shell_word.h"

#include <algorithm>
#include <cstring>

namespace ac500::text {

namespace {

// What no shell takes for anything but itself, wherever it stands in a word.
bool isPlain(char c) {
    const bool isLetterOrDigit = ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9');
    return isLetterOrDigit || (c != '\0' && std::strchr("_@%+:,./-", c) != nullptr);
}

}  // namespace

std::string shellWord(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

}  // namespace ac500::text
