// MqttConnection is one connection to one broker, from the first packet to its end: it is never used again, so that no old
// will and no old queue comes along. It stands on Debian's libmosquitto, and does not wait: whoever has it waits for its
// descriptor, lets it work, and takes the events. Used by one thread.
#ifndef AC500_TOOLS_BROKER_MQTT_CONNECTION_H
#define AC500_TOOLS_BROKER_MQTT_CONNECTION_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/broker/broker_settings.h"
#include "tools/broker/tls_context.h"
#include "tools/host/clock.h"

struct mosquitto;
struct mosquitto_message;
struct mqtt5__property;

namespace ac500::broker {

// Sent with QoS 1.
struct Publication {
    std::string topic;
    std::string payload;
    bool isRetained = false;
    std::optional<std::uint32_t> expirySeconds;  // after which the broker may forget it; needs MQTT 5
    std::int64_t number = 0;                     // comes back with its acknowledgement
};

// A message that was subscribed to.
struct ArrivedMessage {
    std::string topic;
    std::string payload;
    bool isRetained = false;
    std::optional<std::uint32_t> expirySeconds;  // what is left of its time, as MQTT 5 tells
};

struct MqttEvent {
    enum class Kind {
        Connected,
        Acknowledged,  // `number`: the broker has it
        Refused,       // `number`, `code`: the broker did not take it, and has not got it
        Subscribed,
        SubscriptionRefused,  // `code`
        Arrived,              // `message`
        Ended,                // or could not be made
    };
    Kind kind = Kind::Ended;
    std::int64_t number = 0;
    int code = 0;      // a reason code of MQTT 5; 128 of all refusals of MQTT 3.1.1
    std::string text;  // what happened, and what to do about it
    ArrivedMessage message;
};

class MqttConnection {
public:
    struct Settings {
        Server server;
        std::string address;  // numeric, of the server
        Protocol protocol = Protocol::Mqtt5;
        std::string client;
        std::string user;  // empty: no login
        std::string password;
        std::string ca, certificate, key;  // as in TlsContext::Settings
        int keepAliveSeconds = 30;
        std::string willTopic;  // empty: no will; else with QoS 1, and retained
        std::string will;
        host::Milliseconds connectTime{10000};  // until the broker has answered
        host::Milliseconds silence{30000};      // until it has acknowledged what was sent first
    };

    MqttConnection(Settings settings, host::Time now);
    // Closes it without a farewell, whereupon the broker tells the will.
    ~MqttConnection();
    MqttConnection(const MqttConnection&) = delete;
    MqttConnection& operator=(const MqttConnection&) = delete;

    // Can be read from or written to (`waitsFor`, as poll() has it) when there is work. -1 once it has ended.
    int descriptor() const;
    short waitsFor() const;
    // To be called then (`ready`, as poll() tells it), and at whenNext() at the latest.
    void work(short ready, host::Time now);
    host::Time whenNext() const;
    // In the order in which they happened; nothing follows Ended.
    std::vector<MqttEvent> takeEvents();

    bool isOpen() const { return isOpen_ && !isEnded_; }
    bool isEnded() const { return isEnded_; }
    // Nothing of one that never was.
    std::optional<host::Time> openedAt() const { return openedAt_; }
    // How many may be on their way, and how large a packet may be; nothing: any size that MQTT has.
    std::size_t mostInFlight() const { return mostInFlight_; }
    std::optional<std::uint32_t> largestPacket() const { return largestPacket_; }

    // Is there room for one more on its way? REQUIRES for all of these: isOpen()
    bool hasRoom() const { return inFlight_.size() < mostInFlight_; }
    std::size_t inFlight() const { return inFlight_.size(); }
    // False: it is not on its way. *problem says why; empty when the connection has ended.
    bool publish(const Publication& publication, host::Time now, std::string* problem);
    void subscribe(const std::string& topic);
    // Says farewell: the broker forgets the will. What is on its way is not waited for.
    void disconnect();

private:
    struct InFlight {
        int packet = 0;
        std::int64_t number = 0;
        host::Time sent{0};
    };
    struct Hooks;

    bool prepare();
    bool prepareTls();
    bool check(int code);  // of the library; ends the connection for one that is wrong
    void end(const std::string& text);
    const char* hint() const;                 // to who ends a connection without a word
    std::string systemText(int error) const;  // errno
    std::string textOf(int code) const;       // of the library
    void finishConnecting();
    void opened(int code, const mqtt5__property* properties);
    void acknowledged(int packet, int code);
    void subscribed(int code);
    void arrived(const mosquitto_message& message, const mqtt5__property* properties);
    void add(MqttEvent event) { events_.push_back(std::move(event)); }

    const Settings settings_;
    const host::Time begun_;
    std::unique_ptr<TlsContext> tls_;  // null: without TLS; before mosquitto_, which uses it
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> mosquitto_;
    host::Time now_;
    host::Time caredAt_;
    std::optional<host::Time> openedAt_;
    bool hasConnected_ = false;  // the TCP connection is made
    bool isOpen_ = false;
    bool hasAcknowledged_ = false;  // anything, or refused it
    bool isEnded_ = false;
    std::string complaint_;  // the last of the library
    std::size_t mostInFlight_ = 20;
    std::optional<std::uint32_t> largestPacket_;
    std::deque<InFlight> inFlight_;  // in the order of sending
    std::vector<MqttEvent> events_;
};

}  // namespace ac500::broker

#endif
