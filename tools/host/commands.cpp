#include "tools/host/commands.h"

#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

int runCommand(const Options& options) {
    catchInterrupts();
    if (options.verbose) {
        complainWithTime();
    }
    CommandContext context(options);
    if (options.command == Command::Symbols) {
        return runSymbols(context);
    }
    Failure failure;
    if (!context.openSymbols(&failure)) {
        return context.cannotBegin(failure);
    }
    switch (options.command) {
        case Command::Read:
            return runRead(context);
        case Command::Write:
            return runWrite(context);
        case Command::Watch:
            return runWatch(context);
        case Command::Tags:
            return runTags(context);
        case Command::Status:
            return runStatus(context);
        case Command::Check:
            return runCheck(context);
        case Command::Plan:
            return runPlan(context);
        case Command::Symbols:
            break;
    }
    return 0;
}

}  // namespace ac500::host
