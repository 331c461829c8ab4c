// May this request have been made on purpose by a page of ours, or by a program that means us? Decided by the head of a
// request alone. Other pages that the same browser shows may send requests here, too: each check says which it stops.
// Pure functions, and one plain value.
#ifndef AC500_TOOLS_HTTP_REQUEST_CHECKS_H
#define AC500_TOOLS_HTTP_REQUEST_CHECKS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/http/message.h"

namespace ac500::http {

// The names by which clients may know this server.
class OwnNames {
public:
    // `names`: "gateway.plant", which means that name with `port`, or "gateway.plant:8501". Others are left out.
    // 127.0.0.1, localhost and [::1] are always among them, and so is `address` unless it is every address.
    OwnNames(const std::string& address, std::uint16_t port, bool isEncrypted, const std::vector<std::string>& names);

    // "127.0.0.1:8500". A page of another name that leads to this machine (rebinding) sends its own name.
    bool hasHost(const std::string& host) const;
    // "http://127.0.0.1:8500", of a request for the host "127.0.0.1:8500": a page from elsewhere sends its own, or "null",
    // and one of another of our names is from elsewhere, too.
    bool isOriginOf(const std::string& origin, const std::string& host) const;

private:
    std::string scheme_;
    std::vector<std::string> hosts_;  // in lower case, as a browser writes them
};

// Nothing, or why the request is refused. Of every request: exactly one Host, one of ours.
std::optional<Response> checkHost(const Request& request, const OwnNames& names);

// Of what programs ask beside the page itself: no page from elsewhere has asked it. A browser says where it comes from
// in Sec-Fetch-Site, or in Origin; other programs say nothing.
std::optional<Response> checkNotForeign(const Request& request, const OwnNames& names);

// Of what changes something: Origin is that of the request's Host, and the body is JSON, which no form of another page can send.
std::optional<Response> checkChange(const Request& request, const OwnNames& names);

}  // namespace ac500::http

#endif
