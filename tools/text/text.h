// Small work on texts that the symbol file and both programs share. Pure functions.
#ifndef AC500_TOOLS_TEXT_TEXT_H
#define AC500_TOOLS_TEXT_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

namespace ac500::text {

// The parts between the separators, at least one; "a,,b" has three, the middle one empty.
std::vector<std::string> split(const std::string& text, char separator);

// With the letters A to Z in lower case; other characters stay, whatever the locale.
std::string lowerCase(std::string text);
char lowerCase(char c);

// Is it all well-formed UTF-8?
bool isUtf8(const std::string& text);

// How many bytes the control character at `position` of a UTF-8 text has: 1 or 2 (U+0080 to U+009F, some of which a
// terminal takes for the beginning of a command, too), or 0 when none stands there. REQUIRES: position < text.size()
std::size_t controlBytesAt(const std::string& text, std::size_t position);

// Puts "?" in place of control characters, which a terminal would obey: for a text of unknown origin in a message.
std::string withoutControls(std::string text);

}  // namespace ac500::text

#endif
