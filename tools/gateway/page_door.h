// PageDoor is the gateway's door for browsers and for programs that speak HTTP: it serves the page, and the plant behind it
// as JSON. docs/security.md says what it promises; docs/schema/gateway-*.schema.json what it answers.
//
// Opened and closed by one thread; it works by itself in between.
#ifndef AC500_TOOLS_GATEWAY_PAGE_DOOR_H
#define AC500_TOOLS_GATEWAY_PAGE_DOOR_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tools/events/event_table.h"
#include "tools/gateway/broker_door.h"
#include "tools/gateway/gateway_settings.h"
#include "tools/gateway/plant.h"

namespace ac500::gateway {

// Is that what the PLC holds, as far as anybody knows? Only then it may be written over. After a failed write it is once
// the value was read again, less than two seconds ago.
bool isSure(const host::TagValue& value);

class PageDoor {
public:
    // What people who run it should know. On a thread of the door.
    using Warn = std::function<void(events::EventId, const std::string&)>;

    struct Parts {
        Plant& plant;  // must outlive the door
        PageSettings page;
        std::string tokens;  // path of the file; empty: nobody can sign in
        Warn warn;
        // How many programs are at the socket, for the metrics; any thread of the door. Empty: there is no socket.
        std::function<std::size_t()> programs = {};
        // What metrics tell of the door to a broker. As above.
        std::function<BrokerFigures()> broker = {};
        // How often what lasts is warned of again: an address that others can reach, certificates and tokens that cannot
        // be used.
        std::chrono::milliseconds warnInterval = std::chrono::minutes(10);
    };
    // Null: *error says why. An address that others can reach needs tokens.
    static std::unique_ptr<PageDoor> open(const Parts& parts, std::string* error);
    // Ends all streams.
    ~PageDoor();
    PageDoor(const PageDoor&) = delete;
    PageDoor& operator=(const PageDoor&) = delete;

    std::uint16_t port() const;
    // "http://127.0.0.1:8500/"
    std::string url() const;
    std::size_t viewers() const;

private:
    class Desk;
    explicit PageDoor(std::unique_ptr<Desk> desk);

    std::unique_ptr<Desk> desk_;
};

}  // namespace ac500::gateway

#endif
