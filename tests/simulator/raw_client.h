// A TCP client with nothing of a driver in it: sends bytes, receives bytes, and tells how the connection ended.
// Blocking, with a time limit on everything.
#ifndef AC500_TESTS_SIMULATOR_RAW_CLIENT_H
#define AC500_TESTS_SIMULATOR_RAW_CLIENT_H

#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>

#include "tests/simulator/support.h"

namespace ac500::sim {

inline int elapsedMs(std::chrono::steady_clock::time_point start) {
    const auto passed = std::chrono::steady_clock::now() - start;
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

class RawClient {
public:
    enum class End { Open, Closed, Reset };

    // Connects to 127.0.0.1. A `receiveBuffer` other than 0 keeps the kernel from taking more than about that.
    explicit RawClient(std::uint16_t port, int receiveBuffer = 0) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int noDelay = 1;  // else a second small request waits for the acknowledgement of the first
        ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof(noDelay));
        if (receiveBuffer != 0) {
            ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

    ~RawClient() { ::close(socket_); }

    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool connected() const { return connected_; }

    // False when the peer does not take all of it in time or has ended the connection.
    bool send(const Bytes& bytes, int limitMs = kLimitMs) {
        std::size_t sent = 0;
        while (sent < bytes.size() && ready(POLLOUT, limitMs)) {
            const ssize_t part = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (part < 0) {
                return false;
            }
            sent += static_cast<std::size_t>(part);
        }
        return sent == bytes.size();
    }

    // Up to `size` bytes: fewer when the time is up or the connection ended.
    Bytes receive(std::size_t size, int limitMs = kLimitMs) {
        Bytes received;
        const auto start = std::chrono::steady_clock::now();
        while (received.size() < size && end_ == End::Open) {
            const int left = limitMs - elapsedMs(start);
            if (left <= 0 || !ready(POLLIN, left)) {
                break;
            }
            take(size - received.size(), &received);
        }
        return received;
    }

    // One whole reply by its length field; less when the time is up or the connection ended.
    Bytes reply(int limitMs = kLimitMs) {
        Bytes bytes = receive(6, limitMs);
        if (bytes.size() == 6) {
            const std::size_t payload =
                static_cast<std::uint8_t>(bytes[4]) * 256U + static_cast<std::uint8_t>(bytes[5]);
            bytes += receive(payload, limitMs);
        }
        return bytes;
    }

    Bytes ask(const Bytes& request, int limitMs = kLimitMs) {
        send(request);
        return reply(limitMs);
    }

    // Waits until the peer ends the connection; bytes that still come are dropped. Open: it did not in time.
    End waitForEnd(int limitMs = kLimitMs) {
        const auto start = std::chrono::steady_clock::now();
        while (end_ == End::Open && elapsedMs(start) < limitMs) {
            receive(65536, 20);
        }
        return end_;
    }

    // Does the handshake and gives what the requests of this connection end with.
    Bytes handshake() {
        ask(helloRequest());
        const Bytes answer = ask(symbolsRequest());
        return answer.size() == 36 ? Bytes{answer[27], answer[26], answer[25], answer[24]} : Bytes();
    }

private:
    static constexpr int kLimitMs = 10000;

    bool ready(short events, int limitMs) {
        pollfd entry{socket_, events, 0};
        return ::poll(&entry, 1, limitMs) == 1;
    }

    void take(std::size_t size, Bytes* received) {
        Bytes chunk(size, '\0');
        const ssize_t part = ::recv(socket_, &chunk[0], size, MSG_DONTWAIT);
        if (part > 0) {
            received->append(chunk, 0, static_cast<std::size_t>(part));
        } else if (part == 0) {
            end_ = End::Closed;
        } else if (errno == ECONNRESET || errno == EPIPE) {
            end_ = End::Reset;
        }
    }

    int socket_;
    bool connected_ = false;
    End end_ = End::Open;
};

inline std::ostream& operator<<(std::ostream& stream, RawClient::End end) {
    const char* const names[] = {"open", "closed", "reset"};
    return stream << names[static_cast<int>(end)];
}

}  // namespace ac500::sim

#endif
