// Transport is the byte stream to the PLC, as the poll loop sees it. One connection at a time; used by one thread.
#ifndef AC500_TOOLS_HOST_TRANSPORT_H
#define AC500_TOOLS_HOST_TRANSPORT_H

#include <QtCore/QByteArray>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/host/clock.h"

namespace ac500::host {

struct Endpoint {
    std::string host = "127.0.0.1";
    std::uint16_t port = 1201;
    std::string text() const;  // "127.0.0.1:1201", "[::1]:1201"
};

// "host", "host:port" or "[ipv6]:port". Nothing for an empty host and for a port outside 1 to 65535.
std::optional<Endpoint> parseEndpoint(const std::string& text);

enum class ConnectStatus { InProgress, Connected, Failed };

struct ConnectResult {
    ConnectStatus status = ConnectStatus::InProgress;
    std::string reason;  // Failed: in words, e.g. "Connection refused"
};

enum class ReceiveStatus {
    Data,      // at least one byte
    TimedOut,  // nothing came within the time; the connection is up as far as anyone knows
    Closed,    // the connection is gone, by either side or by an error, and every byte was delivered before
};

// Zero bytes never mean anything by themselves: Data always carries some, the two others never do.
struct ReceiveResult {
    ReceiveStatus status = ReceiveStatus::TimedOut;
    QByteArray bytes;
    std::string reason;  // Closed: in words
};

class Transport {
public:
    virtual ~Transport() = default;

    // Starts connecting; an earlier connection is closed first, and bytes of it are never delivered afterwards.
    virtual void connect(const Endpoint& endpoint) = 0;
    // Waits for the connection, at most `timeout`. Failed is for good; InProgress may come sooner than the time is over.
    virtual ConnectResult waitConnected(Milliseconds timeout) = 0;
    // Sends all bytes, or returns false: the connection is gone, or the peer takes nothing any more. False comes within
    // a limited time, however slowly the peer reads, and does not say how many bytes got out.
    virtual bool send(const QByteArray& bytes) = 0;
    // Waits for bytes, at most `timeout`; 0 asks for what has arrived already. Yields a limited number of bytes at a time,
    // however many there are.
    virtual ReceiveResult receive(Milliseconds timeout) = 0;
    // Closes at once; unread bytes are thrown away. Without a connection it does nothing.
    virtual void close() = 0;
};

}  // namespace ac500::host

#endif
