// Listener is the socket that a server takes connections from.
#ifndef AC500_TOOLS_HTTP_LISTENER_H
#define AC500_TOOLS_HTTP_LISTENER_H

#include <cstdint>
#include <memory>
#include <string>

namespace ac500::http {

class Listener {
public:
    // `host` is an IP address or a name that the system knows as one; port 0 picks a free one. Null: *error says why.
    static std::unique_ptr<Listener> open(const std::string& host, std::uint16_t port, std::string* error);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int descriptor() const { return descriptor_; }
    // The descriptor belongs to the caller now.
    int release();
    const std::string& address() const { return address_; }  // "127.0.0.1", "::1"
    std::uint16_t port() const { return port_; }
    // Can nobody but this machine reach it?
    bool isLoopback() const { return isLoopback_; }
    // Does it take connections to every address of this machine?
    bool isEveryAddress() const { return address_ == "0.0.0.0" || address_ == "::"; }

private:
    explicit Listener(int descriptor);

    int descriptor_;
    std::string address_;
    std::uint16_t port_ = 0;
    bool isLoopback_ = false;
};

}  // namespace ac500::http

#endif
