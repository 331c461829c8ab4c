#include "tools/host/transport.h"

#include "tools/text/address.h"

namespace ac500::host {

std::string Endpoint::text() const {
    return text::addressText(host, port);
}

std::optional<Endpoint> parseEndpoint(const std::string& text) {
    const std::optional<text::Address> address = text::parseAddress(text);
    if (!address || address->port == 0) {
        return std::nullopt;
    }
    return Endpoint{address->host, address->port.value_or(Endpoint().port)};
}

}  // namespace ac500::host
