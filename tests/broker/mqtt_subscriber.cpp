#include "tests/broker/mqtt_subscriber.h"

#include <gtest/gtest.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include "tests/gateway/gateway_plant.h"

namespace ac500::test {

struct MqttSubscriber::Hooks {
    static MqttSubscriber& of(void* self) { return *static_cast<MqttSubscriber*>(self); }

    static void connected(mosquitto* client, void* self, int code, int, const mosquitto_property*) {
        if (code == 0) {
            mosquitto_subscribe(client, nullptr, of(self).topics_.c_str(), 1);
        }
    }
    static void subscribed(mosquitto*, void* self, int, int, const int*, const mosquitto_property*) {
        const std::lock_guard<std::mutex> lock(of(self).mutex_);
        of(self).isSubscribed_ = true;
    }
    static void arrived(mosquitto*, void* self, const mosquitto_message* message,
                        const mosquitto_property* properties) {
        Received received;
        received.topic = message->topic;
        received.payload.assign(static_cast<const char*>(message->payload),
                                static_cast<std::size_t>(message->payloadlen));
        received.isRetained = message->retain;
        mosquitto_property_read_int32(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &received.expirySeconds, false);
        const std::lock_guard<std::mutex> lock(of(self).mutex_);
        of(self).received_.push_back(std::move(received));
    }
};

namespace {

mosquitto* newClient(void* owner) {
    mosquitto_lib_init();
    return mosquitto_new(("subscriber-" + std::to_string(reinterpret_cast<std::uintptr_t>(owner))).c_str(), false,
                         owner);
}

}  // namespace

MqttSubscriber::MqttSubscriber(std::uint16_t port, const std::string& topics, const std::string& user,
                               const std::string& password)
    : mosquitto_(newClient(this)), topics_(topics) {
    mosquitto_int_option(mosquitto_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_connect_v5_callback_set(mosquitto_, &Hooks::connected);
    mosquitto_subscribe_v5_callback_set(mosquitto_, &Hooks::subscribed);
    mosquitto_message_v5_callback_set(mosquitto_, &Hooks::arrived);
    if (!user.empty()) {
        mosquitto_username_pw_set(mosquitto_, user.c_str(), password.c_str());
    }
    mosquitto_property* properties = nullptr;
    mosquitto_property_add_int32(&properties, MQTT_PROP_SESSION_EXPIRY_INTERVAL, 600);
    EXPECT_EQ(mosquitto_connect_bind_v5(mosquitto_, "127.0.0.1", port, 60, nullptr, properties), MOSQ_ERR_SUCCESS);
    mosquitto_property_free_all(&properties);
    mosquitto_loop_start(mosquitto_);
    EXPECT_TRUE(eventually([this] {
        const std::lock_guard<std::mutex> lock(mutex_);
        return isSubscribed_;
    }));
}

MqttSubscriber::~MqttSubscriber() {
    mosquitto_disconnect(mosquitto_);
    mosquitto_loop_stop(mosquitto_, false);
    mosquitto_destroy(mosquitto_);
}

std::vector<MqttSubscriber::Received> MqttSubscriber::received() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return received_;
}

std::vector<nlohmann::json> MqttSubscriber::on(const std::string& topic) const {
    std::vector<nlohmann::json> found;
    for (const Received& one : received()) {
        if (one.topic == topic) {
            found.push_back(nlohmann::json::parse(one.payload, nullptr, false));
        }
    }
    return found;
}

nlohmann::json MqttSubscriber::last(const std::string& topic, const std::string& key) const {
    const std::vector<nlohmann::json> all = on(topic);
    return all.empty() ? nlohmann::json() : all.back().value(key, nlohmann::json());
}

void MqttSubscriber::publish(const std::string& topic, const std::string& payload, bool isRetained,
                             std::uint32_t expirySeconds) {
    mosquitto_property* properties = nullptr;
    if (expirySeconds != 0) {
        mosquitto_property_add_int32(&properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, expirySeconds);
    }
    EXPECT_EQ(mosquitto_publish_v5(mosquitto_, nullptr, topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                                   1, isRetained, properties),
              MOSQ_ERR_SUCCESS);
    mosquitto_property_free_all(&properties);
}

}  // namespace ac500::test
