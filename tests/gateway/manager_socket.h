// What a service manager listens on (NOTIFY_SOCKET).
#ifndef AC500_TESTS_GATEWAY_MANAGER_SOCKET_H
#define AC500_TESTS_GATEWAY_MANAGER_SOCKET_H

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace ac500::test {

// A datagram socket as the manager has one.
class ManagerSocket {
public:
    // `name`: a path, or "@NAME".
    explicit ManagerSocket(const std::string& name) : descriptor_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name.front() == '@') {
            address.sun_path[0] = '\0';
        }
        isBound_ = ::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address),
                          static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())) == 0;
    }
    ~ManagerSocket() { ::close(descriptor_); }
    ManagerSocket(const ManagerSocket&) = delete;
    ManagerSocket& operator=(const ManagerSocket&) = delete;

    bool isBound() const { return isBound_; }
    // The next message; empty: there is none.
    std::string next() const {
        char buffer[256];
        const ssize_t size = ::recv(descriptor_, buffer, sizeof buffer, 0);
        return size <= 0 ? std::string() : std::string(buffer, static_cast<std::size_t>(size));
    }

private:
    const int descriptor_;
    bool isBound_ = false;
};

}  // namespace ac500::test

#endif
