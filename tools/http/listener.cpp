#include "tools/http/listener.h"

#include <cerrno>
#include <cstring>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/text/address.h"

namespace ac500::http {

namespace {

// What the system holds of a client's unread answers; it takes twice as much for its own purposes. Small, so that a client
// that reads nothing is soon known as one.
constexpr int kSendBufferBytes = 32 * 1024;

// Until a client whose network is gone is given up: one that acknowledges nothing of what it is sent.
constexpr unsigned kAcknowledgeTimeMs = 20000;

struct AddressListDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList lookUp(const std::string& host, std::uint16_t port, std::string* error) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int code = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) {
        *error = host + ": " + gai_strerror(code);
        return nullptr;
    }
    return AddressList(list);
}

bool listenOn(int descriptor, const addrinfo& address) {
    const int yes = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes);
    setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &kAcknowledgeTimeMs, sizeof kAcknowledgeTimeMs);
    return bind(descriptor, address.ai_addr, address.ai_addrlen) == 0 && listen(descriptor, SOMAXCONN) == 0;
}

}  // namespace

std::unique_ptr<Listener> Listener::open(const std::string& host, std::uint16_t port, std::string* error) {
    const AddressList list = lookUp(host, port, error);
    if (!list) {
        return nullptr;
    }
    const int descriptor = socket(list->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0 || !listenOn(descriptor, *list)) {
        *error = text::addressText(host, port) + ": " + std::strerror(errno);
        if (descriptor >= 0) {
            close(descriptor);
        }
        return nullptr;
    }
    return std::unique_ptr<Listener>(new Listener(descriptor));
}

Listener::Listener(int descriptor) : descriptor_(descriptor) {
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    getsockname(descriptor_, reinterpret_cast<sockaddr*>(&bound), &length);
    char name[NI_MAXHOST] = "";
    char service[NI_MAXSERV] = "0";
    getnameinfo(reinterpret_cast<const sockaddr*>(&bound), length, name, sizeof name, service, sizeof service,
                NI_NUMERICHOST | NI_NUMERICSERV);
    address_ = name;
    port_ = static_cast<std::uint16_t>(std::strtoul(service, nullptr, 10));
    isLoopback_ = address_ == "::1" || (bound.ss_family == AF_INET && address_.compare(0, 4, "127.") == 0);
}

Listener::~Listener() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

int Listener::release() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

}  // namespace ac500::http
