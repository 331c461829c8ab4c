#include "tools/host/commands.h"

#include "tools/host/print.h"
#include "tools/host/terminal.h"
#include "tools/record/save_signal.h"

namespace ac500::host {

namespace {

int runWith(CommandContext& context) {
    const Options& options = context.options();
    if (options.command == Command::Symbols) {
        return runSymbols(context);
    }
    if (options.command == Command::Explain) {
        return runExplain(context);
    }
    if (options.command == Command::Doctor) {
        return runDoctor(context);
    }
    if (options.command == Command::Replay && options.arguments.empty()) {
        return runReplay(context);
    }
    if (options.command == Command::Audit) {
        return runAudit(context);
    }
    if (options.command == Command::Guard && options.guard.action == GuardAction::Show) {
        return runGuardShow(context);
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
        case Command::Replay:
            return runReplay(context);
        case Command::Undo:
            return runUndo(context);
        case Command::Guard:
            return runGuardLearn(context);
        case Command::Symbols:
        case Command::Explain:
        case Command::Doctor:
        case Command::Audit:
            break;
    }
    return 0;
}

}  // namespace

int runCommand(const Options& options) {
    catchInterrupts();
    record::catchSaveSignal();
    setLogStyle({options.logFormat, options.logLevel.has_value()});
    CommandContext context(options);
    const int exitCode = runWith(context);
    context.finish();
    return exitCode == 0 && context.hasLostRecord() ? exitCodeOf(FailureKind::Output) : exitCode;
}

}  // namespace ac500::host
