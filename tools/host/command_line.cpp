#include "tools/host/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "tools/console/number_range.h"
#include "tools/console/usage_problem.h"
#include "tools/desk/what_if.h"
#include "tools/explain/code_table.h"
#include "tools/host/failure.h"
#include "tools/host/output_files.h"
#include "tools/record/flight_recorder.h"
#include "tools/settings/settings.h"
#include "tools/settings/settings_file.h"

namespace ac500::host {

using record::RecorderSettings;
using settings::LoadedSettings;
using settings::Settings;

namespace {

// What the command line says of the settings, and where more of them are.
struct GivenSettings {
    Settings settings;
    std::string configFile;  // empty: none
    bool isVerbose = false;
    std::string logLevel;  // empty: not said
    std::string logFormat = "text";
};

constexpr char kDescription[] =
    "Reads, writes and watches variables of an AC500 PLC by name, through the communication driver.";

constexpr char kTagsAndValues[] =
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
    "\n";

constexpr char kExamples[] =
    "Examples:\n"
    "  ac500-host --symbols plant.json tags 'Main.tank*'\n"
    "  ac500-host --symbols plant.json tags --json 'Main.tank*' | ac500-host --symbols plant.json read -\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10:1201 read Main.counter\n"
    "  ac500-host --symbols plant.json write Main.setpoint=21.5 Main.flags.b[3]=1\n"
    "  ac500-host --symbols plant.json watch --seconds 10 Main.counter \"Main.recipe[1..5]\"\n"
    "  ac500-host --symbols plant.json check @reads.list --writes @writes.csv\n"
    "  ac500-host --symbols plant.json plan @reads.list --what-if=250\n"
    "  ac500-host symbols diff old.json new.json --tags @panel.list\n"
    "  ac500-host explain 0x0302\n";

// What stands below every help text.
std::string footer() {
    std::string exitCodes = "Exit codes, and the word that a message begins with:\n";
    for (const explain::Code& code : explain::allCodes()) {
        if (code.group == explain::Group::HostExit) {
            exitCodes += fmt::format("  {:<12} {}\n", fmt::format("{} {}", code.first, code.name), code.brief);
        }
    }
    return kTagsAndValues + exitCodes + "\n" + kExamples;
}

constexpr char kWriteFooter[] =
    "Two targets of one command may not overlap.\n"
    "\n"
    "A bit of a variable is written as the whole variable, which is read just before. Bits of one\n"
    "variable that two panels, or a panel and the PLC's program, write at the same time therefore\n"
    "take each other back. The whole variable is compared with what it was, and what changed in\n"
    "between is told; what comes later is not seen. Variables of type BIT are not affected.\n"
    "\n"
    "--if Main.setpoint=21.5 is for a value that somebody has seen and wants to replace: it is read and\n"
    "compared immediately before. With --if or --audit each write goes by itself. Nothing that fails is\n"
    "sent again. Each write ends as done, refused (by the PLC), not sent, or unknown.\n";

constexpr char kResetFooter[] =
    "Signal SIGUSR2, and r and Enter in the live table of watch, count how long things take from nothing again.\n";

constexpr char kAuditFooter[] =
    "A write without an outcome is shown as unknown: the program or the machine ended between the two.\n"
    "\n"
    "Example:\n"
    "  ac500-host audit show --tag 'Main.tank*' --since 2026-11-22T07 writes.jsonl\n";

constexpr char kUndoFooter[] =
    "What the PLC had before is written again, the latest write first, each only where the PLC still holds\n"
    "what was written then. Writes that were refused, not sent or taken back already do not count.\n"
    "\n"
    "Example:\n"
    "  ac500-host --symbols plant.json undo writes.jsonl 3\n";

constexpr int kLongestMs = settings::kDayMs;

constexpr std::uint64_t kLargestSize = std::uint64_t{1} << 30;

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
    app.add_option(
           "--via", options.via,
           "The socket of a running ac500-gateway, whose session is used instead of one of its own; read, watch, "
           "write, undo, status and tags do, and need neither --symbols nor --plc then")
        ->type_name("SOCKET");
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
    app.add_option("--handshake", options.handshake,
                   "What guard learn has stored: warn when the PLC answers the handshake otherwise")
        ->type_name("FILE");
    app.add_flag("--simulator", options.simulator, "Add the simulator's own variables: scope Sim");
    app.add_flag("--verbose", given.isVerbose,
                 "Log on stderr, with the time, what goes wrong on the way, also when the host recovers from it: "
                 "--log-level warning");
    app.add_option("--log-level", given.logLevel, "Log on stderr the events of this level and above: docs/events.md")
        ->type_name("LEVEL")
        ->check(CLI::IsMember({"debug", "info", "warning", "error"}));
    app.add_option("--log-format", given.logFormat, "How stderr is written: text, or json, an object per line")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
}

// The sizes as they are typed.
struct GivenSizes {
    std::string memory = "8M";
    std::string ring;  // FILE:SIZE
};

void addRecordOptions(CLI::App& app, RecordOptions& record, GivenSizes& sizes) {
    app.add_option("--record", record.file, "Record the whole run in this file: calls into the driver, frames, times")
        ->type_name("FILE");
    app.add_option("--record-ring", sizes.ring,
                   "Record the end of the run in a ring on disk of this size, as 64M; FILE.1 to FILE.15 belong to it")
        ->type_name("FILE:SIZE");
    app.add_option("--record-memory", sizes.memory,
                   "Size of the record of the last minutes in memory, which SIGUSR1 saves; 0: none")
        ->type_name("SIZE")
        ->capture_default_str();
    app.add_option(
           "--record-when", record.when,
           "Save the minutes in memory once, when this holds, e.g. 'Main.fault == 1'; failure: at the first one")
        ->type_name("CONDITION");
    app.add_option("--record-save", record.saveFile,
                   "Where they are saved; while a file has that name, with -2 in it, and so on")
        ->type_name("FILE")
        ->capture_default_str();
}

// "65536", "64K", "8M", "1G": nothing for anything else.
std::optional<std::size_t> parseSize(const std::string& text) {
    static const std::string kUnits = "KMG";
    std::size_t digits = 0;
    std::uint64_t size = 0;
    while (digits < text.size() && digits < 12 && text[digits] >= '0' && text[digits] <= '9') {
        size = 10 * size + static_cast<std::uint64_t>(text[digits] - '0');
        ++digits;
    }
    std::size_t unit = std::string::npos;
    if (digits + 1 == text.size()) {
        unit = kUnits.find(text.back());
        size = unit == std::string::npos ? size : size << (10 * (unit + 1));
    }
    const bool isSize = digits > 0 && (digits == text.size() || unit != std::string::npos);
    return isSize && size <= kLargestSize ? std::optional<std::size_t>(static_cast<std::size_t>(size)) : std::nullopt;
}

// What is wrong with them; empty when all is well.
std::string apply(const GivenSizes& sizes, RecordOptions* record) {
    const std::optional<std::size_t> memory = parseSize(sizes.memory);
    if (!memory || (*memory > 0 && *memory < RecorderSettings::kLeastMemoryBytes)) {
        return "--record-memory " + sizes.memory + " is no size from 64K to 1G, nor 0; write e.g. 8M";
    }
    record->memoryBytes = *memory;
    if (!record->when.empty() && *memory == 0) {
        return "--record-when saves what is in memory, and --record-memory 0 keeps nothing there";
    }
    if (sizes.ring.empty()) {
        return std::string();
    }
    const std::size_t colon = sizes.ring.rfind(':');
    const std::optional<std::size_t> ring =
        colon == std::string::npos ? std::nullopt : parseSize(sizes.ring.substr(colon + 1));
    if (!ring || colon == 0 || *ring < RecorderSettings::kLeastRingBytes) {
        return "--record-ring " + sizes.ring +
               " is no FILE:SIZE with a size from 1M to 1G; write e.g. plant.record:64M";
    }
    record->ringFile = sizes.ring.substr(0, colon);
    record->ringBytes = *ring;
    return std::string();
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
    {Command::Doctor, "doctor", "Look what is wrong, from the driver's file to each tag; never writes to the PLC",
     "TAG", 0, "Tags to be read, besides one variable of each memory area"},
    {Command::Explain, "explain", "Tell what a code means, what causes it and what to do", "CODE", 0,
     "A number, in decimal or hex (0x0302), or a name; without one, all codes"},
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
    command.footer(std::string(kCheckFooter) + "\n" + footer());
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
    command.footer(std::string(kPlanFooter) + "\n" + footer());
}

constexpr char kExplainFooter[] =
    "One number may mean several things: all are told. A kind in front of it says which is meant: status (of\n"
    "a request), resolution (of a tag), plc (status word of a reply), exit, sim-exit, callback, check,\n"
    "outcome, write (outcomes), state (of a value), record; a kind alone stands for all its codes.\n"
    "\n"
    "Exit codes: 0 done, 3 something else was asked; others as below.\n"
    "\n"
    "Examples:\n"
    "  ac500-host explain 0x0302\n"
    "  ac500-host explain status 12\n"
    "  ac500-host explain exit\n";

constexpr char kDoctorFooter[] =
    "Looks at the driver, the symbol file, clock, disk and locale of this machine; then at the PLC's name,\n"
    "the way to it, its port, both requests of the handshake, one variable in each memory area, the largest\n"
    "request, and each TAG. Each line is pass, warn, fail or not tried, with what it means and the command\n"
    "to run next. It opens one connection, never writes to the PLC, sends nothing twice, and ends within\n"
    "the time of --within whatever the PLC does. A symbol file is not required.\n"
    "\n"
    "Exit codes: 0 nothing failed, else that of the first line that failed: 2 driver or symbols, 4 name, route\n"
    "or port, 5 handshake, 8 another program, 6 area or limit, 3 a tag; 6, too, when nothing failed and the time of\n"
    "--within left something out.\n"
    "\n"
    "Examples:\n"
    "  ac500-host --plc 192.168.0.10 doctor\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10 doctor @panel.list\n";

void addDoctorOptions(CLI::App& command, DoctorOptions& doctor) {
    command.add_option("--within", doctor.withinSeconds, "Ends after at most so many seconds; the rest is not tried")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    command
        .add_option(
            "--bundle", doctor.bundle,
            "Write findings, settings, versions, figures and a capture into this file (.tar.gz), for somebody far away")
        ->type_name("FILE");
    command.add_flag("--without-names", doctor.withoutNames,
                     "Bundle: other names for tags, hosts, addresses, users and paths; FILE.map.json tells which");
    command.add_flag("--without-values", doctor.withoutValues, "Bundle: zeros for the values in the capture");
    command.add_flag("--yes", doctor.isConfirmed, "Write the bundle without asking");
    command.footer(std::string(kDoctorFooter) + "\n" + footer());
}

void addWriteOptions(CLI::App& command, WriteOptions& write) {
    command.add_flag("--force", write.force, "Write nan and inf, too, which few PLC programs expect");
    command
        .add_option("--if", write.conditions,
                    "Write only when the PLC holds this, read immediately before; may be repeated, also for other tags")
        ->type_name("TAG=VALUE")
        ->allow_extra_args(false);
    command.add_option("--expires", write.expiresSeconds, "What was not sent after so many seconds is not sent at all")
        ->type_name("SECONDS")
        ->check(console::numberFrom(0.001, kLongestMs / 1000.0));
    command.add_flag("--dry-run", write.isDryRun, "Show what would be written, over what, where and as which bytes");
    command
        .add_option("--audit", write.audit,
                    "Note each write in this file, before it is sent and when it has ended; not noted, not sent")
        ->type_name("FILE");
    command.footer(std::string(kWriteFooter) + "\n" + footer());
}

void addAuditCommands(CLI::App& app, Options& options) {
    AuditOptions& audit = options.audit;
    CLI::App* command = app.add_subcommand("audit", "Work on an audit, the file of write --audit");
    command->require_subcommand(1);
    CLI::App* show = command->add_subcommand("show", "Show which writes were sent, and what became of them");
    show->callback([&options] { options.command = Command::Audit; });
    show->add_option("FILE", audit.file, "The audit; FILE.1, FILE.2 and so on belong to it")->type_name("")->required();
    show->add_option("--tag", audit.tags, "Only writes of this tag, may be repeated; * and ? stand for characters")
        ->type_name("TAG")
        ->allow_extra_args(false);
    show->add_option("--since", audit.since,
                     "Only from this time on, in UTC: 2026-11-22, 2026-11-22T07 or 2026-11-22T07:45")
        ->type_name("TIME");
    show->add_option("--until", audit.until, "Only up to this time, all that begins with it included")
        ->type_name("TIME");
    show->footer(std::string(kAuditFooter) + "\n" + footer());
    CLI::App* undo = app.add_subcommand("undo", "Take back the latest writes of an audit, the last first");
    undo->callback([&options] { options.command = Command::Undo; });
    undo->add_option("FILE", audit.file, "The audit; what is taken back is noted there, too")
        ->type_name("")
        ->required();
    undo->add_option("LAST", audit.last, "So many writes, counted from the end")
        ->type_name("")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str();
    undo->add_flag("--dry-run", options.write.isDryRun, "Show what would be taken back; nothing is written");
    undo->footer(std::string(kUndoFooter) + "\n" + footer());
}

// Of arguments: the help shows "..." behind them.
constexpr int kAnyNumber = CLI::detail::expected_max_vector_size;

void addCommand(CLI::App& app, const CommandRow& row, Options& options) {
    CLI::App* command = app.add_subcommand(row.name, row.summary);
    command->callback([&options, &row] { options.command = row.command; });
    if (row.argument != nullptr) {
        CLI::Option* argument = command->add_option(row.argument, options.arguments, row.argumentSummary);
        argument->type_name("")->expected(row.least, kAnyNumber);
        if (row.least > 0) {
            argument->required();
        }
    }
    if (row.command == Command::Write) {
        addWriteOptions(*command, options.write);
    }
    if (row.command == Command::Check) {
        addCheckOptions(*command, options.check);
    }
    if (row.command == Command::Plan) {
        addPlanOptions(*command, options.plan);
    }
    if (row.command == Command::Doctor) {
        addDoctorOptions(*command, options.doctor);
    }
    if (row.command == Command::Explain) {
        command->footer(std::string(kExplainFooter) + "\n" + footer());
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
        command->footer(std::string(kResetFooter) + "\n" + footer());
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
    command->footer(std::string(kSymbolsFooter) + "\n" + footer());
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
    exporting->add_flag("--wireshark", symbols.forWireshark,
                        "Make the map by which the dissector for Wireshark names variables, docs/wireshark.md");
    CLI::App* diff = addAction(SymbolsAction::Diff, "diff", "Tell what changed from one symbol file to the next");
    diff->add_option("OLD", symbols.file, "The symbol file that the panel has")->type_name("")->required();
    diff->add_option("NEW", symbols.otherFile, "The symbol file of the program that the PLC runs now")
        ->type_name("")
        ->required();
    diff->add_option("--tags", symbols.tags, "Only what concerns these, may be repeated; @FILE: a list of tags")
        ->type_name("TAG")
        ->allow_extra_args(false);
    diff->footer(std::string(kDiffFooter) + "\n" + footer());
}

constexpr char kReplayFooter[] =
    "Compared is everything that the driver answers, byte by byte; not compared are times. The first call\n"
    "that is answered otherwise is shown with what was expected, what came, and what led to it.\n"
    "\n"
    "A moment: 1234 (the event of that number), 12.5s or 300ms (since the beginning), 14:03:12.5 or\n"
    "2026-11-22T14:03:12Z (UTC).\n"
    "\n"
    "Exit codes: 0 every answer is that of the record, 3 one differs or the driver crashes, 2 the record is\n"
    "damaged, nothing of it could be compared, or there is nothing to shrink; others as below.\n"
    "\n"
    "Examples:\n"
    "  ac500-host replay plant.rec\n"
    "  ac500-host replay plant.rec --driver ./libac500driver.so\n"
    "  ac500-host --symbols plant.json replay plant.rec --until 12.5s Main.counter\n"
    "  ac500-host replay plant.rec --pcap plant.pcapng\n"
    "  ac500-host replay plant.rec --shrink small.rec\n";

void addReplayCommand(CLI::App& app, Options& options) {
    ReplayOptions& replay = options.replay;
    CLI::App* command = app.add_subcommand(
        "replay", "Make the calls of a record again, without PLC and network, and compare the answers");
    command->callback([&options] { options.command = Command::Replay; });
    command->footer(std::string(kReplayFooter) + "\n" + footer());
    command->add_option("FILE", replay.file, "The record, as --record wrote it")->type_name("")->required();
    command
        ->add_option("TAG", options.arguments,
                     "Show the values that the driver held at the end, or at --until; needs --symbols")
        ->type_name("")
        ->expected(0, kAnyNumber);
    command->add_option("--until", replay.until, "Only up to this moment of the record; see below")
        ->type_name("MOMENT");
    command->add_option("--speed", replay.speed, "1: as slow as it was; 10: ten times as fast; 0: as fast as possible")
        ->type_name("N")
        ->check(console::numberFrom(0.0, 1e6))
        ->capture_default_str();
    command->add_flag("--events", replay.events, "List the events");
    CLI::Option* pcap =
        command->add_option("--pcap", replay.pcap, "Only write a capture of the wire, for Wireshark; needs no driver")
            ->type_name("FILE");
    CLI::Option* shrink = command
                              ->add_option("--shrink", replay.shrink,
                                           "Only write the least of the record with which the same failure happens")
                              ->type_name("FILE");
    command->add_option("--shrink-seconds", replay.shrinkSeconds, "How long to try")
        ->type_name("N")
        ->check(console::numberFrom(0.1, kLongestMs / 1000.0))
        ->capture_default_str()
        ->needs(shrink);
    CLI::Option* test =
        command
            ->add_option(
                "--make-test", replay.makeTest,
                "Write a record with the answers of this driver and a script that checks them into this folder")
            ->type_name("FOLDER");
    pcap->excludes(shrink)->excludes(test);
    shrink->excludes(test);
}

constexpr char kGuardFooter[] =
    "For a PLC whose program has no guard tag. Some bytes of its replies to the handshake may be the same each\n"
    "time as long as it runs one program: learn makes connections, adds what it sees to the file, and keeps\n"
    "which bytes never changed. With --handshake FILE, read, write, watch and status warn when one of them did.\n"
    "That is a hint and holds nothing: whether the bytes of a real PLC tell programs apart is not known.\n"
    "Connections to one run of the PLC say little, because what changes with each start is the same in all of\n"
    "them. So learn, restart the PLC with the same program, and learn again; before, nothing is compared.\n"
    "\n"
    "Examples:\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10:1201 guard learn plc.handshake\n"
    "  ac500-host guard show plc.handshake\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10:1201 --handshake plc.handshake read Main.counter\n";

void addGuardCommand(CLI::App& app, Options& options) {
    GuardOptions& guard = options.guard;
    CLI::App* command =
        app.add_subcommand("guard", "Learn which bytes of the handshake stay the same with one program");
    command->require_subcommand(1);
    command->footer(std::string(kGuardFooter) + "\n" + footer());
    const auto addAction = [&](GuardAction action, const char* name, const char* summary) {
        CLI::App* added = command->add_subcommand(name, summary);
        added->callback([&options, action] {
            options.command = Command::Guard;
            options.guard.action = action;
        });
        added->add_option("FILE", guard.file, "What was learned")->type_name("")->required();
        added->footer(std::string(kGuardFooter) + "\n" + footer());
        return added;
    };
    CLI::App* learn = addAction(GuardAction::Learn, "learn", "Connect several times and add what is seen to the file");
    learn->add_option("--connections", guard.connections, "How many connections are made, one after the other")
        ->type_name("N")
        ->check(CLI::Range(2, 1000))
        ->capture_default_str();
    learn->add_flag("--force", guard.force, "Bytes that differ from what was learned no longer count");
    addAction(GuardAction::Show, "show", "Tell what was learned; needs neither driver nor PLC");
}

// A record is that of one session.
std::string guardProblem(const Options& options) {
    const bool isLearn = options.command == Command::Guard && options.guard.action == GuardAction::Learn;
    const RecordOptions& record = options.record;
    if (isLearn && !options.handshake.empty()) {
        return "guard learn has no --handshake: it adds to FILE";
    }
    return isLearn && (!record.file.empty() || !record.ringFile.empty() || !record.when.empty())
               ? "guard learn makes several connections and records none of them"
               : std::string();
}

// What a session of its own is told or does, and one of a gateway is not and does not. Empty when all is well.
std::string viaProblem(const Options& options, const Settings& given) {
    constexpr std::array<Command, 6> kServed{Command::Read, Command::Watch,  Command::Write,
                                             Command::Undo, Command::Status, Command::Tags};
    const RecordOptions& record = options.record;
    if (options.via.empty()) {
        return std::string();
    }
    if (std::find(kServed.begin(), kServed.end(), options.command) == kServed.end()) {
        return "--via is for read, watch, write, undo, status and tags; this command needs no session, or one of its "
               "own";
    }
    const std::pair<const char*, bool> others[]{
        {"--plc", given.plc.has_value()},
        {"--driver", given.driver.has_value()},
        {"--cycle", given.cycleMs.has_value()},
        {"--max-request-words", given.maxRequestWords.has_value()},
        {"--retry-limit", given.retryLimit.has_value()},
        {"--handshake", !options.handshake.empty()},
        {"--simulator", options.simulator},
        {"--record", !record.file.empty()},
        {"--record-ring", !record.ringFile.empty()},
        {"--record-when", !record.when.empty()},
        {"--audit", !options.write.audit.empty()},
    };
    for (const auto& [name, isGiven] : others) {
        if (isGiven) {
            return fmt::format("{} is the gateway's business: its settings have it; leave it out beside --via", name);
        }
    }
    return std::string();
}

// The commands beside these need the one symbol file.
bool needsSymbols(const Options& options) {
    if (!options.via.empty()) {
        return false;
    }
    const SymbolsOptions& symbols = options.symbolsCommand;
    if (options.command == Command::Replay) {
        return !options.arguments.empty();
    }
    if (options.command == Command::Audit) {
        return false;
    }
    if (options.command == Command::Guard) {
        return options.guard.action == GuardAction::Learn;
    }
    return options.command != Command::Explain && options.command != Command::Doctor &&
           (options.command != Command::Symbols || (symbols.action == SymbolsAction::Export && symbols.file.empty()));
}

ParsedCommandLine usageError(const std::string& what) {
    ParsedCommandLine parsed;
    parsed.failure = {FailureKind::Usage, what + "; ac500-host --help shows how it is used"};
    return parsed;
}

ParsedCommandLine fileError(const std::string& fileName, const std::vector<symbol_file::Problem>& problems) {
    ParsedCommandLine parsed;
    parsed.failure.kind = FailureKind::File;
    for (const symbol_file::Problem& problem : problems) {
        parsed.failure.text += (parsed.failure.text.empty() ? "" : "\n") + describe(fileName, problem);
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
    app.footer(footer());
    app.set_version_flag("--version", "ac500-host " AC500_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    app.fallthrough();
    addConnectionOptions(app, options, given);
    GivenSizes sizes;
    addRecordOptions(app, options.record, sizes);
    for (const CommandRow& row : kCommands) {
        addCommand(app, row, options);
    }
    addAuditCommands(app, options);
    addSymbolsCommand(app, options);
    addReplayCommand(app, options);
    addGuardCommand(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return helpOrError(app, error);
    }
    const std::vector<std::string> words(argv, argv + argc);
    if (const std::string problem = whatIfProblem(options, words); !problem.empty()) {
        return usageError(problem);
    }
    if (const std::string problem = console::emptyValueProblem(app, words); !problem.empty()) {
        return usageError(problem);
    }
    if (const std::string problem = apply(sizes, &options.record); !problem.empty()) {
        return usageError(problem);
    }
    if (const std::string problem = guardProblem(options); !problem.empty()) {
        return usageError(problem);
    }
    if (const std::string problem = viaProblem(options, given.settings); !problem.empty()) {
        return usageError(problem);
    }
    if (options.command == Command::Guard) {
        options.record.memoryBytes = 0;
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
    options.logLevel = events::levelOf(given.logLevel.empty() && given.isVerbose ? "warning" : given.logLevel);
    options.logFormat = given.logFormat == "json" ? events::LogFormat::Json : events::LogFormat::Text;
    if (const std::string problem = outputProblem(options, given.configFile); !problem.empty()) {
        return usageError(problem);
    }
    ParsedCommandLine parsed;
    parsed.options = options;
    return parsed;
}

}  // namespace ac500::host
