// BreakingBroker takes one connection after the other, goes on to a step of the conversation, and breaks there.
#ifndef AC500_TESTS_BROKER_BREAKING_BROKER_H
#define AC500_TESTS_BROKER_BREAKING_BROKER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace ac500::test {

enum class BreakingStep {
    Accepted,      // ends the connection before a byte
    Greeted,       // has read CONNECT
    HalfAnswered,  // has sent half of CONNACK
    Answered,      // has sent CONNACK
    Given,         // has read what was published, and acknowledges nothing
    Garbled,       // answers with bytes that are no MQTT
    Refusing,      // speaks MQTT 5, and takes all but the first two publications on .../status
    Silent,        // has sent CONNACK, reads all that comes and acknowledges nothing, until the other end breaks
};

// The conversation is of MQTT 3.1.1 but where said.
class BreakingBroker {
public:
    explicit BreakingBroker(BreakingStep step);
    ~BreakingBroker();
    BreakingBroker(const BreakingBroker&) = delete;
    BreakingBroker& operator=(const BreakingBroker&) = delete;

    std::uint16_t port() const { return port_; }
    int broken() const { return broken_; }  // so many connections
    std::string received() const;           // of the latest connection

private:
    void serve();
    void talk(int connection);
    void takeAllButStatuses(int connection);
    bool waitForBytes(int connection);
    bool takeBytes(int connection);

    const BreakingStep step_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<int> broken_{0};
    std::atomic<bool> isEnding_{false};
    mutable std::mutex mutex_;
    std::string received_;  // mutex_
    std::thread thread_;
};

}  // namespace ac500::test

#endif
