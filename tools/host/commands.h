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
// Takes back what an audit tells of. 6 when something of it is not taken back.
int runUndo(CommandContext& context);
// Until the time is up or Ctrl-C. 0 when every tag was received at least once, else the code of what failed.
int runWatch(CommandContext& context);
int runTags(const CommandContext& context);
int runStatus(CommandContext& context);
// 3 when something is wrong with the tags.
int runCheck(CommandContext& context);
// 3 when the plan grew.
int runPlan(CommandContext& context);

// 8 when the PLC answers otherwise than was learned.
int runGuardLearn(CommandContext& context);
// REQUIRES nothing: it opens the file that it is given.
int runGuardShow(const CommandContext& context);

// The exit code of the first line that failed. REQUIRES nothing: it opens what it can.
int runDoctor(CommandContext& context);
// 3 when something was asked that is no code. REQUIRES nothing
int runExplain(const CommandContext& context);

// Shows an audit. REQUIRES nothing: it opens the file that it is given.
int runAudit(const CommandContext& context);

// 3 when symbol files differ. REQUIRES nothing: it opens the files that it is given.
int runSymbols(CommandContext& context);

// 3 when the driver answers otherwise than recorded. REQUIRES nothing but, for the values of tags, open symbols.
int runReplay(CommandContext& context);

}  // namespace ac500::host

#endif
