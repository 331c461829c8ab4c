// What a service manager (systemd) is told over the socket that it names in NOTIFY_SOCKET, and when it may believe that the
// gateway works.
#ifndef AC500_TOOLS_GATEWAY_SERVICE_MANAGER_H
#define AC500_TOOLS_GATEWAY_SERVICE_MANAGER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/host/clock.h"

namespace ac500::gateway {

// Used by one thread.
class ServiceManager {
public:
    // `notifySocket`: a path, or "@NAME" of an abstract socket; empty: there is no manager, and nothing is told.
    explicit ServiceManager(std::string notifySocket) : notifySocket_(std::move(notifySocket)) {}
    // As the environment of this process says.
    static ServiceManager ofProcess();

    bool isThere() const { return !notifySocket_.empty(); }

    // Each returns false when nobody takes it.
    bool tellReady() const { return send("READY=1"); }
    bool tellStopping() const { return send("STOPPING=1"); }
    bool tellBeat() const { return send("WATCHDOG=1"); }
    // One line for `systemctl status`.
    bool tellStatus(const std::string& line) const { return send("STATUS=" + line); }

private:
    bool send(const std::string& message) const;

    std::string notifySocket_;
};

// How often the manager wants a beat (WATCHDOG_USEC, when it is meant for this process: WATCHDOG_PID); nothing: not at all.
// Null pointers: the variable is not set.
std::optional<host::Time> watchdogInterval(const char* microseconds, const char* process, std::int64_t ownProcess);

// What shows that a session lives.
struct SignsOfLife {
    std::size_t turns = 0;    // of its loop, so far
    std::int64_t passes = 0;  // over its list, so far
    bool isAway = false;      // the PLC is known to be away: no pass can end
};

// Heartbeat says when a beat is true: the loop has turned, and a pass has ended since the last beat or lately, unless the PLC
// is known to be away. A plain value.
class Heartbeat {
public:
    // `longestPass`: so long a pass may take, pauses between passes included.
    explicit Heartbeat(host::Time longestPass) : longestPass_(longestPass) {}

    bool beats(const SignsOfLife& signs, host::Time now);

private:
    const host::Time longestPass_;
    std::optional<std::size_t> turns_;  // at the last beat
    std::int64_t passes_ = 0;
    std::optional<host::Time> lastSign_;  // when a pass had ended, or the PLC was away
};

}  // namespace ac500::gateway

#endif
