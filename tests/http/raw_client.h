// RawClient speaks HTTP by hand, over a socket whose every property a test chooses: what it sends, when, and from which
// address of this machine.
#ifndef AC500_TESTS_HTTP_RAW_CLIENT_H
#define AC500_TESTS_HTTP_RAW_CLIENT_H

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/pace.h"

namespace ac500::test {

struct Reply {
    int status = 0;  // 0: there was none
    std::string head;
    std::string body;

    // The value of a header, by its name as it is sent; "(none)" without it.
    std::string header(const std::string& name) const {
        const std::size_t at = head.find("\r\n" + name + ": ");
        if (at == std::string::npos) {
            return "(none)";
        }
        const std::size_t begin = at + name.size() + 4;
        return head.substr(begin, head.find("\r\n", begin) - begin);
    }
};

class RawClient {
public:
    // `receiveBytes`: what the system takes for a client that reads nothing; 0: what it likes.
    explicit RawClient(std::uint16_t port, const std::string& from = "127.0.0.1", int receiveBytes = 0)
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receiveBytes > 0) {
            setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBytes, sizeof receiveBytes);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        inet_pton(AF_INET, from.c_str(), &address.sin_addr);
        bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
        address.sin_port = htons(port);
        isConnected_ = connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~RawClient() { close(socket_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool isConnected() const { return isConnected_; }
    int descriptor() const { return socket_; }

    // False: the server has closed the connection.
    bool send(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    // Until `text` has come; false when the time is over or the connection closed before.
    bool receiveUntil(const std::string& text, int milliseconds = paced(5000)) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (received_.find(text) == std::string::npos) {
            if (!receiveSome(end)) {
                return false;
            }
        }
        return true;
    }

    // Has the server closed the connection, within that time? What it sent before is taken.
    bool isClosedWithin(int milliseconds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (receiveSome(end)) {
        }
        return isClosed_;
    }

    // What was received and not taken.
    const std::string& received() const { return received_; }
    void forgetReceived() { received_.clear(); }

    // The answer to what was sent. Of a body in chunks, nothing but what came with the head.
    Reply reply(int milliseconds = paced(5000)) {
        Reply reply;
        if (!receiveUntil("\r\n\r\n", milliseconds)) {
            return reply;
        }
        const std::size_t headBytes = received_.find("\r\n\r\n") + 4;
        reply.head = received_.substr(0, headBytes);
        reply.status = std::atoi(reply.head.c_str() + reply.head.find(' '));
        received_.erase(0, headBytes);
        const std::size_t bodyBytes = static_cast<std::size_t>(std::atoi(reply.header("Content-Length").c_str()));
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (received_.size() < bodyBytes && receiveSome(end)) {
        }
        reply.body = received_.substr(0, bodyBytes);
        received_.erase(0, bodyBytes);
        return reply;
    }

    Reply ask(const std::string& request) { return send(request) ? reply() : Reply(); }

private:
    bool receiveSome(std::chrono::steady_clock::time_point end) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        pollfd waiting{socket_, POLLIN, 0};
        if (left <= 0 || isClosed_ || poll(&waiting, 1, static_cast<int>(left)) <= 0) {
            return false;
        }
        char bytes[65536];
        const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
        if (count <= 0) {
            isClosed_ = true;
            return false;
        }
        received_.append(bytes, static_cast<std::size_t>(count));
        return true;
    }

    int socket_;
    bool isConnected_ = false;
    bool isClosed_ = false;
    std::string received_;
};

}  // namespace ac500::test

#endif
