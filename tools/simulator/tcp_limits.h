// What the simulated PLC grants the clients of its TcpServer. A plain value.
#ifndef AC500_TOOLS_SIMULATOR_TCP_LIMITS_H
#define AC500_TOOLS_SIMULATOR_TCP_LIMITS_H

#include <cstdint>

namespace ac500::sim {

struct TcpLimits {
    // When so many are connected, a new client takes the place of the one that has waited longest for its first good
    // request; if there is none, of the one whose last good request is longest ago and at least idleMs; else the new
    // one is closed at once. So connections that ask nothing cannot keep out those that do.
    int maxClients = 64;
    int idleMs = 10000;

    int requestMs = 10000;                      // from the first byte of a request to its last; then it is closed
    std::int64_t maxUnsentBytes = 1024 * 1024;  // a client that lets more replies pile up is reset
    int maxLateReplies = 64;                    // pending late replies of one client; its next request waits beyond,
    std::int64_t maxLateBytes = 1024 * 1024;    // and likewise beyond so many bytes of them
    int drainMs = 1000;                         // how long a client that is to be closed may take to end its side
};

}  // namespace ac500::sim

#endif
