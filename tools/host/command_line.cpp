#include "tools/host/command_line.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "tools/console/usage_problem.h"
#include "tools/desk/what_if.h"
#include "tools/host/failure.h"

namespace ac500::host {

namespace {

constexpr char kDescription[] =
    "Reads, writes and watches variables of an AC500 PLC by name, through the communication driver.";

constexpr char kFooter[] =
    "Tags:\n"
    "  Main.motor.speed      a variable\n"
    "  Main.grid[2,3]        an element of an array\n"
    "  Main.recipe[1..5]     some elements of a row\n"
    "  Main.flags.b[3]       a bit of a variable; Main.flags.b[0..7]: some of them\n"
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
    "Values:\n"
    "  TRUE FALSE 1 0        booleans and bits\n"
    "  -12 0x1F              integers; out of range is an error\n"
    "  1.5 2e-3              floats\n"
    "  hello \"hello\"         strings, at most 80 characters\n"
    "  1,2,3                 elements; strings that hold a comma need quotes\n"
    "\n"
    "Exit codes, and the word that a message begins with:\n"
    "  0            everything was done\n"
    "  1 usage      the command line or a value is wrong\n"
    "  2 file       the driver or the symbol file cannot be used\n"
    "  3 name       a tag does not exist; plan --expect: it grew\n"
    "  4 tcp        there is no connection to the PLC\n"
    "  5 handshake  the PLC, or what answers in its place, opens no session\n"
    "  6 request    reading or writing failed\n"
    "  7 output     the standard output cannot be written\n"
    "  130          ended by Ctrl-C before it was done\n"
    "  141          ended because nobody reads its output any more\n"
    "\n"
    "Examples:\n"
    "  ac500-host --symbols plant.json tags 'Main.tank*'\n"
    "  ac500-host --symbols plant.json tags --json 'Main.tank*' | ac500-host --symbols plant.json read -\n"
    "  ac500-host --symbols plant.json --plc 192.168.0.10:1201 read Main.counter\n"
    "  ac500-host --symbols plant.json write Main.setpoint=21.5 Main.flags.b[3]=1\n"
    "  ac500-host --symbols plant.json watch --seconds 10 Main.counter \"Main.recipe[1..5]\"\n";

constexpr char kWriteFooter[] =
    "Two targets of one command may not overlap.\n"
    "\n"
    "A bit of a variable is written as the whole variable, which is read just before. Bits of one\n"
    "variable that two panels, or a panel and the PLC's program, write at the same time therefore\n"
    "take each other back. The whole variable is compared with what it was, and what changed in\n"
    "between is told; what comes later is not seen. Variables of type BIT are not affected.\n";

constexpr int kLongestMs = 24 * 60 * 60 * 1000;
constexpr int kMostRequestWords = 32000;
constexpr int kMostRetries = 1000;
constexpr int kMostTags = 1000000;

void addConnectionOptions(CLI::App& app, Options& options, std::string& plc) {
    app.add_option("--driver", options.driver,
                   "The driver library (default: libac500driver.so beside this program, then in ../lib)")
        ->type_name("PATH");
    app.add_option("--symbols", options.symbols, "The symbol file, docs/symbol-file.md")->type_name("PATH")->required();
    app.add_option("--plc", plc, "Where the PLC listens; an IPv6 address stands in brackets: [::1]:1201")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    app.add_option("--timeout", options.timeoutMs, "Longest wait for one reply, and for the connection, in ms")
        ->type_name("MS")
        ->check(CLI::Range(1, kLongestMs))
        ->capture_default_str();
    app.add_option("--wait", options.waitMs, "How long read, write and status keep trying, in ms")
        ->type_name("MS")
        ->check(CLI::Range(1, kLongestMs))
        ->capture_default_str();
    app.add_option("--cycle", options.cycleMs, "Time from one pass over all tags to the next, in ms")
        ->type_name("MS")
        ->check(CLI::Range(0, kLongestMs))
        ->capture_default_str();
    app.add_option("--max-request-words", options.maxRequestWords,
                   "Largest request that the PLC takes, in 16-bit words")
        ->type_name("N")
        ->check(CLI::Range(1, kMostRequestWords))
        ->capture_default_str();
    app.add_option("--retry-limit", options.retryLimit, "Failed replies before the driver gives a request up")
        ->type_name("N")
        ->check(CLI::Range(0, kMostRetries))
        ->capture_default_str();
    app.add_option("--max", options.mostTags, "Most tags that a command takes; more are an error (tags: no limit)")
        ->type_name("N")
        ->check(CLI::Range(1, kMostTags))
        ->capture_default_str();
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
    {Command::Plan, "plan", "Tell what reading tags in every cycle costs; needs the driver, but no PLC", "TAG", 1,
     "What would be read"},
    {Command::Status, "status", "Try every step up to the first read, and tell how far it gets", "TAG", 0,
     "What to read (default: the first variable there is)"},
};

constexpr char kPlanFooter[] =
    "The driver itself is asked: what is counted are the requests that it wants sent in one pass.\n"
    "Whether the PLC takes a larger --max-request-words only the PLC can tell.\n"
    "\n"
    "Exit codes: 0 done, 3 a tag does not exist, or with --expect the plan grew; others as below.\n";

void addPlanOptions(CLI::App& command, PlanOptions& plan) {
    const auto addTime = [&command](const char* name, double& target, const char* what) {
        command.add_option(name, target, what)
            ->type_name("MS")
            ->check(CLI::Range(0.0, static_cast<double>(kLongestMs)))
            ->capture_default_str();
    };
    addTime("--round-trip", plan.roundTripMs, "Time of one request on the network, both ways, in ms");
    addTime("--plc-time", plan.plcMs, "Time of one request in the PLC, in ms");
    command
        .add_flag("--what-if{500}", plan.whatIfWords,
                  "Try every --max-request-words from 10 to MAX (--what-if=MAX; without it 500), the best first")
        ->check(CLI::Range(desk::kSmallestTriedWords, kMostRequestWords));
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
    if (row.command == Command::Plan) {
        addPlanOptions(*command, options.plan);
    }
    if (row.command == Command::Watch) {
        command->add_option("--interval", options.intervalMs, "Time between two displays, in ms")
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
            ->check(CLI::Range(0.0, kLongestMs / 1000.0));
    }
}

ParsedCommandLine usageError(const std::string& what) {
    ParsedCommandLine parsed;
    parsed.exitCode = exitCodeOf(FailureKind::Usage);
    parsed.text = "usage: " + what + "; ac500-host --help shows how it is used\n";
    return parsed;
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
    std::string plc = options.plc.text();
    CLI::App app(kDescription, "ac500-host");
    app.footer(kFooter);
    app.set_version_flag("--version", "ac500-host " AC500_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    app.fallthrough();
    addConnectionOptions(app, options, plc);
    for (const CommandRow& row : kCommands) {
        addCommand(app, row, options);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return helpOrError(app, error);
    }
    const std::optional<Endpoint> endpoint = parseEndpoint(plc);
    if (!endpoint) {
        return usageError("--plc " + plc + " is no HOST:PORT; write e.g. 192.168.0.10:1201 or [::1]:1201");
    }
    options.plc = *endpoint;
    ParsedCommandLine parsed;
    parsed.options = options;
    return parsed;
}

}  // namespace ac500::host
