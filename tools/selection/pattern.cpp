#include "tools/selection/pattern.h"

#include <algorithm>

#include "tools/text/text.h"

namespace ac500::selection {

namespace {

unsigned char lower(char c) {
    return static_cast<unsigned char>(text::lowerCase(c));
}

// Where a name of something ends that holds what follows: "Main", "Main.pumps", "Main.pumps[1]".
bool endsComponent(char next) {
    return next == '.' || next == '[';
}

}  // namespace

Pattern::Pattern(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++parts_) {
        if (text[i] == '*') {
            const std::size_t end = std::min(text.find_first_not_of('*', i), text.size());
            anyRun_.set(parts_);
            inComponent_.set(parts_, end - i == 1);
            i = end;
        } else {
            (text[i] == '?' ? anyOne_ : letters_[lower(text[i])]).set(parts_);
            ++i;
        }
    }
}

bool Pattern::matches(const std::string& name) const {
    Progress progress = begin();
    for (const char c : name) {
        progress = step(progress, c);
    }
    return isDone(progress);
}

bool Pattern::matchesWhole(const std::string& name) const {
    Progress progress = begin();
    for (const char c : name) {
        if (endsComponent(c) && isDone(progress)) {
            return true;
        }
        progress = step(progress, c);
        if (progress.none()) {
            return false;
        }
    }
    return isDone(progress);
}

bool Pattern::matchesBeginning(const std::string& begin) const {
    Progress progress = this->begin();
    for (const char c : begin) {
        progress = step(progress, c);
    }
    return progress.any();
}

Pattern::Progress Pattern::step(const Progress& progress, char c) const {
    const bool isInside = c != '.';
    const Progress matched = progress & (isInside ? letters_[lower(c)] | anyOne_ : letters_[lower(c)]);
    const Progress staying = progress & (isInside ? anyRun_ : anyRun_ & ~inComponent_);
    return skipStars(staying | (matched << 1));
}

}  // namespace ac500::selection
