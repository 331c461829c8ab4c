#include <fmt/format.h>

#include <QtCore/QtGlobal>
#include <filesystem>
#include <iostream>

#include "tools/doctor/local_checks.h"
#include "tools/host/commands.h"
#include "tools/host/doctor_bundle.h"
#include "tools/host/exit_codes.h"
#include "tools/host/handshake_file.h"
#include "tools/host/needed_libraries.h"
#include "tools/host/plc_examination.h"
#include "tools/host/print.h"
#include "tools/host/run_recorder.h"
#include "tools/host/terminal.h"
#include "tools/text/shell_word.h"
#include "tools/text/text.h"
#include "tools/text/whole_file.h"

namespace ac500::host {

using doctor::CheckLine;
using doctor::Grade;
using doctor::NextCommand;
using doctor::Subject;

namespace {

// What the doctor has looked at, and what is needed to look further.
struct Visit {
    std::vector<CheckLine> lines;
    std::unique_ptr<DriverLibrary> driver;
    std::unique_ptr<RunRecorder> recorder;  // null without a driver, and when nothing is to be recorded
    bool hasSymbols = false;
    std::string whyNoSymbols;
    std::vector<Tag> tags;            // those of the command line that there are
    std::vector<std::string> listed;  // what lists of tags name, right or wrong

