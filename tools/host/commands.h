// The commands of ac500-host. Each returns an exit code (failure.h) and prints results to stdout, failures to stderr.
#ifndef AC500_TOOLS_HOST_COMMANDS_H
#define AC500_TOOLS_HOST_COMMANDS_H

#include "tools/host/command_line.h"

namespace ac500::host {

const int kExitInterrupted = 130;

int runCommand(const Options& options);

}  // namespace ac500::host

#endif
