// The tables of docs/status-codes.md, in Markdown. Pure functions.
#ifndef AC500_TOOLS_EXPLAIN_CODE_PAGE_H
#define AC500_TOOLS_EXPLAIN_CODE_PAGE_H

#include <string>

#include "tools/explain/code_table.h"

namespace ac500::explain {

// Header, rule and a row for each code of the group, each line with its end.
std::string tableOf(Group group);

}  // namespace ac500::explain

#endif
