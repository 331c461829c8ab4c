#include "tools/http/request_checks.h"

#include <algorithm>

#include "tools/text/address.h"

namespace ac500::http {

namespace {

std::string lowerCase(std::string text) {
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return text;
}

bool isJson(const std::string& contentType) {
    const std::string type = lowerCase(contentType.substr(0, contentType.find(';')));
    const std::size_t last = type.find_last_not_of(" \t");
    return last != std::string::npos && type.substr(0, last + 1) == "application/json";
}

// Absent is allowed; twice, or from elsewhere, is not. "none": the user typed the address.
bool isOwnFetch(const Request& request) {
    const std::vector<std::string> site = request.header("sec-fetch-site");
    return site.empty() || (site.size() == 1 && (site.front() == "same-origin" || site.front() == "none"));
}

Response foreign() {
    return errorAnswer(403, "the request comes from a page of another origin", "open the page of this server itself");
}

}  // namespace

OwnNames::OwnNames(const std::string& address, std::uint16_t port, bool isEncrypted,
                   const std::vector<std::string>& names)
    : scheme_(isEncrypted ? "https://" : "http://") {
    const std::uint16_t usualPort = isEncrypted ? 443 : 80;
    const auto add = [&](const std::string& name, std::uint16_t namePort) {
        const std::string host = lowerCase(text::addressText(name, namePort));
        hosts_.push_back(host);
        if (namePort == usualPort) {
            hosts_.push_back(host.substr(0, host.rfind(':')));  // browsers leave it out
        }
    };
    for (const char* const local : {"127.0.0.1", "localhost", "::1"}) {
        add(local, port);
    }
    if (address != "0.0.0.0" && address != "::") {
        add(address, port);
    }
    for (const std::string& name : names) {
        if (const std::optional<text::Address> parsed = text::parseAddress(name)) {
            add(parsed->host, parsed->port.value_or(port));
        }
    }
}

bool OwnNames::hasHost(const std::string& host) const {
    return std::find(hosts_.begin(), hosts_.end(), lowerCase(host)) != hosts_.end();
}

bool OwnNames::isOriginOf(const std::string& origin, const std::string& host) const {
    return hasHost(host) && lowerCase(origin) == scheme_ + lowerCase(host);
}

namespace {

bool isOwnOrigin(const Request& request, const std::vector<std::string>& origins, const OwnNames& names) {
    const std::vector<std::string> hosts = request.header("host");
    return origins.size() == 1 && hosts.size() == 1 && names.isOriginOf(origins.front(), hosts.front());
}

}  // namespace

std::optional<Response> checkHost(const Request& request, const OwnNames& names) {
    const std::vector<std::string> hosts = request.header("host");
    if (hosts.size() == 1 && names.hasHost(hosts.front())) {
        return std::nullopt;
    }
    return errorAnswer(421, "this server does not go by the name in the request's Host",
                       "open it by its address, or add the name to \"hosts\" in its settings");
}

std::optional<Response> checkNotForeign(const Request& request, const OwnNames& names) {
    const std::vector<std::string> origins = request.header("origin");
    const bool isOwn = origins.empty() || isOwnOrigin(request, origins, names);
    if (isOwn && isOwnFetch(request)) {
        return std::nullopt;
    }
    return foreign();
}

std::optional<Response> checkChange(const Request& request, const OwnNames& names) {
    const std::vector<std::string> origins = request.header("origin");
    if (!isOwnOrigin(request, origins, names)) {
        return origins.empty() ? errorAnswer(403, "the request has no Origin",
                                             "send the address of this server as Origin, as a browser does")
                               : foreign();
    }
    const std::vector<std::string> site = request.header("sec-fetch-site");
    if (!site.empty() && (site.size() != 1 || site.front() != "same-origin")) {
        return foreign();
    }
    const std::vector<std::string> types = request.header("content-type");
    if (types.size() != 1 || !isJson(types.front())) {
        return errorAnswer(415, "the body is to be JSON", "send it with Content-Type: application/json");
    }
    return std::nullopt;
}

}  // namespace ac500::http
