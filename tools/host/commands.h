// The commands of ac500-host. Each returns an exit code (failure.h) and prints results to stdout, failures to stderr.
#ifndef AC500_TOOLS_HOST_COMMANDS_H
#define AC500_TOOLS_HOST_COMMANDS_H

#include "tools/host/command_context.h"
#include "tools/host/command_line.h"

namespace ac500::host {

int runCommand(const Options& options);

// One each, in a file of its own. REQUIRES: the symbols are open; the command opens what else it needs.
int runRead(CommandContext& context);
int runWrite(CommandContext& context);
// Until the time is up or Ctrl-C. 0 when every tag was received at least once, else the code of what failed.
int runWatch(CommandContext& context);
int runTags(const CommandContext& context);
int runStatus(CommandContext& context);
// 3 when something is wrong with the tags.
int runCheck(CommandContext& context);
// 3 when the plan grew.
int runPlan(CommandContext& context);

// 3 when symbol files differ. REQUIRES nothing: it opens the files that it is given.
int runSymbols(CommandContext& context);

}  // namespace ac500::host

#endif
