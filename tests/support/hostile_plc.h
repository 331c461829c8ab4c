// HostilePlc is what may stand at the other end of a host's connection: it listens on 127.0.0.1 and a free port and does
// to each connection, one after the other, what the test says. Plain sockets, in a thread of its own.
#ifndef AC500_TESTS_SUPPORT_HOSTILE_PLC_H
#define AC500_TESTS_SUPPORT_HOSTILE_PLC_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "tests/support/wire.h"

namespace ac500::test {

class HostilePlc {
public:
    // One connection as its behaviour sees it. Every function answers false, or nothing, once the connection or the
    // whole PLC is at its end; a behaviour then returns, and the connection is closed.
    class Connection {
    public:
        Connection(int socket, const std::atomic<bool>& stop) : socket_(socket), stop_(stop) {}

        // Sends all of it, or as much as the peer takes until the end.
        bool send(const std::string& bytes) {
            std::size_t sent = 0;
            while (sent < bytes.size()) {
                if (!ready(POLLOUT)) {
                    return false;
                }
                const ssize_t part =
                    ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
                if (part < 0) {
                    return false;
                }
                sent += static_cast<std::size_t>(part);
            }
            return true;
        }

        // One whole request; empty at the end.
        std::string request() {
            std::string bytes = receive(6);
            if (bytes.size() < 6) {
                return {};
            }
            const std::size_t payload =
                static_cast<std::uint8_t>(bytes[4]) * 256U + static_cast<std::uint8_t>(bytes[5]);
            const std::string rest = receive(payload);
            return rest.size() < payload ? std::string() : bytes + rest;
        }

        // Takes so many bytes, whatever they are.
        bool take(std::size_t size) { return receive(size).size() == size; }

        // Waits for the peer to end the connection. False: the PLC ended first.
        bool waitForEnd() {
            while (ready(POLLIN)) {
                char byte = 0;
                if (::recv(socket_, &byte, 1, MSG_DONTWAIT) <= 0) {
                    return true;
                }
            }
            return false;
        }

        // False: the PLC is to end.
        bool sleep(int milliseconds) const {
            std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            return !stop_;
        }

        // Answers the two requests of a handshake as it should be done.
        bool handshake() {
            return !request().empty() && send(firstHandshakeReply().toStdString()) && !request().empty() &&
                   send(secondHandshakeReply("00 00 00 00").toStdString());
        }

    private:
        std::string receive(std::size_t size) {
            std::string bytes;
            while (bytes.size() < size) {
                std::string part(size - bytes.size(), '\0');
                if (!ready(POLLIN)) {
                    return bytes;
                }
                const ssize_t got = ::recv(socket_, &part[0], part.size(), MSG_DONTWAIT);
                if (got <= 0) {
                    return bytes;
                }
                bytes.append(part, 0, static_cast<std::size_t>(got));
            }
            return bytes;
        }

        bool ready(short events) const {
            while (!stop_) {
                pollfd entry{socket_, events, 0};
                if (::poll(&entry, 1, 20) == 1) {
                    return true;
                }
            }
            return false;
        }

        const int socket_;
        const std::atomic<bool>& stop_;
    };
    using Behaviour = std::function<void(Connection&)>;

    // A `receiveBuffer` other than 0 keeps the kernel from taking more than about that for a connection. With Later it
    // listens at once, and serves from begin() on: who connects before waits.
    enum class Serving { AtOnce, Later };
    explicit HostilePlc(Behaviour behaviour, int receiveBuffer = 0, Serving serving = Serving::AtOnce)
        : behaviour_(std::move(behaviour)), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receiveBuffer != 0) {
            ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener_, plain, size) == 0 && ::listen(listener_, 16) == 0 &&
            ::getsockname(listener_, plain, &size) == 0) {
            port_ = ntohs(address.sin_port);
        }
        if (serving == Serving::AtOnce) {
            begin();
        }
    }

    ~HostilePlc() {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        ::close(listener_);
    }

    // REQUIRES: Serving::Later. To be called once.
    void begin() {
        thread_ = std::thread([this] { run(); });
    }

    HostilePlc(const HostilePlc&) = delete;
    HostilePlc& operator=(const HostilePlc&) = delete;

    // 0 when the PLC could not be set up.
    std::uint16_t port() const { return port_; }

    // Connections whose behaviour has begun.
    int connections() const { return connections_; }

private:
    void run() {
        while (!stop_) {
            pollfd entry{listener_, POLLIN, 0};
            if (::poll(&entry, 1, 20) != 1) {
                continue;
            }
            const int socket = ::accept(listener_, nullptr, nullptr);
            if (socket < 0) {
                continue;
            }
            ++connections_;
            Connection connection(socket, stop_);
            behaviour_(connection);
            ::close(socket);
        }
    }

    const Behaviour behaviour_;
    const int listener_;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int> connections_{0};
    std::thread thread_;
};

}  // namespace ac500::test

#endif
