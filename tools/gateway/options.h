// The command line of ac500-gateway.
#ifndef AC500_TOOLS_GATEWAY_OPTIONS_H
#define AC500_TOOLS_GATEWAY_OPTIONS_H

#include <string>
#include <vector>

#include "tools/events/log_line.h"

namespace ac500::gateway {

enum class Command {
    Serve,
    Check,  // the settings and what they name, without the PLC
    Token,  // a new token for a person or a program
};

struct Options {
    Command command = Command::Serve;
    std::string settings;      // Serve and Check: the settings file
    bool triesBroker = false;  // Check: the brokers, too
    std::string name;          // Token: whose it is
    std::string right;         // Token: "view" or "write"
    events::Level logLevel = events::Level::Info;
    events::LogFormat logFormat = events::LogFormat::Text;
};

struct ParsedOptions {
    Options options;
    bool run = false;  // false: `text` is all there is to say, then exit with `exitCode`
    std::string text;  // help (exit code 0) or error
    int exitCode = 0;
};

// `arguments` without the program's name.
ParsedOptions parseOptions(std::vector<std::string> arguments);

}  // namespace ac500::gateway

#endif
