#include "tools/broker/broker_trial.h"

#include <poll.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "tools/broker/address_lookup.h"
#include "tools/broker/message_format.h"
#include "tools/broker/mqtt_client.h"

namespace ac500::broker {

namespace {

using host::Milliseconds;
using host::Time;

constexpr char kProbe[] = "check";

Time trialNow() {
    return host::SteadyClock().now();
}

// A client at work, as a door has it, that is waited for.
class TrialClient {
public:
    TrialClient(MqttClient::Settings settings, Milliseconds patience)
        : client_(std::move(settings)), patience_(patience) {}

    // The first event from now on that is of one of these kinds. Nothing: none came in time.
    std::optional<MqttEvent> waitFor(const std::vector<MqttEvent::Kind>& kinds) {
        for (const Time end = trialNow() + patience_; trialNow() < end;) {
            while (!events_.empty()) {
                const MqttEvent event = events_.front();
                events_.erase(events_.begin());
                if (std::find(kinds.begin(), kinds.end(), event.kind) != kinds.end()) {
                    return event;
                }
            }
            turn(end);
        }
        return std::nullopt;
    }

    // Nothing was heard, or the connection has ended: why. Empty: it was published.
    std::string publish(const Publication& publication) {
        std::string problem;
        if (!client_.isConnected()) {
            return "the connection was lost";
        }
        if (!client_.connection()->publish(publication, trialNow(), &problem) && !problem.empty()) {
            return problem;
        }
        const std::optional<MqttEvent> answer =
            waitFor({MqttEvent::Kind::Acknowledged, MqttEvent::Kind::Refused, MqttEvent::Kind::Ended});
        return !answer                                         ? "the broker does not answer"
               : answer->kind == MqttEvent::Kind::Acknowledged ? ""
                                                               : answer->text;
    }

    std::string subscribe(const std::string& topic) {
        if (!client_.isConnected()) {
            return "the connection was lost";
        }
        client_.connection()->subscribe(topic);
        const std::optional<MqttEvent> answer =
            waitFor({MqttEvent::Kind::Subscribed, MqttEvent::Kind::SubscriptionRefused, MqttEvent::Kind::Ended});
        return !answer ? "the broker does not answer" : answer->kind == MqttEvent::Kind::Subscribed ? "" : answer->text;
    }

    MqttClient& client() { return client_; }

private:
    void turn(Time end) {
        std::vector<pollfd> waits;
        client_.addWaits(&waits);
        const Time when = std::min(end, client_.whenNext().value_or(end));
        const Time left = std::max(when - trialNow(), Time(0));
        ::poll(waits.data(), waits.size(), static_cast<int>(std::chrono::ceil<Milliseconds>(left).count()));
        client_.work(waits, trialNow());
        for (MqttEvent& event : client_.takeEvents()) {
            events_.push_back(std::move(event));
        }
    }

    MqttClient client_;
    const Milliseconds patience_;
    std::vector<MqttEvent> events_;
};

class ServerTrial {
public:
    ServerTrial(const BrokerSettings& settings, Server server, const TrialTerms& terms)
        : settings_(settings),
          server_(std::move(server)),
          terms_(terms),
          probe_(settings.topic + "/" + kProbe),
          will_("will " + std::to_string(trialNow().count())) {}

    bool run() {
        if (!tryName()) {
            return false;
        }
        TrialClient first(clientSettings("-check"), terms_.patience);
        if (!tryConnection(first)) {
            return false;
        }
        // Without rights neither a large message nor a will can be seen.
        if (tryRights(first)) {
            tryCommands(first);
            trySize(first);
            tryWill(first);
        }
        first.client().disconnect();  // or the broker would tell a will that nobody takes away
        return isGood_;
    }

private:
    bool tell(const char* step, bool isGood, const std::string& text) {
        isGood_ = isGood_ && isGood;
        terms_.tell({server_.text(), step, isGood, text});
        return isGood;
    }

    MqttClient::Settings clientSettings(const char* suffix) const {
        MqttClient::Settings settings = MqttClient::settingsOf(settings_);
        settings.servers = {server_};
        settings.client += suffix;
        settings.willTopic = probe_;
        settings.will = will_;
        settings.connectTime = terms_.patience;
        settings.silence = terms_.patience;
        return settings;
    }

    bool tryName() {
        const AddressLookup lookup(server_.host);
        for (const Time end = trialNow() + terms_.patience; !lookup.isDone() && trialNow() < end;) {
            pollfd wait{lookup.descriptor(), POLLIN, 0};
            ::poll(&wait, 1, 50);
        }
        if (!lookup.isDone()) {
            return tell("name", false,
                        server_.host + " is still being looked up; is the name server of this machine within reach?");
        }
        std::string text;
        for (const std::string& address : lookup.answer().addresses) {
            text += (text.empty() ? "" : ", ") + address;
        }
        return text.empty() ? tell("name", false,
                                   lookup.answer().problem + "; compare the name in \"servers\" with the broker's")
                            : tell("name", true, text);
    }

