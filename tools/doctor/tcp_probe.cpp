#include "tools/doctor/tcp_probe.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace ac500::doctor {

namespace {

constexpr std::size_t kMostReceived = 64 * 1024;
constexpr ProbeTime kGlance{50};

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

std::string errorText(int error) {
    return std::generic_category().message(error);
}

Addresses addressOf(const std::string& text, std::uint16_t port, int kind) {
    addrinfo wanted{};
    wanted.ai_socktype = kind;
    wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (::getaddrinfo(text.c_str(), std::to_string(port).c_str(), &wanted, &found) != 0) {
        return nullptr;
    }
    return Addresses(found);
}

int openSocket(const addrinfo& address) {
    return ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

std::string localAddress(int socket) {
    sockaddr_storage local{};
    socklen_t size = sizeof local;
    auto* plain = reinterpret_cast<sockaddr*>(&local);
    char host[NI_MAXHOST];
    if (::getsockname(socket, plain, &size) != 0 ||
        ::getnameinfo(plain, size, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) {
        return "";
    }
    return host;
}

ConnectAnswer answerOf(int error) {
    switch (error) {
        case 0:
            return {ConnectOutcome::Connected, ""};
        case ECONNREFUSED:
            return {ConnectOutcome::Refused, errorText(error)};
        case ETIMEDOUT:
            return {ConnectOutcome::Silent, errorText(error)};
        case ENETUNREACH:
        case EHOSTUNREACH:
        case ENETDOWN:
        case EHOSTDOWN:
            return {ConnectOutcome::Unreachable, errorText(error)};
        default:
            return {ConnectOutcome::Failed, errorText(error)};
    }
}

}  // namespace

bool isAddress(const std::string& text) {
    return addressOf(text, 1, SOCK_STREAM) != nullptr;
}

RouteAnswer TcpProbe::route(const std::string& address, std::uint16_t port) {
    // A datagram socket that is connected has chosen its way, and nothing was sent.
    const Addresses to = addressOf(address, port, SOCK_DGRAM);
    if (to == nullptr) {
        return {false, "", "no address"};
    }
    const int socket = openSocket(*to);
    if (socket < 0) {
        return {false, "", errorText(errno)};
    }
    RouteAnswer answer;
    if (::connect(socket, to->ai_addr, to->ai_addrlen) == 0) {
        answer = {true, localAddress(socket), ""};
    } else {
        answer.reason = errorText(errno);
    }
    ::close(socket);
    return answer;
}

ConnectAnswer TcpProbe::connect(const std::string& address, std::uint16_t port, ProbeTime timeout) {
    close();
    const Addresses to = addressOf(address, port, SOCK_STREAM);
    if (to == nullptr) {
        return {ConnectOutcome::Failed, "no address"};
    }
    socket_ = openSocket(*to);
    if (socket_ < 0) {
        return answerOf(errno);
    }
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(socket_, to->ai_addr, to->ai_addrlen) == 0) {
        return answerOf(0);
    }
    if (errno != EINPROGRESS) {
        return answerOf(errno);
    }
    if (!waitFor(POLLOUT, timeout)) {
        return {ConnectOutcome::Silent, "no answer in time"};
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size);
    return answerOf(error);
}

bool TcpProbe::send(const std::string& bytes, ProbeTime timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t part = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (part >= 0) {
            sent += static_cast<std::size_t>(part);
            continue;
        }
        const auto left = std::chrono::ceil<ProbeTime>(deadline - std::chrono::steady_clock::now());
        const bool mayWait = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        if (!mayWait || left <= ProbeTime(0) || !waitFor(POLLOUT, left)) {
            return false;
        }
    }
    return true;
}

ReceiveAnswer TcpProbe::receive(ProbeTime timeout) {
    if (!waitFor(POLLIN, timeout)) {
        return {};
    }
    std::string bytes(kMostReceived, '\0');
    const ssize_t got = ::recv(socket_, &bytes[0], bytes.size(), 0);
    if (got > 0) {
        bytes.resize(static_cast<std::size_t>(got));
        return {ReceiveOutcome::Data, bytes, ""};
    }
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        return {};
    }
    return {ReceiveOutcome::Closed, "", got == 0 ? "closed by the other side" : errorText(errno)};
}

void TcpProbe::close() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
    socket_ = -1;
}

bool TcpProbe::waitFor(short events, ProbeTime timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::ceil<ProbeTime>(deadline - std::chrono::steady_clock::now());
        const ProbeTime slice = std::clamp(left, ProbeTime(0), kGlance);
        pollfd entry{socket_, events, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(slice.count()));
        if (ready > 0) {
            return true;
        }
        if (left <= slice || isGivenUp_() || (ready < 0 && errno != EINTR)) {
            return false;
        }
    }
}

}  // namespace ac500::doctor