    // What is to be called of the driver; null without one.
    const DriverFunctions* functions() const {
        if (driver == nullptr) {
            return nullptr;
        }
        return recorder == nullptr ? &driver->functions() : &recorder->driver();
    }
};

std::string firstLine(const std::string& text) {
    const std::vector<std::string> lines = text::split(text, '\n');
    return lines.size() == 1 ? text : fmt::format("{} (and {} more)", lines.front(), lines.size() - 1);
}

// The call as it was made, wherever its options came from.
NextCommand nextCommand(const Options& options) {
    const Options usual;
    NextCommand call(options.arguments);
    const auto add = [&call](const char* option, bool isGiven, const std::string& value) {
        call = isGiven ? call.with(option, value) : call;
    };
    add("--driver", !options.driver.empty(), options.driver);
    add("--symbols", !options.symbols.empty(), options.symbols);
    add("--plc", true, options.plc.text());
    add("--handshake", !options.handshake.empty(), options.handshake);
    add("--timeout", options.timeoutMs != usual.timeoutMs, std::to_string(options.timeoutMs));
    add("--max-request-words", options.maxRequestWords != usual.maxRequestWords,
        std::to_string(options.maxRequestWords));
    add("--max", options.mostTags != usual.mostTags, std::to_string(options.mostTags));
    add("--simulator", options.simulator, "");
    add("--within", options.doctor.withinSeconds != usual.doctor.withinSeconds,
        std::to_string(options.doctor.withinSeconds));
    return call;
}

// The first of the candidates that is a file, as the loader looks for it; else the last one.
std::string driverCandidate(const Options& options) {
    const std::vector<std::string> candidates =
        options.driver.empty() ? defaultDriverPaths() : std::vector<std::string>{options.driver};
    for (const std::string& candidate : candidates) {
        if (!driverFile(candidate).empty()) {
            return candidate;
        }
    }
    return candidates.back();
}

void examineDriver(const Options& options, Visit* visit) {
    const std::string path = driverCandidate(options);
    const std::string file = driverFile(path);
    CheckLine line;
    if (!file.empty()) {
        line = doctor::checkDriverFile(file, doctor::elfIdentity(file), qtVersionAmong(neededLibraries(file)),
                                       QT_VERSION_MAJOR, nextCommand(options));
    }
    if (line.grade == Grade::Pass) {
        std::string error;
        visit->driver = DriverLibrary::load(path, &error);
        if (visit->driver == nullptr) {
            line = {Subject::Driver, Grade::Fail, error, "the driver is not there, or something that it needs is not",
                    "ldd " + text::shellWord(file.empty() ? path : file)};
        } else if (line.text.empty()) {
            line.text = path + ": found by the system's loader";
        }
    }
    visit->lines.push_back(line);
}

void examineSymbols(CommandContext& context, Visit* visit) {
    const std::string& file = context.options().symbols;
    Failure failure;
    if (file.empty()) {
        visit->whyNoSymbols = "there is no symbol file";
        visit->lines.push_back({Subject::Symbols, Grade::NotTried, "no symbol file was given",
                                "without one neither areas nor tags can be read",
                                nextCommand(context.options()).with("--symbols", "FILE").doctor()});
    } else if (!context.openSymbols(&failure)) {
        visit->whyNoSymbols = "the symbol file cannot be used";
        visit->lines.push_back({Subject::Symbols, Grade::Fail, firstLine(failure.text),
                                "no name can be looked up in it", nextCommand(context.options()).ofSymbols("tags")});
    } else {
        visit->hasSymbols = true;
        visit->lines.push_back({Subject::Symbols, Grade::Pass,
                                fmt::format("{}: {} variables in {} areas", file, context.tags().leaves().size(),
                                            context.tags().file().areas.size()),
                                "", ""});
    }
}

// What was learned of the PLC's replies to the handshake; nothing when nothing was named, or it cannot be used.
std::optional<guard::HandshakePattern> examineHandshake(const Options& options, Visit* visit) {
    const std::string& file = options.handshake;
    std::optional<guard::HandshakePattern> learned;
    if (file.empty()) {
        return learned;
    }
    Failure failure;
    if (!loadHandshake(file, &learned, &failure)) {
        visit->lines.push_back({Subject::Symbols, Grade::Fail, firstLine(failure.text),
                                "the replies to the handshake cannot be compared",
                                "ac500-host guard show " + text::shellWord(file)});
        return std::nullopt;
    }
    const bool canDoubt = visit->hasSymbols && learned->isUsable();  // of what is not usable nothing is compared
    for (const std::string& doubt :
         canDoubt ? doubtsOf(*learned, handshakeOrigin(options.plc, options.symbols)) : std::vector<std::string>()) {
        visit->lines.push_back({Subject::Symbols, Grade::Warn, file + ": " + doubt,
                                "comparing the replies to the handshake says less than one may think",
                                "ac500-host guard show " + text::shellWord(file)});
    }
    return learned;
}

void examineMachine(const Clock& clock, Visit* visit) {
    const Time before = clock.now();
    const bool wentBack = clock.now() < before;
    visit->lines.push_back(doctor::checkClock(std::chrono::system_clock::now(), wentBack));
    std::error_code ignored;
    const std::string folder = std::filesystem::current_path(ignored).string();
    visit->lines.push_back(doctor::checkDisk(folder, doctor::diskSpace(folder)));
    visit->lines.push_back(doctor::checkLocale(doctor::localeState()));
}

// "TAG=VALUE", as for write, is no tag.
bool mayHoldValue(const std::string& text) {
    return text.find('=') != std::string::npos;
}

CheckLine wrongTagLine(Grade grade, const std::string& text, const std::string& meaning, const std::string& next) {
    return {Subject::Tag, grade, text::withoutControls(text),
            meaning,      next,  mayHoldValue(text) ? "left out: it may quote a value" : ""};
}

// What the driver would be asked for is looked at one by one: one wrong tag does not hide the others.
void examineTags(const CommandContext& context, const Visit& visit, std::vector<CheckLine>* wrong,
                 std::vector<Tag>* tags, std::vector<std::string>* listed) {
    const NextCommand call = nextCommand(context.options());
    const auto addWrong = [wrong](const std::string& text, const std::string& meaning, const std::string& next) {
        wrong->push_back(wrongTagLine(Grade::Fail, text, meaning, next));
    };
    const auto addProblem = [&addWrong, &call](const std::string& argument,
                                               const selection::SelectionProblem& problem) {
        const std::string check =
            call.ofSymbols(mayHoldValue(argument) ? "tags" : "check " + text::shellWord(argument));
        switch (problem.kind) {
            case selection::ProblemKind::Name:
                addWrong(problem.text, "the symbol file has no such variable, element or bit", check);
                break;
            case selection::ProblemKind::List:
                addWrong(problem.text, "this line, or all of the list, cannot be read", check);
                break;
            case selection::ProblemKind::TooMany:
                addWrong(problem.text, "none of them is read", call.with("--max", "N").doctor());
                break;
        }
    };
    for (const std::string& argument : context.options().arguments) {
        if (!visit.hasSymbols) {
            wrong->push_back(
                wrongTagLine(Grade::NotTried, argument, visit.whyNoSymbols, call.with("--symbols", "FILE").doctor()));
            continue;
        }
        const selection::EntryList list = selection::entriesOf({argument}, std::cin);
        for (const selection::Entry& entry : list.entries) {
            listed->push_back(entry.text);
        }
        const selection::ChoiceLimits limits{static_cast<std::size_t>(context.options().mostTags),
                                             selection::Expansion::Allowed};
        selection::Choice choice = selection::choose(context.tags().catalog(), list.entries, limits);
        choice.problems.insert(choice.problems.begin(), list.problems.begin(), list.problems.end());
        bool areTooMany = false;
        for (const selection::SelectionProblem& problem : choice.problems) {
            addProblem(argument, problem);
            areTooMany = areTooMany || problem.kind == selection::ProblemKind::TooMany;
        }
        if (areTooMany) {
            continue;
        }
        for (const selection::ChosenTag& one : choice.tags) {
            std::string error;
            const std::optional<Tag> tag = context.tags().find(one.tag, &error);
            if (!tag) {
                addProblem(argument, {selection::ProblemKind::Name, one.origin.text() + error});
            } else if (visit.driver != nullptr &&
                       !TagAccess(*visit.functions(), 2 * context.options().maxRequestWords).isKnown(*tag, &error)) {
                addWrong(error, "driver and symbol file do not agree",
                         call.ofSymbols("check " + text::shellWord(tag->text)));
            } else {
                tags->push_back(*tag);
            }
        }
    }
}

// A variable that is never read: it makes the driver open a session.
SymbolFile madeUpSymbols() {
    SymbolFile file;
    file.areas.push_back({1, "", 2, 0});
    symbol_file::Variable variable;
    variable.name = "variable";
    variable.code = symbol_file::TypeCode::Int;
    variable.area = 1;
    file.scopes.push_back({"Any", {variable}, 0});
    return file;
}

// ---------------------------------------------------------------------------------------------------------------------
// The bundle
// ---------------------------------------------------------------------------------------------------------------------

// Empty when all is well.
std::string bundleProblem(const Options& options) {
    const DoctorOptions& wanted = options.doctor;
    if (wanted.bundle.empty()) {
        return wanted.withoutNames || wanted.withoutValues || wanted.isConfirmed
                   ? "--without-names, --without-values and --yes go with --bundle FILE"
                   : "";
    }
    const bool canAsk = !options.json && hasKeyboard();
    return canAsk || wanted.isConfirmed ? ""
                                        : "--bundle asks before it writes; where nobody can answer, give --yes, too";
}

bool isAgreed() {
    print("Write it? [y/N] ");
    flushOutput();
    std::string answer;
    std::getline(std::cin, answer);
    return text::lowerCase(answer) == "y" || text::lowerCase(answer) == "yes";
}

std::string mapText(const doctor::Disguise& disguise) {
    Json json;
    for (const auto& [original, replacement] : disguise.pairs()) {
        json[replacement] = original;
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

// The map goes first: an archive whose names nobody can look up any more would be of little use.
bool writeBundle(const Options& options, const Bundle& bundle, Failure* failure) {
    const std::string& path = options.doctor.bundle;
    const std::string map = path + ".map.json";
    std::string error;
    if (options.doctor.withoutNames &&
        !text::writeWholeFile(map, mapText(bundle.disguise), text::Readers::OwnerAlone, &error)) {
        *failure = {FailureKind::Output, fmt::format("{}: {}; no bundle was written", map, error)};
        return false;
    }
    if (!text::writeWholeFile(path, doctor::gzipBytes(doctor::tarBytes(bundle.entries)), text::Readers::OwnerAlone,
                              &error)) {
        std::error_code ignored;
        std::filesystem::remove(map, ignored);
        *failure = {FailureKind::Output, fmt::format("{}: {}; no bundle was written", path, error)};
        return false;
    }
    return true;
}

Json bundleJson(const Options& options, const Bundle& bundle) {
    Json json;
    json["file"] = options.doctor.bundle;
    json["entries"] = Json::array();
    for (const doctor::ArchiveEntry& entry : bundle.entries) {
        json["entries"].push_back({{"name", entry.name}, {"bytes", entry.content.size()}, {"about", entry.about}});
    }
    json["left_out"] = bundle.leftOut;
    return json;
}

// Shows what the bundle holds, and writes it when the user wants it.
void offerBundle(const Options& options, const Bundle& bundle, Failure* failure) {
    print(fmt::format("\n{} {}:\n{}", options.doctor.bundle, options.doctor.isConfirmed ? "holds" : "would hold",
                      bundleContents(bundle)));
    if (!options.doctor.isConfirmed && !isAgreed()) {
        printLine("not written");
        return;
    }
    if (writeBundle(options, bundle, failure)) {
        printLine("written: " + options.doctor.bundle +
                  (options.doctor.withoutNames
                       ? ", and which name stands for which: " + options.doctor.bundle + ".map.json"
                       : ""));
    }
}

// Prints what was found, and returns the exit code.
int tell(const Options& options, const VisitReport& report) {
    const bool hasBundle = !options.doctor.bundle.empty() && !wasInterrupted();
    const Bundle bundle = hasBundle ? makeBundle(options, report) : Bundle();
    Failure failure;
    if (options.json) {
        Json json = visitJson(report.lines, report.took, options.doctor.withinSeconds);
        if (hasBundle && writeBundle(options, bundle, &failure)) {
            json["bundle"] = bundleJson(options, bundle);
        }
        printJson(json);
    } else {
        print(visitText(report.lines) + visitSummary(report.lines, report.took, options.doctor.withinSeconds));
        if (hasBundle) {
            offerBundle(options, bundle, &failure);
        }
    }
    if (failure.occurred()) {
        complain(failure);
        return exitCodeOf(failure.kind);
    }
    if (wasInterrupted()) {
        return kExitInterrupted;
    }
    const int exitCode = doctor::exitCodeOf(report.lines);
    // What nobody has looked at is not known to be well.
    return exitCode == 0 && report.ranOutOfTime ? exitCodeOf(FailureKind::Request) : exitCode;
}

}  // namespace

int runDoctor(CommandContext& context) {
    const Options& options = context.options();
    if (const std::string problem = bundleProblem(options); !problem.empty()) {
        complain({FailureKind::Usage, problem});
        return exitCodeOf(FailureKind::Usage);
    }
    const SteadyClock clock;
    const Time begin = clock.now();
    Visit visit;
    examineDriver(options, &visit);
    examineSymbols(context, &visit);
    const std::optional<guard::HandshakePattern> learned = examineHandshake(options, &visit);
    examineMachine(clock, &visit);

    ExaminationSettings settings;
    settings.plc = options.plc;
    settings.timeout = Milliseconds(options.timeoutMs);
    settings.deadline = begin + std::chrono::seconds(options.doctor.withinSeconds);
    settings.withinSeconds = options.doctor.withinSeconds;
    settings.maxRequestWords = options.maxRequestWords;
    settings.handshake = learned;
    settings.handshakeFile = options.handshake;
    settings.symbolsFile = options.symbols;
    settings.call = nextCommand(options);
    settings.whyNoAreas = visit.whyNoSymbols;
    settings.isInterrupted = wasInterrupted;
    const TagTable madeUp(madeUpSymbols());
    if (visit.driver != nullptr) {
        visit.recorder = recorderOf(options, *visit.driver);
    }
    PlcExamination examination(visit.functions(), visit.hasSymbols ? context.tags() : madeUp, clock, settings);
    std::vector<CheckLine> wrongTags;
    examineTags(context, visit, &wrongTags, &visit.tags, &visit.listed);
    const std::vector<CheckLine> found = examination.run(visit.tags);
    visit.lines.insert(visit.lines.end(), found.begin(), found.end());
    visit.lines.insert(visit.lines.end(), wrongTags.begin(), wrongTags.end());

    VisitReport report;
    report.lines = visit.lines;
    report.traffic = examination.traffic();
    report.figures = examination.figures();
    report.driverFile = driverFile(driverCandidate(options));
    report.took = clock.now() - begin;
    report.ranOutOfTime = examination.ranOutOfTime();
    report.listed = visit.listed;
    report.symbols = visit.hasSymbols ? &context.tags().file() : nullptr;
    report.learnedOf = learned ? learned->origin() : guard::HandshakeOrigin();
    bool hasLostRecord = false;
    if (visit.recorder != nullptr) {
        report.record = visit.recorder->minutes();
        visit.recorder->finish();
        for (const RunRecorder::Message& message : visit.recorder->takeMessages()) {
            if (message.isProblem) {
                hasLostRecord = true;
                complain({FailureKind::Output, message.text});
            } else {
                note(message.text);
            }
        }
    }
    const int exitCode = tell(options, report);
    return exitCode == 0 && hasLostRecord ? exitCodeOf(FailureKind::Output) : exitCode;
}

}  // namespace ac500::host
