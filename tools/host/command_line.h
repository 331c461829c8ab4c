// The command line of ac500-host: its options, and what to tell who asks for help or gets them wrong.
#ifndef AC500_TOOLS_HOST_COMMAND_LINE_H
#define AC500_TOOLS_HOST_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/host/transport.h"

namespace ac500::host {

enum class Command { Read, Write, Watch, Tags, Status, Plan, Check, Symbols };

struct PlanOptions {
    double roundTripMs = 1;  // of the network, for one request
    double plcMs = 5;        // in the PLC, for one request
    int whatIfWords = 0;     // the largest size that is tried; 0: none
    bool map = false;
    bool skipWrong = false;  // a tag that does not exist is left out
    std::string svg;         // a file to be written; empty: none
    std::string expect;      // an earlier plan as JSON; empty: none
};

struct CheckOptions {
    std::vector<std::string> writes;  // tags that the panel writes, TAG=VALUE texts, lists of them
    std::vector<std::string> also;    // lists of what other panels write
    bool isStrict = false;            // warnings count as errors
};

enum class SymbolsAction { Import, Export, Diff };

struct SymbolsOptions {
    SymbolsAction action = SymbolsAction::Diff;
    std::string file;       // Import: a table; Export: a symbol file, empty: the one of --symbols; Diff: the old one
    std::string otherFile;  // Diff: the new one
    std::vector<std::string> tags;  // Diff: selections of tags; none: everything
};

struct Options {
    Command command = Command::Status;
    std::vector<std::string> arguments;  // selections of tags, or TAG=VALUE texts and lists of them
    int mostTags = 5000;

    std::string driver;  // empty: look in the usual places
    std::string symbols;
    Endpoint plc;
    int timeoutMs = 2000;
    int cycleMs = 100;
    int waitMs = 5000;
    int maxRequestWords = 100;
    int retryLimit = 2;
    bool json = false;
    bool simulator = false;
    bool verbose = false;

    bool force = false;  // write: also nan and inf
    bool csv = false;    // read, watch, tags
    bool names = false;  // tags: nothing but names
    double seconds = 0;  // watch: 0 is until Ctrl-C
    int intervalMs = 500;
    bool onChange = false;  // watch: only what changed
    std::string when;       // watch: only while this holds; empty: always

    PlanOptions plan;
    CheckOptions check;

    SymbolsOptions symbolsCommand;
};

struct ParsedCommandLine {
    std::optional<Options> options;  // nothing: print `text` and end with `exitCode`
    int exitCode = 0;
    std::string text;
};

ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace ac500::host

#endif
