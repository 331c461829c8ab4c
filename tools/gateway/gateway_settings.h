// The settings file of a gateway: JSON, one file for one PLC. Read and checked here; nothing is opened yet that it names.
#ifndef AC500_TOOLS_GATEWAY_GATEWAY_SETTINGS_H
#define AC500_TOOLS_GATEWAY_GATEWAY_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/broker/broker_settings.h"
#include "tools/gateway/plant_settings.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::gateway {

constexpr int kFormatVersion = 1;

// Where people look at it.
struct PageSettings {
    std::string address = "127.0.0.1";  // numeric, IPv6 without brackets
    std::uint16_t port = 8500;          // 0: any free one
    std::vector<std::string> hosts;     // further names that a browser may know it by: "plant1.example:8500"
    std::string certificate;            // PEM, with its chain; empty: no TLS
    std::string key;                    // PEM; set exactly when the certificate is
    int viewers = 32;
    int viewersPerAddress = 4;

    // Can nobody but this machine reach it?
    bool isLocal() const;
};
bool operator==(const PageSettings& a, const PageSettings& b);

// Where programs of this machine use the session (--via).
struct SocketSettings {
    std::string path;
    unsigned mode = 0660;  // permissions of the socket
};
bool operator==(const SocketSettings& a, const SocketSettings& b);

struct GatewaySettings {
    PlantSettings plant;
    std::optional<PageSettings> page = PageSettings();  // nothing: it was turned off
    std::optional<SocketSettings> socket;
    std::string tokens;                            // the file of names and rights; empty: nobody can sign in
    std::optional<broker::BrokerSettings> broker;  // nothing: no values are published
    std::string hash;  // of the file's text, sixteen hexadecimal digits: equal files have equal ones
};

struct LoadedGatewaySettings {
    GatewaySettings settings;                    // usable exactly when `problems` is empty
    std::vector<symbol_file::Problem> problems;  // in line order; all that were found
};

// Paths in the file are relative to the folder that it is in. An unreadable file is a problem at line 0.
LoadedGatewaySettings loadGatewaySettings(const std::string& fileName);
// The same for a text that is already in memory.
LoadedGatewaySettings parseGatewaySettings(const std::string& text, const std::string& folder);

// What a file that was read again asks for. Keys of the broker that can be taken over are, all others need a restart.
broker::SettingsChange compare(const GatewaySettings& running, const GatewaySettings& read);

}  // namespace ac500::gateway

#endif
