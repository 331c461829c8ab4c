// TcpProbe is a TCP connection that tells in detail what becomes of it: a port that refuses, a machine that is silent and a
// network that is unreachable have different remedies. Every wait has an end. Used by one thread.
#ifndef AC500_TOOLS_DOCTOR_TCP_PROBE_H
#define AC500_TOOLS_DOCTOR_TCP_PROBE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace ac500::doctor {

using ProbeTime = std::chrono::milliseconds;

struct RouteAnswer {
    bool exists = false;
    std::string local;   // the address of this machine that is used towards the other
    std::string reason;  // without a route, in the system's words
};

enum class ConnectOutcome {
    Connected,
    Refused,      // the machine answers: nothing listens there
    Silent,       // nothing came back in time
    Unreachable,  // a router, or this machine, says that there is no way
    Failed,       // anything else
};

struct ConnectAnswer {
    ConnectOutcome outcome = ConnectOutcome::Failed;
    std::string reason;  // in the system's words
};

enum class ReceiveOutcome { Data, TimedOut, Closed };

struct ReceiveAnswer {
    ReceiveOutcome outcome = ReceiveOutcome::TimedOut;
    std::string bytes;   // Data: at least one
    std::string reason;  // Closed: in words
};

// Is the text an address, rather than a name?
bool isAddress(const std::string& text);

class TcpProbe {
public:
    // `isGivenUp` is asked now and then while something is waited for: true ends every wait at once.
    explicit TcpProbe(std::function<bool()> isGivenUp) : isGivenUp_(std::move(isGivenUp)) {}
    ~TcpProbe() { close(); }
    TcpProbe(const TcpProbe&) = delete;
    TcpProbe& operator=(const TcpProbe&) = delete;

    // Which way a connection would go. Sends nothing.
    static RouteAnswer route(const std::string& address, std::uint16_t port);

    // `address` is an IPv4 or IPv6 address. An earlier connection is closed.
    ConnectAnswer connect(const std::string& address, std::uint16_t port, ProbeTime timeout);
    // All bytes, within the time; false: the connection is gone or nobody takes them.
    bool send(const std::string& bytes, ProbeTime timeout);
    // What arrives within the time; 0 asks for what is there.
    ReceiveAnswer receive(ProbeTime timeout);
    void close();

private:
    bool waitFor(short events, ProbeTime timeout) const;

    const std::function<bool()> isGivenUp_;
    int socket_ = -1;
};

}  // namespace ac500::doctor

#endif
