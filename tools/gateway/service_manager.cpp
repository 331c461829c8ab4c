#include "tools/gateway/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>

namespace ac500::gateway {

namespace {

std::string variable(const char* name) {
    const char* content = std::getenv(name);
    return content == nullptr ? "" : content;
}

// A positive whole number and nothing else.
std::optional<std::int64_t> numberIn(const char* text) {
    if (text == nullptr) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    const char* end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    const bool isNumber = error == std::errc() && rest == end && number > 0;
    return isNumber ? std::optional<std::int64_t>(number) : std::nullopt;
}

}  // namespace

ServiceManager ServiceManager::ofProcess() {
    return ServiceManager(variable("NOTIFY_SOCKET"));
}

bool ServiceManager::send(const std::string& message) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (notifySocket_.empty() || notifySocket_.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, notifySocket_.data(), notifySocket_.size());
    if (notifySocket_.front() == '@') {
        address.sun_path[0] = '\0';
    }
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return false;
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + notifySocket_.size());
    const ssize_t sent = ::sendto(descriptor, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                                  reinterpret_cast<const sockaddr*>(&address), length);
    ::close(descriptor);
    return sent == static_cast<ssize_t>(message.size());
}

std::optional<host::Time> watchdogInterval(const char* microseconds, const char* process, std::int64_t ownProcess) {
    const std::optional<std::int64_t> interval = numberIn(microseconds);
    const bool isOurs = process == nullptr || numberIn(process) == ownProcess;
    return interval && isOurs ? std::optional<host::Time>(*interval) : std::nullopt;
}

bool Heartbeat::beats(const SignsOfLife& signs, host::Time now) {
    const bool hasTurned = !turns_ || signs.turns != *turns_;
    if (!lastSign_ || signs.isAway || signs.passes != passes_) {
        lastSign_ = now;
        passes_ = signs.passes;
    }
    if (!hasTurned || now - *lastSign_ > longestPass_) {
        return false;
    }
    turns_ = signs.turns;
    return true;
}

}  // namespace ac500::gateway
