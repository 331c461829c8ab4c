#include "tools/text/address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace ac500::text {

namespace {

std::optional<std::uint16_t> parsePort(const std::string& text) {
    std::uint16_t port = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && rest == end ? std::optional<std::uint16_t>(port) : std::nullopt;
}

// No name and no address has one.
bool isBlankOrControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    constexpr unsigned char kBlank = 0x20;
    constexpr unsigned char kDelete = 0x7F;
    return byte <= kBlank || byte == kDelete;
}

}  // namespace

std::optional<Address> parseAddress(const std::string& text) {
    const bool isInBrackets = !text.empty() && text.front() == '[';
    const std::size_t hostStart = isInBrackets ? 1 : 0;
    const std::size_t hostEnd = text.find(isInBrackets ? ']' : ':');
    if (isInBrackets && hostEnd == std::string::npos) {
        return std::nullopt;
    }
    Address address{text.substr(hostStart, hostEnd - hostStart), std::nullopt};
    if (std::any_of(address.host.begin(), address.host.end(), isBlankOrControl)) {
        return std::nullopt;
    }
    const std::string rest = hostEnd == std::string::npos ? "" : text.substr(hostEnd + hostStart);
    if (address.host.empty() || rest.empty()) {
        return address.host.empty() ? std::nullopt : std::optional<Address>(address);
    }
    address.port = parsePort(rest.substr(1));
    return rest.front() == ':' && address.port ? std::optional<Address>(address) : std::nullopt;
}

bool isNumericAddress(const std::string& host) {
    in6_addr ignored{};
    return inet_pton(AF_INET, host.c_str(), &ignored) == 1 || inet_pton(AF_INET6, host.c_str(), &ignored) == 1;
}

std::string addressText(const std::string& host, std::uint16_t port) {
    const bool needsBrackets = host.find(':') != std::string::npos;
    return (needsBrackets ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace ac500::text
