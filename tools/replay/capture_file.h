// CaptureFile makes a capture of what went over the wire, as a file that Wireshark and tshark open (pcapng): bytes that one
// TCP connection after another carried, put into Ethernet, IP and TCP as a network would have carried them.
//
// The bytes and their times are the caller's. The framing is made here: sequence numbers, acknowledgements, checksums, the
// start and end of each connection. Each connection has a port of its own, so that one after a reconnection is told from
// the one before. A connection that carries bytes without having been opened is one that the capture came upon in
// mid-stream: it has no SYN.
//
// Not thread-safe. Nothing here fails; calls that make no sense (closing what is closed) write nothing.
#ifndef AC500_TOOLS_REPLAY_CAPTURE_FILE_H
#define AC500_TOOLS_REPLAY_CAPTURE_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace ac500::replay {

// Microseconds since 1970-01-01 00:00 UTC. Never negative in a capture: what is, is written as 0.
using UtcMicroseconds = std::int64_t;

// An IP address in network byte order: 4 bytes or 16.
struct CaptureAddress {
    std::string bytes;
    std::uint16_t port = 0;
};

enum class Side { Host, Plc };

class CaptureFile {
public:
    // `program` names the writer in the file. The PLC is at `plc`; of an address that is neither 4 nor 16 bytes long, and for
    // the host, addresses are made up: of the loopback network when the PLC is there, else of the one set aside for
    // documents (192.0.2.0/24, 2001:db8::/32).
    CaptureFile(const std::string& program, const CaptureAddress& plc);

    // Each call is one step of the connection at a time; `time` is not before that of the call before, else it is taken
    // for the same.
    void connected(UtcMicroseconds time);
    // An attempt that came to nothing: refused by the PLC, or never answered.
    void connectionRefused(UtcMicroseconds time);
    void connectionUnanswered(UtcMicroseconds time);
    void carried(UtcMicroseconds time, Side from, std::string_view bytes);
    void closed(UtcMicroseconds time, Side by);
    // A remark of the next packet that is written: Wireshark shows it with the packet.
    void remark(const std::string& text);

    // The file so far, without what was taken; complete at any time.
    const std::string& content() const { return content_; }
    // Takes it out: the next content follows it.
    std::string take() { return std::exchange(content_, std::string()); }
    int connections() const { return connections_; }

private:
    struct Peer {
        CaptureAddress address;
        std::uint32_t next = 0;          // sequence number of the next byte it sends
        std::uint32_t acknowledged = 0;  // what it has acknowledged of the other's
    };

    void begin();
    void packet(UtcMicroseconds time, Side from, unsigned flags, std::string_view payload);
    std::string segment(const Peer& from, const Peer& to, unsigned flags, std::string_view payload) const;
    void block(UtcMicroseconds time, const std::string& frame);
    Peer& peer(Side side) { return side == Side::Host ? host_ : plc_; }

    std::string content_;
    Peer host_;
    Peer plc_;
    bool isOpen_ = false;
    int connections_ = 0;
    std::uint16_t packets_ = 0;
    UtcMicroseconds last_ = 0;
    std::string remark_;
};

}  // namespace ac500::replay

#endif
