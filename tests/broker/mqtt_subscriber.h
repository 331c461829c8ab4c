// MqttSubscriber keeps what a broker sends it, as a program of the plant would: it subscribes with QoS 1 and a lasting session,
// so that a broker that is restarted sends what it had not got yet. It uses the library directly, not what is tested.
#ifndef AC500_TESTS_BROKER_MQTT_SUBSCRIBER_H
#define AC500_TESTS_BROKER_MQTT_SUBSCRIBER_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

struct mosquitto;

namespace ac500::test {

class MqttSubscriber {
public:
    struct Received {
        std::string topic;
        std::string payload;
        bool isRetained = false;
        std::uint32_t expirySeconds = 0;  // 0: none was told
    };

    // Of a broker on 127.0.0.1. Waits until it is subscribed to `topics`.
    MqttSubscriber(std::uint16_t port, const std::string& topics, const std::string& user = "",
                   const std::string& password = "");
    ~MqttSubscriber();
    MqttSubscriber(const MqttSubscriber&) = delete;
    MqttSubscriber& operator=(const MqttSubscriber&) = delete;

    std::vector<Received> received() const;
    // Those of one topic, the payloads as JSON.
    std::vector<nlohmann::json> on(const std::string& topic) const;
    // The last of `key` on a topic; null without one.
    nlohmann::json last(const std::string& topic, const std::string& key) const;

    void publish(const std::string& topic, const std::string& payload, bool isRetained = false,
                 std::uint32_t expirySeconds = 0);

private:
    struct Hooks;

    mosquitto* const mosquitto_;
    const std::string topics_;
    mutable std::mutex mutex_;
    bool isSubscribed_ = false;       // mutex_
    std::vector<Received> received_;  // mutex_
};

}  // namespace ac500::test

#endif
