#include "tools/host/transport.h"

#include <charconv>

namespace ac500::host {

namespace {

std::optional<std::uint16_t> parsePort(const std::string& text) {
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end || port == 0) {
        return std::nullopt;
    }
    return port;
}

}  // namespace

std::optional<Endpoint> parseEndpoint(const std::string& text) {
    Endpoint endpoint;
    std::string::size_type hostEnd = text.rfind(':');
    if (!text.empty() && text.front() == '[') {
        const std::string::size_type bracket = text.find(']');
        if (bracket == std::string::npos) {
            return std::nullopt;
        }
        endpoint.host = text.substr(1, bracket - 1);
        hostEnd = bracket + 1 < text.size() ? bracket + 1 : std::string::npos;
    } else {
        endpoint.host = text.substr(0, hostEnd);
    }
    if (endpoint.host.empty() || (hostEnd != std::string::npos && text[hostEnd] != ':')) {
        return std::nullopt;
    }
    if (hostEnd == std::string::npos) {
        return endpoint;
    }
    const std::optional<std::uint16_t> port = parsePort(text.substr(hostEnd + 1));
    if (!port) {
        return std::nullopt;
    }
    endpoint.port = *port;
    return endpoint;
}

}  // namespace ac500::host