    bool tryConnection(TrialClient& client) {
        const std::optional<MqttEvent> answer = client.waitFor({MqttEvent::Kind::Connected, MqttEvent::Kind::Ended});
        if (!answer || answer->kind == MqttEvent::Kind::Ended) {
            const std::string begin = server_.text() + ": ";
            const std::string text = answer ? answer->text : "it does not answer";
            return tell("connection", false,
                        text.compare(0, begin.size(), begin) == 0 ? text.substr(begin.size()) : text);
        }
        return tell("connection", true,
                    std::string("MQTT ") + protocolName(settings_.protocol) +
                        (server_.hasTls ? ", TLS to a server that is " + server_.host : ", without TLS") +
                        (settings_.user.empty() ? ", without a login" : ", as " + settings_.user));
    }

    bool tryRights(TrialClient& client) {
        const std::string problem = client.publish({probe_, kProbe, false, std::nullopt, 1});
        const bool isSaid = settings_.protocol == Protocol::Mqtt5;
        return tell("rights", problem.empty(),
                    !problem.empty() ? "nothing can be published on " + probe_ + ": " + problem
                    : isSaid
                        ? probe_ + " can be published"
                        : probe_ + " was taken; MQTT 3.1.1 does not tell whether for want of rights it was dropped");
    }

    void tryCommands(TrialClient& client) {
        if (settings_.commandTags.empty()) {
            return;
        }
        const std::string topic = settings_.topic + "/command";
        const std::string problem = client.subscribe(topic);
        tell("commands", problem.empty(),
             problem.empty() ? topic + " can be subscribed to" : "no commands come by " + topic + ": " + problem);
    }

    void trySize(TrialClient& client) {
        if (!client.client().isConnected()) {
            tell("packet size", false, "the connection was lost");
            return;
        }
        const std::optional<std::uint32_t> largest = client.client().connection()->largestPacket();
        const std::size_t wanted = terms_.largestMessage;
        if (largest && *largest < wanted + kPacketOverheadBytes) {
            tell("packet size", true,
                 "the broker takes " + std::to_string(*largest) + " bytes; larger messages, of up to " +
                     std::to_string(wanted) + ", are cut");
            return;
        }
        const std::string problem = client.publish(
            {probe_, std::string(wanted - std::min(wanted, probe_.size()), ' '), false, std::nullopt, 2});
        tell("packet size", problem.empty(),
             problem.empty() ? "a message of " + std::to_string(wanted) + " bytes was taken"
                             : "a message of " + std::to_string(wanted) + " bytes is not taken: " + problem);
    }

    // The first client goes without a farewell while another one watches.
    void tryWill(TrialClient& first) {
        TrialClient other(clientSettings("-watch"), terms_.patience);
        if (!other.waitFor({MqttEvent::Kind::Connected})) {
            tell("will", false, "no second connection can be made to see it");
            return;
        }
        const std::string problem = other.subscribe(probe_);
        if (!problem.empty()) {
            tell("will", true, "not tried: this user may not subscribe to " + probe_ + ", where it would be seen");
            other.client().disconnect();
            return;
        }
        first.client().giveUp(trialNow());
        bool isSeen = false;
        while (!isSeen) {
            const std::optional<MqttEvent> event = other.waitFor({MqttEvent::Kind::Arrived, MqttEvent::Kind::Ended});
            if (!event || event->kind == MqttEvent::Kind::Ended) {
                break;
            }
            isSeen = event->message.payload == will_;
        }
        tell("will", isSeen,
             isSeen ? "it was told when the connection broke"
                    : "it was not told when the connection broke: may this user publish on and read " + probe_ +
                          ", and are its wills and retained messages allowed?");
        // What is retained there is taken away again.
        other.publish({probe_, "", true, std::nullopt, 3});
        other.client().disconnect();
    }

    const BrokerSettings& settings_;
    const Server server_;
    const TrialTerms& terms_;
    const std::string probe_;
    const std::string will_;  // none of a trial before
    bool isGood_ = true;
};

}  // namespace

bool tryBrokers(const BrokerSettings& settings, const TrialTerms& terms) {
    bool isGood = true;
    for (const Server& server : settings.servers) {
        isGood = ServerTrial(settings, server, terms).run() && isGood;
    }
    return isGood;
}

}  // namespace ac500::broker
