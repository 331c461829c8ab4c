// Finds what a user may mean by a code: a number in several notations, or a name, among all groups at once, since a bare
// number does not tell what it is a code of. Pure functions.
#ifndef AC500_TOOLS_EXPLAIN_LOOKUP_H
#define AC500_TOOLS_EXPLAIN_LOOKUP_H

#include <optional>
#include <string>
#include <vector>

#include "tools/explain/code_table.h"

namespace ac500::explain {

// The number that a text is: 11, -1, 0x0302, 16#302, and the two bytes of a status word as captures show them, "03 02" and
// 0F01 (four digits, with a letter among them). Nothing else, and nothing beyond 32 bits.
std::optional<int> parseNumber(const std::string& text);

// Every code that the text may mean, in the order of the table: by its number, or by its name. Of a name case does not
// count, nor does the "k" in front of the driver's. With `only`, of that group.
std::vector<Code> meaningsOf(const std::string& text, std::optional<Group> only = std::nullopt);

// The group of that key; case does not count.
std::optional<Group> groupOf(const std::string& key);

// Names near a name that is none.
std::vector<std::string> nearNamesOf(const std::string& text);

// Of a number within a failure family of the driver, what it says beside the family: which hostId. Empty otherwise.
std::string familyNote(const Code& code, int number);

// What a number that has no meaning may be, and where to look.
std::string unknownNumberHint(int number);

// Without Markdown, for a terminal: `code` as code, [words](page.md) as words (docs/page.md).
std::string plainText(const std::string& markdown);

}  // namespace ac500::explain

#endif
