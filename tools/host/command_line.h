// The command line of ac500-host: its options, and what to tell who asks for help or gets them wrong.
#ifndef AC500_TOOLS_HOST_COMMAND_LINE_H
#define AC500_TOOLS_HOST_COMMAND_LINE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/events/log_line.h"
#include "tools/host/failure.h"
#include "tools/host/transport.h"

namespace ac500::host {

enum class Command {
    Read,
    Write,
    Watch,
    Tags,
    Status,
    Plan,
    Check,
    Symbols,
    Explain,
    Replay,
    Doctor,
    Audit,
    Undo,
    Guard
};

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

struct DoctorOptions {
    int withinSeconds = 30;      // the longest that all of it takes
    std::string bundle;          // a file to be written; empty: none
    bool withoutNames = false;   // in the bundle: tags, hosts, addresses, users and paths get other names
    bool withoutValues = false;  // in the bundle: values get other values
    bool isConfirmed = false;    // the bundle is written without asking
};

struct WriteOptions {
    bool force = false;                   // also nan and inf
    std::vector<std::string> conditions;  // TAG=VALUE: what the PLC must hold
    double expiresSeconds = 0;            // 0: no expiry of its own
    bool isDryRun = false;                // undo, too
    std::string audit;                    // a file; empty: none
};

// Of audit show and undo.
struct AuditOptions {
    std::string file;
    std::vector<std::string> tags;  // texts or patterns; none: all
    std::string since;              // UTC as the audit writes it, or the beginning of it; empty: from the first
    std::string until;              // likewise; what begins with it belongs to it
    int last = 1;                   // undo: so many writes
};

enum class SymbolsAction { Import, Export, Diff };

struct SymbolsOptions {
    SymbolsAction action = SymbolsAction::Diff;
    std::string file;       // Import: a table; Export: a symbol file, empty: the one of --symbols; Diff: the old one
    std::string otherFile;  // Diff: the new one
    bool forWireshark = false;      // Export: the map for the dissector, no table
    std::vector<std::string> tags;  // Diff: selections of tags; none: everything
};

enum class GuardAction { Learn, Show };

struct GuardOptions {
    GuardAction action = GuardAction::Show;
    std::string file;     // what was learned of the replies to the handshake
    int connections = 3;  // Learn: so many are made
    bool force = false;   // Learn: bytes that differ from what was learned no longer count
};

struct ReplayOptions {
    std::string file;
    std::string until;    // a moment of the record; empty: its end
    double speed = 0;     // of the time between two events; 0: none is kept
    bool events = false;  // list them
    std::string shrink;   // a record to be written; empty: none
    double shrinkSeconds = 60;
    std::string pcap;      // a capture to be written; empty: none
    std::string makeTest;  // a folder for a test; empty: none
};

// Of all commands that talk to a PLC.
struct RecordOptions {
    std::string file;  // the whole run; empty: none
    std::string ringFile;
    std::size_t ringBytes = 0;                       // of the ring on disk
    std::size_t memoryBytes = std::size_t{8} << 20;  // 0: nothing in memory
    std::string when;                                // "failure", or a condition; empty: never
    std::string saveFile = "ac500-host.record";

    bool isOn() const { return memoryBytes > 0 || !file.empty() || !ringFile.empty(); }
};

struct Options {
    Command command = Command::Status;
    std::vector<std::string> arguments;  // selections of tags, or TAG=VALUE texts and lists of them
    int mostTags = 5000;

    std::string driver;  // empty: look in the usual places
    std::string symbols;
    Endpoint plc;
    std::string via;  // the socket of a gateway; empty: a session of its own
    int timeoutMs = 2000;
    int cycleMs = 100;
    int waitMs = 5000;
    int maxRequestWords = 100;
    int retryLimit = 2;
    bool json = false;
    bool simulator = false;
    std::optional<events::Level> logLevel;  // of the events that are told; nothing: none is
    events::LogFormat logFormat = events::LogFormat::Text;

    bool csv = false;    // read, watch, tags
    bool names = false;  // tags: nothing but names
    double seconds = 0;  // watch: 0 is until Ctrl-C
    int intervalMs = 500;
    bool onChange = false;  // watch: only what changed
    std::string when;       // watch: only while this holds; empty: always

    WriteOptions write;
    AuditOptions audit;
    PlanOptions plan;
    CheckOptions check;
    DoctorOptions doctor;

    SymbolsOptions symbolsCommand;

    GuardOptions guard;
    std::string handshake;  // a file of guard learn to compare with; empty: none

    ReplayOptions replay;
    RecordOptions record;
};

struct ParsedCommandLine {
    std::optional<Options> options;  // nothing: tell what is wrong, or print the text if nothing is
    Failure failure;
    std::string text;
};

ParsedCommandLine parseCommandLine(int argc, const char* const* argv);

}  // namespace ac500::host

#endif
