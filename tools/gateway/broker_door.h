// BrokerDoor is the gateway's door to an MQTT broker: it tells there what the plant's board has, as docs/broker.md describes,
// keeps what the broker has not acknowledged, and takes commands when the settings allow them. It has one thread, which waits
// for nobody; nothing of the plant waits for it. When it is slow, it tells the latest values later.
//
// Every function may be called from any thread, but open(), reload() and end(), which belong to the owner.
#ifndef AC500_TOOLS_GATEWAY_BROKER_DOOR_H
#define AC500_TOOLS_GATEWAY_BROKER_DOOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tools/broker/broker_settings.h"
#include "tools/broker/reconnect_pause.h"
#include "tools/events/event_table.h"
#include "tools/gateway/plant.h"

namespace ac500::gateway {

// What metrics tell of a door to a broker.
struct BrokerFigures {
    bool isConnected = false;
    std::uint64_t published = 0;      // messages of values handed to a connection, repeated ones again
    std::uint64_t acknowledged = 0;   // of these, by the broker
    std::uint64_t dropped = 0;        // that a gap record stands for
    std::uint64_t reconnects = 0;     // connections after the first
    std::size_t backlogMessages = 0;  // held, and not acknowledged
    std::uint64_t backlogBytes = 0;
};

class BrokerDoor {
public:
    // What people who run it should know. On the door's thread, and within open(); end() waits for it, so it must not block.
    using Tell = std::function<void(events::EventId, const std::string&)>;

    struct Parts {
        Plant& plant;  // must outlive the door
        broker::BrokerSettings settings;
        std::string settingsHash;  // of the settings file, for the info topic
        std::string build;
        Tell tell;
        broker::ReconnectPause::Limits pause = {};
        host::Milliseconds silence{30000};  // until the broker has acknowledged what was sent first
        host::Milliseconds farewell{2000};  // what end() waits at most for acknowledgements
    };
    // Does not wait for the broker. Null on failure, which *failure tells: tags that are none, a store of another process.
    static std::unique_ptr<BrokerDoor> open(Parts parts, host::Failure* failure);
    // As end().
    ~BrokerDoor();
    BrokerDoor(const BrokerDoor&) = delete;
    BrokerDoor& operator=(const BrokerDoor&) = delete;

    // A clean end: tells that the gateway was ended, keeps what is not acknowledged. To be called before the plant stops,
    // whose end would be told as the PLC's. Idempotent.
    void end();

    // Takes over what a settings file says now, but for what needs a restart. False: nothing is taken over, and *failure
    // says why.
    bool reload(const broker::BrokerSettings& settings, const std::string& settingsHash, host::Failure* failure);

    BrokerFigures figures() const;

private:
    class Clerk;
    explicit BrokerDoor(std::unique_ptr<Clerk> clerk);

    std::unique_ptr<Clerk> clerk_;
};

}  // namespace ac500::gateway

#endif
