// Network addresses as both programs take and print them: "127.0.0.1:1201", "plc.local:1201", "[::1]:1201". Pure
// functions.
#ifndef AC500_TOOLS_TEXT_ADDRESS_H
#define AC500_TOOLS_TEXT_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>

namespace ac500::text {

struct Address {
    std::string host;  // a name or an IP address, without brackets
    std::optional<std::uint16_t> port;
};

// Nothing for an empty host, one with a blank or a control character, a port outside 0 to 65535, and an address that holds
// colons and does not stand in brackets.
std::optional<Address> parseAddress(const std::string& text);

// Is it an address of IPv4 or IPv6 in numbers, and no name?
bool isNumericAddress(const std::string& host);

std::string addressText(const std::string& host, std::uint16_t port);

}  // namespace ac500::text

#endif
