// What an HTTP client asks, and what it is answered. Plain values.
#ifndef AC500_TOOLS_HTTP_MESSAGE_H
#define AC500_TOOLS_HTTP_MESSAGE_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ac500::http {

using Fields = std::vector<std::pair<std::string, std::string>>;  // in the order in which they came

struct Request {
    std::string method;   // "GET", as it was sent
    std::string path;     // "/api/plant": decoded, without the query
    Fields query;         // decoded
    Fields headers;       // names in lower case
    std::string body;     // of a POST; empty while only the head is there
    std::string address;  // of the client, without a port: "127.0.0.1"
    bool isEncrypted = false;

    // The values of a header, of a name of the query.
    std::vector<std::string> header(const std::string& lowerCaseName) const;
    std::vector<std::string> parameter(const std::string& name) const;
    // The value of the cookie; empty without it, and with two of the name.
    std::string cookie(const std::string& name) const;
};

// A body that comes in parts: a stream of events, a long file. Used on the server's thread alone; destroyed when the last
// part is sent or the client has gone, whichever is first.
class BodySource {
public:
    enum class Next {
        Part,   // there is more to send
        Later,  // nothing now: ask again when the server is woken
        End,
    };
    virtual ~BodySource() = default;
    // Part: *part has something in it. It is asked again when the client has taken that, so a slow client gets fewer parts.
    virtual Next next(std::string* part) = 0;
};

struct Response {
    int status = 200;
    std::string contentType;
    std::string body;
    Fields headers;  // beside those that every answer has
    std::string cacheControl = "no-store";
    std::shared_ptr<BodySource> source;  // in the place of `body`
};

// {"error":{"what":..,"next":..}}: what went wrong, and what to do about it.
Response errorAnswer(int status, const std::string& what, const std::string& next);

// In quotes, as JSON has it; bytes that are no UTF-8 become U+FFFD.
std::string jsonText(const std::string& text);

}  // namespace ac500::http

#endif
