// A word of a command line that is shown to be copied into a shell. A pure function.
#ifndef AC500_TOOLS_TEXT_SHELL_WORD_H
#define AC500_TOOLS_TEXT_SHELL_WORD_H

#include <string>

namespace ac500::text {

// The text as a POSIX shell takes it for one word with exactly these characters: in single quotes where it needs them.
std::string shellWord(const std::string& text);

}  // namespace ac500::text

#endif
