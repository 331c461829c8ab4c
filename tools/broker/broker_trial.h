// A trial of the brokers that settings name, for who sets a gateway up: name, connection with TLS and login, rights, will and
// packet size, a line for each. It goes under client identifiers of its own, to PREFIX/check alone: a gateway that is at work
// does not notice.
#ifndef AC500_TOOLS_BROKER_BROKER_TRIAL_H
#define AC500_TOOLS_BROKER_BROKER_TRIAL_H

#include <cstddef>
#include <functional>
#include <string>

#include "tools/broker/broker_settings.h"
#include "tools/host/clock.h"

namespace ac500::broker {

struct TrialLine {
    std::string server;  // "mqtts://broker.example:8883"
    std::string step;    // "name", "connection", "rights", "commands", "will", "packet size"
    bool isGood = false;
    std::string text;  // what was found, and what to do when it is not good
};

struct TrialTerms {
    std::size_t largestMessage = 0;              // bytes of topic and payload, as the gateway would send at most
    host::Milliseconds patience{5000};           // with each step
    std::function<void(const TrialLine&)> tell;  // at once
};

// Tries each server. True when all is good. Takes a few times the patience for each server at most.
bool tryBrokers(const BrokerSettings& settings, const TrialTerms& terms);

}  // namespace ac500::broker

#endif
