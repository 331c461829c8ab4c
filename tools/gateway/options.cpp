#include "tools/gateway/options.h"

#include <algorithm>
#include <utility>

#include <CLI/CLI.hpp>

#include "tools/console/usage_problem.h"
#include "tools/host/failure.h"

namespace ac500::gateway {

namespace {

constexpr const char* kAbout =
    "ac500-gateway: one session with an AC500 PLC, and doors to it: a page for people, a socket for programs of this\n"
    "machine (ac500-host --via), MQTT brokers, metrics. One process serves one PLC, as one settings file says.";

constexpr const char* kFooter =
    "\nExit codes: 0 ended by a signal, or nothing is wrong; 1 wrong usage; 2 settings, symbols or driver; 3 a tag "
    "that does\n"
    "  not resolve; 4 an address or a socket that cannot be listened on, or a broker that cannot be used; 7 the\n"
    "  standard output cannot be written.";

constexpr const char* kSettingsHelp = "settings file (JSON); docs/gateway.md says what it may hold";

struct RawOptions {
    Options options;
    std::string logLevel = "info";
    std::string logFormat = "text";
};

void declareOptions(CLI::App& app, RawOptions& raw) {
    app.add_option("SETTINGS", raw.options.settings, kSettingsHelp);
    app.add_option("--log-level", raw.logLevel, "only events of this level and above on the error output")
        ->check(CLI::IsMember({"debug", "info", "warning", "error"}))
        ->type_name("LEVEL")
        ->capture_default_str();
    app.add_option("--log-format", raw.logFormat, "how the error output is written: text, or json, an object per line")
        ->check(CLI::IsMember({"text", "json"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    app.set_version_flag("--version", "ac500-gateway " AC500_VERSION, "print the version and exit");
    app.require_subcommand(0, 1);
    app.footer(kFooter);

    CLI::App* check = app.add_subcommand("check", "check the settings and what they name, without the PLC");
    check->fallthrough();
    check->add_option("SETTINGS", raw.options.settings, kSettingsHelp)->required();
    check->add_flag("--broker", raw.options.triesBroker,
                    "also try the brokers: name, TLS, login, rights, will and packet size");
    check->callback([&raw] { raw.options.command = Command::Check; });

    CLI::App* token = app.add_subcommand(
        "token", "make a token for a person or a program: it is shown once, its line is for the file");
    token->fallthrough();
    token->add_option("NAME", raw.options.name, "whose it is; writes are audited under this name")->required();
    token->add_option("RIGHT", raw.options.right, "what it is good for")
        ->required()
        ->check(CLI::IsMember({"view", "write"}));
    token->callback([&raw] { raw.options.command = Command::Token; });
}

ParsedOptions finishedOptions(int exitCode, std::string text) {
    ParsedOptions parsed;
    parsed.exitCode = exitCode;
    parsed.text = std::move(text);
    return parsed;
}

ParsedOptions usageError(const std::string& what) {
    return finishedOptions(host::exitCodeOf(host::FailureKind::Usage),
                           "ac500-gateway: " + what + "\nTry ac500-gateway --help.\n");
}

}  // namespace

ParsedOptions parseOptions(std::vector<std::string> arguments) {
    RawOptions raw;
    CLI::App app(kAbout, "ac500-gateway");
    declareOptions(app, raw);
    // CLI11 takes a vector from its end.
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        return finishedOptions(0, app.help());
    } catch (const CLI::CallForVersion& version) {
        return finishedOptions(0, std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        return usageError(console::usageProblem(app, error));
    }
    if (raw.options.command != Command::Token && raw.options.settings.empty()) {
        return usageError("SETTINGS is missing: name the settings file");
    }
    raw.options.logLevel = events::levelOf(raw.logLevel).value_or(events::Level::Info);
    raw.options.logFormat = raw.logFormat == "json" ? events::LogFormat::Json : events::LogFormat::Text;
    ParsedOptions parsed;
    parsed.run = true;
    parsed.options = raw.options;
    return parsed;
}

}  // namespace ac500::gateway
