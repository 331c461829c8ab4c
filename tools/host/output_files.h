// Which files a command is going to write, and whether one of them is a file that it reads, or writes for another purpose.
#ifndef AC500_TOOLS_HOST_OUTPUT_FILES_H
#define AC500_TOOLS_HOST_OUTPUT_FILES_H

#include <string>

#include "tools/host/command_line.h"

namespace ac500::host {

// What is wrong, in words, when a file that would be written is one that is read (the symbol file, the settings file, the
// driver, the record that is replayed and others), or two that would be written are one. Files are the same when they are on
// the disk, whatever name or link leads there; those that are not there yet, when they have one place in one folder. Empty
// when all is well. Opens nothing.
std::string outputProblem(const Options& options, const std::string& configFile);

}  // namespace ac500::host

#endif
