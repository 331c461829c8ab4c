#include "tools/host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "tools/console/number_range.h"
#include "tools/console/usage_problem.h"
#include "tools/desk/what_if.h"
#include "tools/host/failure.h"
#include "tools/settings/settings.h"
#include "tools/settings/settings_file.h"

namespace ac500::host {

using settings::LoadedSettings;
using settings::Settings;

namespace {

// What the command line says of the settings, and where more of them are.
struct GivenSettings {
    Settings settings;
    std::string configFile;  // empty: none
};

constexpr char kDescription[] =
    "Reads, writes and watches variables of an AC500 PLC by name, through the communication driver.";

constexpr char kFooter[] =
    "Tags:\n"
    "  Main.motor.speed      a variable\n"
    "  Main.grid[2,3]        an element of an array\n"
    "  Main.recipe[1..5]     some elements of a row\n"
    "  Main.flags.b[3]       a bit of a variable, also Main.flags.3; Main.flags.b[0..7]: some of them\n"
    "                        (bits of one variable that two panels write: see write --help)\n"
    "Several at once, but not to write:\n"
    "  Main.recipe           a whole array; one of several dimensions comes row by row\n"
    "  Main.pumps[1]         all values of a structure, an array of structures, a scope\n"
    "  'Main.tank*'          what matches: * and ? stand for characters of one component,\n"
    "                        ** for any; quoted, because the shell has patterns of its own\n"
    "  @FILE                 a list: one a line, # begins a comment; or CSV with a header and the\n"
    "                        columns tag, interval (ms) and value; or what tags --json prints\n"
    "  -                     such a list from the standard input\n"
    "\n"
    "Settings: what an option does not say is taken from AC500_SYMBOLS, AC500_PLC and AC500_DRIVER in\n"
    "the environment, then from the settings file of --config; paths in it are relative to it.\n"
    "\n"
    "Values:\n"
    "  TRUE FALSE 1 0        booleans and bits\n"
    "  -12 16#1F 2#1010      integers, also 0x1F and 1_000; out of range is an error\n"
    "  1.5 2e-3              floats\n"
    "  T#1m30s D#2026-11-22  times and dates, also TOD#12:00:00 and DT#2026-11-22-12:00:00\n"
    "  automatic             the name of a value, when the symbol file gives names\n"
    "  \"21.5 °C\"             what the symbol file scales, with or without its unit\n"
    "  hello \"hello\"         strings, at most as many characters as their type has\n"
    "  1,2,3                 elements; strings that hold a comma need quotes\n"
    "\n"
    "Exit codes, and the word that a message begins with:\n"
    "  0            everything was done\n"
    "  1 usage      the command line or a value is wrong\n"
    "  2 file       the driver or the symbol file cannot be used\n"
    "  3 name       a tag does not exist; check, plan --expect, symbols diff: something is wrong\n"
    "  4 tcp        there is no connection to the PLC\n"
    "  5 handshake  the PLC, or what answers in its place, opens no session\n"
    "  6 request    reading or writing failed\n"
    "  7 output     the standard output, or a file that was asked for, cannot be written\n"
    "  130          ended by Ctrl-C before it was done\n"
    "  141          ended because nobody reads its output any more\n"
    "\n"
    "Examples:\n"
    "  ac500-host --symbols plant.json tags 'Main.tank*'\n"
    "  ac500-host --symbols plant.json tags --json 'Main.tank*' | ac500-host --symbols plant.json read -\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10:1201 read Main.counter\n"
    "  ac500-host --symbols plant.json write Main.setpoint=21.5 Main.flags.b[3]=1\n"
    "  ac500-host --symbols plant.json watch --seconds 10 Main.counter \"Main.recipe[1..5]\"\n"
    "  ac500-host --symbols plant.json check @reads.list --writes @writes.csv\n"
    "  ac500-host --symbols plant.json plan @reads.list --what-if=250\n"
    "  ac500-host symbols diff old.json new.json --tags @panel.list\n";

constexpr char kWriteFooter[] =
    "Two targets of one command may not overlap.\n"
    "\n"
    "A bit of a variable is written as the whole variable, which is read just before. Bits of one\n"
    "variable that two panels, or a panel and the PLC's program, write at the same time therefore\n"
    "take each other back. The whole variable is compared with what it was, and what changed in\n"
    "between is told; what comes later is not seen. Variables of type BIT are not affected.\n";

constexpr int kLongestMs = settings::kDayMs;

// Of a list to be checked, when nobody says it: checking loads no PLC.
constexpr int kMostCheckedTags = 50000;

// An option for a whole number that the settings file knows, too.
struct NumberOption {
    const char* name;
    const char* unit;
    settings::SettingRange range;
    int otherwise;  // when nobody says it
    const char* summary;
};

void addNumber(CLI::App& app, std::optional<int>& setting, const NumberOption& option) {
    app.add_option(option.name, setting, option.summary)
        ->type_name(option.unit)
        ->check(CLI::Range(option.range.smallest, option.range.largest))
        ->default_str(std::to_string(option.otherwise));
}

void addConnectionOptions(CLI::App& app, Options& options, GivenSettings& given) {
    Settings& settings = given.settings;
    app.add_option("--config", given.configFile,
                   "A settings file: JSON with the names of these options as keys, {\"plc\": \"10.0.0.5:1201\"}")
        ->type_name("PATH");
    app.add_option("--driver", settings.driver,
                   "The driver library (default: libac500driver.so beside this program, then in ../lib)")
        ->type_name("PATH");
    app.add_option("--symbols", settings.symbols, "The symbol file, docs/symbol-file.md")->type_name("PATH");
    app.add_option("--plc", settings.plc, "Where the PLC listens; an IPv6 address stands in brackets: [::1]:1201")
        ->type_name("HOST:PORT")
        ->default_str(options.plc.text());
    addNumber(app, settings.timeoutMs,
              {"--timeout", "MS", settings::kWaitRangeMs, options.timeoutMs,
               "Longest wait for one reply, and for the connection, in ms"});
    addNumber(
        app, settings.waitMs,
        {"--wait", "MS", settings::kWaitRangeMs, options.waitMs, "How long read, write and status keep trying, in ms"});
    addNumber(app, settings.cycleMs,
              {"--cycle", "MS", settings::kCycleRangeMs, options.cycleMs,
               "Time from one pass over all tags to the next, in ms"});
    addNumber(app, settings.maxRequestWords,
              {"--max-request-words", "N", settings::kRequestWordsRange, options.maxRequestWords,
               "Largest request that the PLC takes, in 16-bit words"});
    addNumber(app, settings.retryLimit,
              {"--retry-limit", "N", settings::kRetryRange, options.retryLimit,
               "Failed replies before the driver gives a request up"});
    addNumber(
        app, settings.mostTags,
        {"--max", "N", settings::kTagsRange, options.mostTags,
         "Most tags that a command takes; more are an error (tags: no limit; check: of each list, 50000 by default)"});
    app.add_flag("--json", options.json, "Output for programs: one JSON document; watch: one JSON object per line");
    app.add_flag("--simulator", options.simulator, "Add the simulator's own variables: scope Sim");
    app.add_flag("--verbose", options.verbose,
                 "Log on stderr, with the time, what goes wrong on the way, also when the host recovers from it");
}

struct CommandRow {
    Command command;
    const char* name;
    const char* summary;
    const char* argument;  // its name in the help text
    int least;
    const char* argumentSummary;
};

constexpr CommandRow kCommands[] = {
    {Command::Read, "read", "Read variables once and show their values", "TAG", 1, "What to read"},
    {Command::Write, "write", "Write variables, then read them back and compare", "TAG=VALUE", 1,
     "What to write; @FILE or - for a list with values"},
    {Command::Watch, "watch", "Show variables in a live table; Enter turns its pages", "TAG", 1, "What to watch"},
    {Command::Tags, "tags", "List what can be read; needs neither driver nor PLC", "TAG", 0,
     "Only these; an element or a bit is listed as its variable"},
    {Command::Check, "check", "Tell what is wrong with lists of tags; needs the driver, but no PLC", "TAG", 0,
     "What would be read; @FILE: a list of tags"},
    {Command::Plan, "plan", "Tell what reading tags in every cycle costs; needs the driver, but no PLC", "TAG", 1,
     "What would be read"},
    {Command::Status, "status", "Try every step up to the first read, and tell how far it gets", "TAG", 0,
     "What to read (default: the first variable there is)"},
};

constexpr char kCheckFooter[] =
    "Errors: a tag that the driver does not resolve, or resolves to another place than the symbol file;\n"
    "an index out of bounds; a structure; a value that does not fit.\n"
    "Warnings: a tag given twice; text that would be cut; a variable that several panels write, one of\n"
    "them bits of it.\n"
    "\n"
    "Exit codes: 0 nothing is wrong, 3 there are errors, or with --strict warnings; others as below.\n"
    "\n"
    "Examples:\n"
    "  ac500-host --symbols plant.json check @reads.list\n"
    "  ac500-host --symbols plant.json check --strict @reads.list --writes @writes.csv --also door.list\n";

void addCheckOptions(CLI::App& command, CheckOptions& check) {
    command
        .add_option("--writes", check.writes,
                    "What the panel writes, may be repeated; @FILE: a list, whose values are checked, too")
        ->type_name("TAG[=VALUE]")
        ->allow_extra_args(false);
    command.add_option("--also", check.also, "A list of what another panel writes, may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_flag("--strict", check.isStrict, "End with 3 for warnings, too");
    command.footer(std::string(kCheckFooter) + "\n" + kFooter);
}

constexpr char kPlanFooter[] =
    "The driver itself is asked: what is counted are the requests that it wants sent in one pass.\n"
    "Whether the PLC takes a larger --max-request-words only the PLC can tell.\n"
    "\n"
    "Exit codes: 0 done, 3 a tag does not exist, or with --expect the plan grew; others as below.\n"
    "\n"
    "Examples:\n"
    "  ac500-host --symbols plant.json plan @reads.list --what-if=250\n"
    "  ac500-host --symbols plant.json plan --json @reads.list > plan.json\n"
    "  ac500-host --symbols plant.json plan @reads.list --expect plan.json\n";

void addPlanOptions(CLI::App& command, PlanOptions& plan) {
    const auto addTime = [&command](const char* name, double& target, const char* what) {
        command.add_option(name, target, what)
            ->type_name("MS")
            ->check(console::numberFrom(0.0, static_cast<double>(kLongestMs)))
            ->capture_default_str();
    };
    addTime("--round-trip", plan.roundTripMs, "Time of one request on the network, both ways, in ms");
    addTime("--plc-time", plan.plcMs, "Time of one request in the PLC, in ms");
    command
        .add_flag("--what-if{500}", plan.whatIfWords,
                  "Try every --max-request-words from 10 to MAX (--what-if=MAX; without it 500), the best first")
        ->check(CLI::Range(desk::kSmallestTriedWords, settings::kRequestWordsRange.largest));
    command.add_flag("--skip-wrong", plan.skipWrong, "Leave out the tags that check calls wrong, and tell how many");
    command.add_flag("--map", plan.map, "Draw the memory that is read, in characters");
    command.add_option("--svg", plan.svg, "Draw the memory that is read into this file")->type_name("FILE");
    command.add_option("--expect", plan.expect, "An earlier plan, as --json printed it; 3 when this one costs more")
        ->type_name("FILE");
    command.footer(std::string(kPlanFooter) + "\n" + kFooter);
}

void addCommand(CLI::App& app, const CommandRow& row, Options& options) {
    CLI::App* command = app.add_subcommand(row.name, row.summary);
    command->callback([&options, &row] { options.command = row.command; });
    if (row.argument != nullptr) {
        CLI::Option* argument = command->add_option(row.argument, options.arguments, row.argumentSummary);
        argument->type_name("")->expected(row.least, 1000000);
        if (row.least > 0) {
            argument->required();
        }
    }
    if (row.command == Command::Write) {
        command->add_flag("--force", options.force, "Write nan and inf, too, which few PLC programs expect");
        command->footer(std::string(kWriteFooter) + "\n" + kFooter);
    }
    if (row.command == Command::Check) {
        addCheckOptions(*command, options.check);
    }
    if (row.command == Command::Plan) {
        addPlanOptions(*command, options.plan);
    }
    if (row.command == Command::Read || row.command == Command::Watch || row.command == Command::Tags) {
        command->add_flag("--csv", options.csv, "Output for spreadsheets: CSV with a header row");
    }
    if (row.command == Command::Tags) {
        command->add_flag("--names", options.names, "Names alone, one a line");
    }
    if (row.command == Command::Watch) {
        command->add_flag("--on-change", options.onChange, "Lines: only what has another value or state than before");
        command
            ->add_option("--when", options.when,
                         "Lines: only while this holds, e.g. 'Main.fault == 1'; operators are == != < <= > >=")
            ->type_name("CONDITION");
        command
            ->add_option("--interval", options.intervalMs,
                         "Time between two displays, in ms; a list may give tags another")
            ->type_name("MS")
            ->check(CLI::Range(10, kLongestMs))
            ->capture_default_str();
    }
    if (row.command == Command::Watch || row.command == Command::Status) {
        command
            ->add_option("--seconds", options.seconds,
                         row.command == Command::Watch
                             ? "End after so many seconds; 0: without end, until Ctrl-C (the default)"
                             : "Collect statistics for so many seconds after the first read")
            ->type_name("N")
            ->check(console::numberFrom(0.0, kLongestMs / 1000.0));
    }
}

constexpr char kSymbolsFooter[] =
    "Tables are CSV as docs/symbol-file.md describes: a row for each area, structure type, member, scope,\n"
    "variable, signal and initial value. Nothing is lost on the way there and back.\n"
    "\n"
    "Examples:\n"
    "  ac500-host symbols export plant.json > plant.csv\n"
    "  ac500-host symbols import plant.csv > plant.json\n"
    "  ac500-host symbols diff old.json new.json --tags @panel.list\n";

constexpr char kDiffFooter[] =
    "moved, retyped; renamed: a new name at the same place; vanished; new; overlaid: another variable lies\n"
    "there now, too. Told with each tag are the variables that a panel with the old file would now write\n"
    "in its place.\n"
    "\n"
    "Exit codes: 0 no difference (with --tags: none that concerns them), 3 there are some; others as below.\n";

// Commands that work on symbol files rather than with one.
void addSymbolsCommand(CLI::App& app, Options& options) {
    SymbolsOptions& symbols = options.symbolsCommand;
    CLI::App* command = app.add_subcommand("symbols", "Work on symbol files: from and to tables, and what changed");
    command->require_subcommand(1);
    command->footer(std::string(kSymbolsFooter) + "\n" + kFooter);
    const auto addAction = [&](SymbolsAction action, const char* name, const char* summary) {
        CLI::App* added = command->add_subcommand(name, summary);
        added->callback([&options, action] {
            options.command = Command::Symbols;
            options.symbolsCommand.action = action;
        });
        return added;
    };
    CLI::App* import = addAction(SymbolsAction::Import, "import", "Make a symbol file of a table (CSV)");
    import->add_option("FILE", symbols.file, "The table; - for standard input")->type_name("")->required();
    CLI::App* exporting = addAction(SymbolsAction::Export, "export", "Make a table (CSV) of a symbol file");
    exporting->add_option("FILE", symbols.file, "The symbol file; - for standard input (default: that of --symbols)")
        ->type_name("");
    CLI::App* diff = addAction(SymbolsAction::Diff, "diff", "Tell what changed from one symbol file to the next");
    diff->add_option("OLD", symbols.file, "The symbol file that the panel has")->type_name("")->required();
    diff->add_option("NEW", symbols.otherFile, "The symbol file of the program that the PLC runs now")
        ->type_name("")
        ->required();
    diff->add_option("--tags", symbols.tags, "Only what concerns these, may be repeated; @FILE: a list of tags")
        ->type_name("TAG")
        ->allow_extra_args(false);
    diff->footer(std::string(kDiffFooter) + "\n" + kFooter);
}

// The commands beside it need the one symbol file.
bool needsSymbols(const Options& options) {
    const SymbolsOptions& symbols = options.symbolsCommand;
    return options.command != Command::Symbols || (symbols.action == SymbolsAction::Export && symbols.file.empty());
}

ParsedCommandLine usageError(const std::string& what) {
    ParsedCommandLine parsed;
    parsed.exitCode = exitCodeOf(FailureKind::Usage);
    parsed.text = "usage: " + what + "; ac500-host --help shows how it is used\n";
    return parsed;
}

ParsedCommandLine fileError(const std::string& fileName, const std::vector<symbol_file::Problem>& problems) {
    ParsedCommandLine parsed;
    parsed.exitCode = exitCodeOf(FailureKind::File);
    for (const symbol_file::Problem& problem : problems) {
        parsed.text += std::string(failureKindName(FailureKind::File)) + ": " + describe(fileName, problem) + "\n";
    }
    return parsed;
}

// Takes over what is set.
void apply(const Settings& settings, Options* options) {
    options->symbols = settings.symbols.value_or(options->symbols);
    options->driver = settings.driver.value_or(options->driver);
    options->timeoutMs = settings.timeoutMs.value_or(options->timeoutMs);
    options->waitMs = settings.waitMs.value_or(options->waitMs);
    options->cycleMs = settings.cycleMs.value_or(options->cycleMs);
    options->maxRequestWords = settings.maxRequestWords.value_or(options->maxRequestWords);
    options->retryLimit = settings.retryLimit.value_or(options->retryLimit);
    options->mostTags =
        settings.mostTags.value_or(options->command == Command::Check ? kMostCheckedTags : options->mostTags);
}

// The size that --what-if may have stands behind a "=": a word of its own is a tag. Nothing when all is well.
std::string whatIfProblem(const Options& options, const std::vector<std::string>& words) {
    const bool isPlan = options.command == Command::Plan;
    if (isPlan && std::find(words.begin(), words.end(), "--what-if=") != words.end()) {
        return "--what-if=: the size is missing; write e.g. --what-if=250";
    }
    for (const std::string& tag : options.arguments) {
        if (isPlan && options.plan.whatIfWords > 0 && tag.find_first_not_of("0123456789") == std::string::npos) {
            return tag + " is no tag; write --what-if=" + tag;
        }
    }
    return std::string();
}

ParsedCommandLine helpOrError(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
        return usageError(console::usageProblem(app, error));
    }
    std::ostringstream out;
    std::ostringstream ignored;
    app.exit(error, out, ignored);
    ParsedCommandLine parsed;
    parsed.text = out.str();
    return parsed;
}

}  // namespace

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
    Options options;
    GivenSettings given;
    CLI::App app(kDescription, "ac500-host");
    app.footer(kFooter);
    app.set_version_flag("--version", "ac500-host " AC500_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    app.fallthrough();
    addConnectionOptions(app, options, given);
    for (const CommandRow& row : kCommands) {
        addCommand(app, row, options);
    }
    addSymbolsCommand(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return helpOrError(app, error);
    }
    if (const std::string problem = whatIfProblem(options, std::vector<std::string>(argv, argv + argc));
        !problem.empty()) {
        return usageError(problem);
    }
    if (int{options.csv} + int{options.json} + int{options.names} > 1) {
        return usageError("--csv, --json and --names exclude each other");
    }
    const Settings environment = settings::fromEnvironment([](const char* name) { return std::getenv(name); });
    LoadedSettings file;
    if (!given.configFile.empty()) {
        file = settings::loadSettings(given.configFile);
    }
    if (!file.problems.empty()) {
        return fileError(given.configFile, file.problems);
    }
    const Settings all = preferred(given.settings, preferred(environment, file.settings));
    if (!all.symbols && needsSymbols(options)) {
        return usageError("there is no symbol file: give --symbols, AC500_SYMBOLS, or \"symbols\" in a settings file");
    }
    apply(all, &options);
    if (all.plc) {
        const std::optional<Endpoint> endpoint = parseEndpoint(*all.plc);
        if (!endpoint) {
            const char* name = given.settings.plc ? "--plc" : settings::kPlcVariable;
            return usageError(std::string(name) + " " + *all.plc +
                              " is no HOST:PORT; write e.g. 192.168.0.10:1201 or [::1]:1201");
        }
        options.plc = *endpoint;
    }
    ParsedCommandLine parsed;
    parsed.options = options;
    return parsed;
}

}  // namespace ac500::host
