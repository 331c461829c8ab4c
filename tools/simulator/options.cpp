#include "tools/simulator/options.h"

#include <CLI/CLI.hpp>

#include "tools/console/number_range.h"
#include "tools/console/usage_problem.h"
#include "tools/text/address.h"

namespace ac500::sim {

namespace {

constexpr const char* kDescription =
    "ac500-sim: a simulated AC500 PLC. Serves the areas and variables of a symbol file over TCP until it is\n"
    "interrupted. Prints the address it listens on as its first line.";

constexpr const char* kReservedHelp =
    "Variables of the simulator itself (scope Sim, area 9), for clients that want to provoke a fault:\n"
    "  write Sim.fault_kind = 1 delay, 2 silence, 3 late, 4 truncate, 5 length, 6 status, 7 fragments, 8 glue,\n"
    "  9 reset, 10 restart, 11 repeat; before it, or in the same request, Sim.fault_count (replies, default 1),\n"
    "  Sim.fault_arg (argument, 0: default) and Sim.fault_service (service code, 0: any).\n"
    "  write Sim.program = 1 or 2 to load the program of --symbols or of --load; read it for the one that is loaded.\n"
    "  read Sim.faults_left, faults_done, boot_count, requests, refused, connections, uptime_ms.\n"
    "\n"
    "Exit codes: 0 ended by a signal or --run-seconds, 1 wrong usage, 2 symbol file, 3 cannot listen,\n"
    "  4 the standard output cannot be written, 141 nobody reads it any more. What cannot be written to the error\n"
    "  output is lost and changes nothing.";

// CLI11 keeps what it parses into here.
struct Raw {
    Options options;
    int port = 1201;
    std::string address = Options().address;
    std::vector<std::string> rules;
    std::string logLevel;  // empty: not said
    std::string logFormat = "text";
    double requestSeconds = TcpLimits().requestMs / 1000.0;
    double idleSeconds = TcpLimits().idleMs / 1000.0;
};

constexpr double kLongestSeconds = 1e6;

int milliseconds(double seconds) {
    return static_cast<int>(seconds * 1000);
}

void declare(CLI::App& app, Raw& raw) {
    Options& options = raw.options;
    app.add_option("--symbols", options.symbols, "symbol file (JSON): areas, variables, signals")
        ->required()
        ->type_name("FILE");
    app.add_option("--port", raw.port, "TCP port; 0 picks a free one")
        ->check(CLI::Range(0, 65535).description(""))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--address", raw.address,
                   "IP address to listen on, IPv6 in brackets: [::1]; nothing protects the memory that is served")
        ->type_name("IP[:PORT]")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "seed of session bytes, random walks and fault rates")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--fault", raw.rules, "fault rule, may be repeated; see below")
        ->allow_extra_args(false)
        ->type_name("RULE");
    app.add_option("--run-seconds", options.runSeconds,
                   "end by itself after so many seconds; 0: without end, until a signal comes")
        ->check(console::numberFrom(0.0, kLongestSeconds).description(""))
        ->type_name("S");
    CLI::Option* load = app.add_option("--load", options.load,
                                       "symbol file of another program, which --at or a client loads (Sim.program); "
                                       "connections and session bytes stay")
                            ->type_name("FILE");
    app.add_option("--at", options.loadAt, "load the program of --load after so many seconds")
        ->check(console::numberFrom(0.0, kLongestSeconds).description(""))
        ->type_name("S")
        ->needs(load);
    app.add_option("--max-clients", options.limits.maxClients, "clients at a time")
        ->check(CLI::Range(1, 1000).description(""))
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--request-seconds", raw.requestSeconds, "time for a whole request from its first byte")
        ->check(console::numberFrom(0.001, kLongestSeconds).description(""))
        ->type_name("S")
        ->capture_default_str();
    app.add_option("--idle-seconds", raw.idleSeconds,
                   "with all places taken, a client that has asked nothing for so long makes room for another")
        ->check(console::numberFrom(0.0, kLongestSeconds).description(""))
        ->type_name("S")
        ->capture_default_str();
    app.add_option("--max-reply", options.mostReplyBytes,
                   "longest payload of a reply, in bytes; a read that needs a longer one is refused")
        ->check(
            CLI::Range(static_cast<int>(wire::kStatusBytes), static_cast<int>(wire::kMaxPayloadBytes)).description(""))
        ->type_name("N")
        ->capture_default_str();
    app.set_version_flag("--version", "ac500-sim " AC500_VERSION, "print the version and exit");
    CLI::Option* quiet = app.add_flag("--quiet", options.quiet, "no events on the error output");
    app.add_flag("--verbose", options.verbose, "every request on the error output, with tags and values")
        ->excludes(quiet);
    app.add_option("--log-level", raw.logLevel, "only events of this level and above on the error output")
        ->check(CLI::IsMember({"debug", "info", "warning", "error"}))
        ->excludes(quiet)
        ->type_name("LEVEL");
    app.add_option("--log-format", raw.logFormat, "how the error output is written: text, or json, an object per line")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    app.footer("\n" + faultRuleHelp() + "\n" + kReservedHelp);
}

ParsedOptions finished(int exitCode, std::string text) {
    ParsedOptions parsed;
    parsed.exitCode = exitCode;
    parsed.text = std::move(text);
    return parsed;
}

ParsedOptions usageError(const std::string& what) {
    return finished(kExitUsage, "ac500-sim: " + what + "\nTry ac500-sim --help.\n");
}

ParsedOptions complete(Raw raw, bool isPortGiven) {
    const std::optional<text::Address> address = text::parseAddress(raw.address);
    if (!address) {
        return usageError("--address " + raw.address + " is no IP[:PORT]; write e.g. 127.0.0.1 or [::1]:1201");
    }
    if (address->port && isPortGiven) {
        return usageError("--address " + raw.address + " and --port both give a port; leave one out");
    }
    raw.options.address = address->host;
    raw.options.port = address->port.value_or(static_cast<std::uint16_t>(raw.port));
    for (const std::string& text : raw.rules) {
        std::string error;
        const std::optional<FaultRule> rule = parseFaultRule(text, &error);
        if (!rule) {
            return usageError(error);
        }
        raw.options.faults.push_back(*rule);
    }
    raw.options.limits.requestMs = milliseconds(raw.requestSeconds);
    raw.options.limits.idleMs = milliseconds(raw.idleSeconds);
    raw.options.logLevel =
        events::levelOf(raw.logLevel).value_or(raw.options.verbose ? events::Level::Debug : events::Level::Info);
    raw.options.logFormat = raw.logFormat == "json" ? events::LogFormat::Json : events::LogFormat::Text;
    ParsedOptions parsed;
    parsed.run = true;
    parsed.options = raw.options;
    return parsed;
}

}  // namespace

ParsedOptions parseOptions(const std::vector<std::string>& arguments) {
    Raw raw;
    CLI::App app(kDescription, "ac500-sim");
    declare(app, raw);
    // CLI11 takes a vector from its end, and leaves in it what it does not know.
    std::vector<std::string> fromEnd(arguments.rbegin(), arguments.rend());
    try {
        app.parse(fromEnd);
    } catch (const CLI::CallForHelp&) {
        return finished(kExitGood, app.help());
    } catch (const CLI::CallForVersion& version) {
        return finished(kExitGood, std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        return usageError(console::usageProblem(app, error));
    }
    if (const std::string problem = console::emptyValueProblem(app, arguments); !problem.empty()) {
        return usageError(problem);
    }
    return complete(std::move(raw), app.count("--port") > 0);
}

}  // namespace ac500::sim
