// Server is an HTTP server with a bound on everything that a client can make grow: connections, of one address and
// together; the head of a request (8 KB) and its body; the time in which a request has to be whole, in which an answer is
// to be taken, and in which a client that is sent a stream may take nothing of it. It knows nothing of what it serves.
//
// One thread serves all connections; a stream that has nothing to send waits without holding a thread. A second thread
// answers what is said to be slow, one request after the other; a third ends connections that are overdue. Every answer
// has the headers that keep a browser from taking it for more than it is.
//
// wakeStreams() and tlsProblem() may be called from any thread; the rest belongs to one.
#ifndef AC500_TOOLS_HTTP_SERVER_H
#define AC500_TOOLS_HTTP_SERVER_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "tools/http/listener.h"
#include "tools/http/message.h"

namespace ac500::http {

struct ServerSettings {
    std::string certificateFile;  // both or neither; with them the server speaks TLS 1.2 and 1.3, and nothing else
    std::string keyFile;
    unsigned connections = 128;
    unsigned connectionsPerAddress = 32;
    std::size_t bodyBytes = 64 * 1024;
    // From the opening of a connection, or the end of the answer before, until a request is whole.
    std::chrono::milliseconds requestTime{10000};
    // Until the client has taken an answer; of one that comes in parts, until it has taken the next part.
    std::chrono::milliseconds answerTime{20000};
};

// What the server serves.
class Site {
public:
    struct Admission {
        std::optional<Response> refusal;
        bool isSlow =
            false;  // answered on the thread for what is slow: nothing else waits for it but what is slow, too
    };
    virtual ~Site() = default;
    // By the head alone, before a body is taken. On the thread of the connections.
    virtual Admission admit(const Request& head) = 0;
    // REQUIRES: admitted. On the thread of the connections, or on that for what is slow.
    virtual Response answer(const Request& request) = 0;
};

class Server {
public:
    // `site` must outlive the server. Null: *error says why.
    static std::unique_ptr<Server> start(std::unique_ptr<Listener> listener, const ServerSettings& settings, Site& site,
                                         std::string* error);
    // Ends all connections and joins the threads. The sources of bodies are gone then.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Asks every source that had nothing to send. Does not block.
    void wakeStreams();

    // Why certificate and key as they are now are not used; empty when they are.
    std::string tlsProblem() const;

private:
    class Engine;
    explicit Server(std::unique_ptr<Engine> engine);

    std::unique_ptr<Engine> engine_;
};

}  // namespace ac500::http

#endif
