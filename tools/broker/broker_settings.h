// What the object "broker" of a gateway's settings file says: to which MQTT brokers values are published, how, and which
// commands are taken. Plain values; read and checked here, but nothing is opened yet that they name.
#ifndef AC500_TOOLS_BROKER_BROKER_SETTINGS_H
#define AC500_TOOLS_BROKER_BROKER_SETTINGS_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/host/clock.h"
#include "tools/symbol_file/json_reader.h"

namespace ac500::broker {

// One of the brokers; they are tried in the order of the settings.
struct Server {
    std::string host;  // a name or an IP address, without brackets
    std::uint16_t port = 1883;
    bool hasTls = false;

    // Is it this machine by its name or address: localhost, 127.0.0.0/8, ::1?
    bool isLoopback() const;
    // "mqtts://broker.example:8883"
    std::string text() const;
};
bool operator==(const Server& a, const Server& b);

enum class Protocol { Mqtt311, Mqtt5 };
enum class Format { Json, Influx };
enum class Batch { Pass, Scope, Tag };

// "3.1.1", "5"; "json", "influx"; "pass", "scope", "tag": as the settings spell them.
const char* protocolName(Protocol protocol);
const char* formatName(Format format);
const char* batchName(Batch batch);

// When a tag is published. Times are counted from when it was published last.
struct ReportTerms {
    double deadBand = 0;                     // in units of the plant; 0: each change
    host::Milliseconds smallestInterval{0};  // not sooner, but for what passes at once; 0: none
    host::Milliseconds largestInterval{0};   // again when it was received again; 0: never
};
bool operator==(const ReportTerms& a, const ReportTerms& b);

// The terms of the tags that one of these names; of rules that name the same tag, the last holds.
struct ReportRule {
    std::vector<std::string> tags;  // tags, scopes, structures, patterns
    ReportTerms terms;
};
bool operator==(const ReportRule& a, const ReportRule& b);

// What is kept for a broker that is away.
struct KeepSettings {
    std::string file;                                // path of the store; empty: memory alone
    std::int64_t bytes = 256 * 1024 * 1024;          // of the store
    std::int64_t memoryBytes = 8 * 1024 * 1024;      // of what waits in memory
    host::Milliseconds age{7LL * 24 * 3600 * 1000};  // what is older is dropped
    int backlogRate = 50;                            // messages a second of what was kept, when the broker is back
};
bool operator==(const KeepSettings& a, const KeepSettings& b);

struct BrokerSettings {
    std::vector<Server> servers;  // at least one
    Protocol protocol = Protocol::Mqtt5;
    std::string client;  // the client identifier
    std::string topic;   // what all topics begin with, without a slash at its end

    std::string ca;            // path of the PEM file of authorities; empty: those of the system
    std::string certificate;   // path, PEM with its chain; empty: none
    std::string key;           // path, PEM; set exactly when the certificate is
    std::string user;          // empty: none
    std::string passwordFile;  // path; empty: none. Nobody but its owner may be able to read the file (mode 0600)
    bool allowsPlainPassword = false;  // user and password may go over a network without TLS

    Format format = Format::Json;
    Batch batch = Batch::Pass;
    bool isRetained = false;              // messages of values
    std::vector<std::string> tags;        // tags, scopes, structures, patterns; empty: all that are read
    std::vector<ReportRule> report;       // in the order of the file
    std::size_t largestMessage = 131072;  // bytes of topic and payload together; a broker may ask for less

    KeepSettings keep;
    std::vector<std::string> commandTags;  // empty: commands are off
    int keepAliveSeconds = 30;
};

// Takes the object `node` out of a settings file. Each mistake goes to *problems, with its line and with what to do; the
// settings are usable exactly when there was none. Paths count from `folder`; `plc` is the PLC's name, or else its address,
// and becomes part of the client identifier where the file gives none.
BrokerSettings readBrokerSettings(const symbol_file::JsonNode& node, const std::filesystem::path& folder,
                                  const std::string& plc, symbol_file::ProblemList* problems);

// What a new file asks for, by keys: "broker.report".
struct SettingsChange {
    std::vector<std::string> taken;    // can be taken over while the door is open
    std::vector<std::string> restart;  // needs a restart of the gateway; until then the old value is in force
    bool needsNewConnection = false;   // something taken holds from the next connection on: servers, login, TLS

    bool isNothing() const { return taken.empty() && restart.empty(); }
};
SettingsChange compare(const BrokerSettings& running, const BrokerSettings& read);

// `read`, but for what needs a restart, which stays as it is in `running`.
BrokerSettings takenOver(const BrokerSettings& running, const BrokerSettings& read);

// The tags of `names` that the entries stand for, as places in `names`, ascending: each entry is a tag, a scope, a structure
// or an array that tags belong to, or a pattern of these, in any case. Entries that stand for none of them are told in
// *problems, begun with `key`.
std::vector<std::size_t> chosenTags(const std::vector<std::string>& entries, const std::vector<std::string>& names,
                                    const std::string& key, std::vector<std::string>* problems);

}  // namespace ac500::broker

#endif
