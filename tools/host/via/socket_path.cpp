#include "tools/host/via/socket_path.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ac500::via {

namespace {

// What to do about it.
const char* remedyOf(int error) {
    switch (error) {
        case ENOENT:
            return "is ac500-gateway running, and does its \"socket\" setting name this path?";
        case ECONNREFUSED:
            return "nobody listens there any more; is ac500-gateway running?";
        case EACCES:
        case EPERM:
            return "the gateway's settings say who may use its socket (\"socket\": its \"mode\"), and so do its "
                   "folders";
        case EAGAIN:
            return "too many wait to be let in; try again";
        case ENOTSOCK:
        case EPROTOTYPE:
            return "it is no socket of a gateway";
        default:
            return "is it the socket of a gateway?";
    }
}

}  // namespace

std::optional<sockaddr_un> socketAddress(const std::string& path, std::string* error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty()) {
        *error = "the path of the socket is empty";
        return std::nullopt;
    }
    if (path.size() >= sizeof address.sun_path) {
        *error = fmt::format("{}: the path of a socket has at most {} bytes, this one {}; use a shorter one", path,
                             sizeof address.sun_path - 1, path.size());
        return std::nullopt;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int connectTo(const std::string& path, host::Milliseconds patience, std::string* error) {
    const std::optional<sockaddr_un> address = socketAddress(path, error);
    if (!address) {
        return -1;
    }
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    timeval wait{};
    wait.tv_sec = static_cast<time_t>(patience.count() / 1000);
    wait.tv_usec = static_cast<suseconds_t>(1000 * (patience.count() % 1000));
    if (descriptor >= 0 && ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait) == 0 &&
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 &&
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK) == 0) {
        return descriptor;
    }
    const int failed = errno;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    *error = fmt::format("no gateway is reached at {}: {}; {}", path, std::strerror(failed), remedyOf(failed));
    return -1;
}

}  // namespace ac500::via
