// MqttClient keeps a connection to one of several brokers: it looks up names, connects, and after each failure tries the next
// of the list, with a pause that ReconnectPause says. It does not wait: whoever has it waits for its descriptors, lets it
// work, and takes the events. Used by one thread.
#ifndef AC500_TOOLS_BROKER_MQTT_CLIENT_H
#define AC500_TOOLS_BROKER_MQTT_CLIENT_H

#include <poll.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/broker/address_lookup.h"
#include "tools/broker/broker_settings.h"
#include "tools/broker/mqtt_connection.h"
#include "tools/broker/reconnect_pause.h"
#include "tools/host/clock.h"

namespace ac500::broker {

// The password in a file: its first line. Nothing when it cannot be read, or others than its owner can; *problem says why.
std::optional<std::string> readPassword(const std::string& path, std::string* problem);

class MqttClient {
public:
    struct Settings {
        std::vector<Server> servers;  // at least one
        Protocol protocol = Protocol::Mqtt5;
        std::string client;
        std::string ca, certificate, key;
        std::string user;
        std::string passwordFile;  // read for each connection
        int keepAliveSeconds = 30;
        std::string willTopic;  // empty: no will
        std::string will;
        ReconnectPause::Limits pause = {};
        host::Milliseconds connectTime{10000};
        host::Milliseconds silence{30000};
    };

    // What the settings of a broker say of it: all but will and times.
    static Settings settingsOf(const BrokerSettings& settings);

    // The first connection is tried by the first work().
    explicit MqttClient(Settings settings);
    // Without a farewell; see disconnect().
    ~MqttClient();
    MqttClient(const MqttClient&) = delete;
    MqttClient& operator=(const MqttClient&) = delete;

    // From the next connection on.
    void setSettings(Settings settings);
    // Tries the first of the list at once. A connection that stands is ended without a farewell: whoever listens at a broker
    // that is left is told the will.
    void reconnect(host::Time now);
    // Ends the connection without a farewell, as one that failed, but tells nothing: the next one comes after a pause.
    void giveUp(host::Time now);

    // Adds what it waits for.
    void addWaits(std::vector<pollfd>* waits) const;
    // To be called when one of these is ready, and at whenNext() at the latest.
    void work(const std::vector<pollfd>& waits, host::Time now);
    std::optional<host::Time> whenNext() const;
    // In the order in which they happened. The texts name the broker that they are about. Each failure ends with one Ended.
    std::vector<MqttEvent> takeEvents();

    bool isConnected() const { return connection_ != nullptr && connection_->isOpen(); }
    // Null without a connection, or while there is none yet; REQUIRES of its functions hold.
    MqttConnection* connection() { return isConnected() ? connection_.get() : nullptr; }
    const Server& server() const { return settings_.servers[server_]; }
    // How often a connection was made, after the first.
    std::uint64_t reconnects() const { return connections_ > 0 ? connections_ - 1 : 0; }
    // Ends the connection with a farewell; no other is made.
    void disconnect();

private:
    void beginLookup();
    void tryAddress(host::Time now);
    void takeFrom(host::Time now);
    void fail(const std::string& text, host::Time now);
    void pauseBeforeNext(host::Time now);
    void noteDuration(host::Time now);

    Settings settings_;
    std::optional<Settings> nextSettings_;
    ReconnectPause pause_;
    std::size_t server_ = 0;
    std::unique_ptr<AddressLookup> lookup_;       // while names are looked up
    std::vector<std::string> addresses_;          // of the server, still to be tried, the next one last
    std::unique_ptr<MqttConnection> connection_;  // while there is one, or is to be
    std::optional<host::Time> pauseEnds_;         // while there is neither
    bool isOver_ = false;
    std::uint64_t connections_ = 0;
    std::vector<MqttEvent> events_;
};

}  // namespace ac500::broker

#endif
