// What ac500-host writes to its two outputs: results to stdout, failures to stderr. The live table of the watch command
// is the one thing written past it (terminal.h).
#ifndef AC500_TOOLS_HOST_PRINT_H
#define AC500_TOOLS_HOST_PRINT_H

#include <string>
#include <vector>

#include "tools/host/failure.h"
#include "tools/host/output.h"

namespace ac500::host {

void printLine(const std::string& line);
// In aligned columns.
void printTable(const std::vector<std::vector<std::string>>& rows);
// Over several lines, for one document.
void printJson(const Json& json);
// On one line, for a stream of them.
void printJsonLine(const Json& json);
// What was printed so far is to be seen at once, also by a program at the other end of a pipe.
void flushOutput();

// Prints "kind: text" to stderr.
void complain(const Failure& failure);
// Prints "note: text" to stderr: nothing failed, but the user should know.
void note(const std::string& text);

}  // namespace ac500::host

#endif
