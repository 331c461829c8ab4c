#include "tools/http/server.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <gnutls/abstract.h>
#include <gnutls/gnutls.h>
#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "tools/http/certificate_files.h"

namespace ac500::http {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Moment = SteadyClock::time_point;

constexpr std::size_t kHeadBytes = 8 * 1024;
constexpr std::size_t kConnectionBytes = kHeadBytes + 8 * 1024;  // the head, and the answer's own
constexpr std::size_t kPartBytes = 4 * 1024;                     // of a body, handed to the library at a time
constexpr std::chrono::milliseconds kWatchInterval{100};
constexpr unsigned kMaxChain = 16;  // certificates

// Scripts, styles, pictures and requests of our own, and nothing else; nobody shows us in a frame of theirs.
constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

const std::pair<const char*, const char*> kHeadersOfAll[] = {
    {"Content-Security-Policy", kContentPolicy},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

std::string addressOf(const sockaddr* address) {
    char name[NI_MAXHOST] = "";
    const socklen_t length = address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    getnameinfo(address, length, name, sizeof name, nullptr, 0, NI_NUMERICHOST);
    const std::string text = name;
    const std::string mapped = "::ffff:";  // an IPv4 client of an IPv6 socket
    return text.compare(0, mapped.size(), mapped) == 0 ? text.substr(mapped.size()) : text;
}

std::string lowerCaseName(const char* name, std::size_t length) {
    std::string text(name, length);
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return text;
}

using Field = Fields::value_type;

// Takes the library's fields. No exception may go through the library: `isComplete` says whether all found memory.
struct Collector {
    Fields& fields;
    bool isComplete = true;

    template <typename Make>
    MHD_Result add(Make make) {
        try {
            fields.push_back(make());
        } catch (const std::exception&) {
            isComplete = false;
        }
        return isComplete ? MHD_YES : MHD_NO;
    }
};

MHD_Result collectHeader(void* fields, MHD_ValueKind, const char* name, std::size_t nameBytes, const char* value,
                         std::size_t valueBytes) {
    return static_cast<Collector*>(fields)->add(
        [&] { return Field(lowerCaseName(name, nameBytes), std::string(value == nullptr ? "" : value, valueBytes)); });
}

MHD_Result collectParameter(void* fields, MHD_ValueKind, const char* name, std::size_t nameBytes, const char* value,
                            std::size_t valueBytes) {
    return static_cast<Collector*>(fields)->add(
        [&] { return Field(std::string(name, nameBytes), std::string(value == nullptr ? "" : value, valueBytes)); });
}

}  // namespace

class Server::Engine {
public:
    Engine(const ServerSettings& settings, Site& site)
        : settings_(settings), site_(site), certificates_(settings.certificateFile, settings.keyFile) {}
    ~Engine() { stop(); }

    bool start(Listener& listener, std::string* error);
    void wakeStreams();
    std::string tlsProblem();

private:
    enum class Stage { Asking, Working, Answering };

    struct Connection {
        int socket = -1;
        std::string address;
        // mutex_ for the rest
        Stage stage = Stage::Asking;
        Moment since;              // the stage began, or the client took a part of the answer
        bool isWaiting = false;    // suspended, until wakeStreams()
        bool isAbandoned = false;  // its socket is shut down
        bool hasLeft = false;      // the client has closed its end
    };

    // One request on its way through the server.
    struct Exchange {
        Engine& engine;
        MHD_Connection* handle;
        Connection& connection;
        Request request;
        bool isTooLarge = false;
        bool isSlow = false;
        bool hasFailed = false;  // there was no memory for a response
        std::optional<Response> response;
    };

    struct Body {
        Engine& engine;
        MHD_Connection* handle;
        Connection& connection;
        std::shared_ptr<BodySource> source;
        std::string part;
        std::size_t sent = 0;
    };

    static MHD_Result serve(void* engine, MHD_Connection* handle, const char* path, const char* method, const char*,
                            const char* data, std::size_t* dataBytes, void** exchange);
    static void completed(void* engine, MHD_Connection* handle, void** exchange, MHD_RequestTerminationCode);
    static void connectionChanged(void* engine, MHD_Connection* handle, void** connection,
                                  MHD_ConnectionNotificationCode code);
    static ssize_t readBody(void* body, std::uint64_t, char* buffer, std::size_t size);
    static int giveCertificate(gnutls_session_t, const gnutls_cert_retr_st*, gnutls_pcert_st** certificates,
                               unsigned* count, gnutls_ocsp_data_st**, unsigned*, gnutls_privkey_t* key,
                               unsigned* flags);

    MHD_Result begin(MHD_Connection* handle, const char* path, const char* method, void** exchange);
    MHD_Result proceed(Exchange& exchange);
    MHD_Result send(Exchange& exchange, const Response& response);
    Response answerOf(const Request& request);
    void workSlowly();
    void endOverdue();
    void noticeLeaving();
    void stop();
    void enter(Connection& connection, Stage stage);
    bool isSecure() const { return !settings_.certificateFile.empty(); }

    // Constant after construction
    const ServerSettings settings_;
    Site& site_;

    CertificateFiles certificates_;  // locks by itself
    MHD_Daemon* daemon_ = nullptr;
    std::thread slowThread_;
    std::thread watchThread_;
    std::atomic<bool> isStopping_{false};

    std::mutex mutex_;
    std::condition_variable slowWork_;
    std::condition_variable stopped_;
    std::map<MHD_Connection*, std::unique_ptr<Connection>> connections_;  // mutex_
    std::deque<Exchange*> slowExchanges_;  // mutex_; suspended, so that none ends while it is here
    std::size_t wakes_ = 0;                // mutex_

    // The library hands its callback for certificates nothing of ours, but calls it on the thread on which it has told of
    // the connection before.
    static thread_local Engine* engineOfThisThread;
};

thread_local Server::Engine* Server::Engine::engineOfThisThread = nullptr;

bool Server::Engine::start(Listener& listener, std::string* error) {
    if (isSecure() && !certificates_.current(error)) {
        return false;
    }
    std::vector<MHD_OptionItem> options = {
        {MHD_OPTION_CONNECTION_LIMIT, static_cast<intptr_t>(settings_.connections), nullptr},
        {MHD_OPTION_PER_IP_CONNECTION_LIMIT, static_cast<intptr_t>(settings_.connectionsPerAddress), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<intptr_t>(kConnectionBytes), nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&Engine::completed), this},
        {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&Engine::connectionChanged), this},
        {MHD_OPTION_LISTEN_SOCKET, static_cast<intptr_t>(listener.descriptor()), nullptr},
    };
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME;
    if (isSecure()) {
        flags |= MHD_USE_TLS;
        options.push_back({MHD_OPTION_HTTPS_CERT_CALLBACK2, 0, reinterpret_cast<void*>(&Engine::giveCertificate)});
        options.push_back(
            {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>("NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2")});
    }
    options.push_back({MHD_OPTION_END, 0, nullptr});
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &Engine::serve, this, MHD_OPTION_ARRAY, options.data(),
                               MHD_OPTION_END);
    if (daemon_ == nullptr) {
        *error = "the HTTP server does not start";
        return false;
    }
    listener.release();  // the library closes it
    slowThread_ = std::thread([this] { workSlowly(); });
    watchThread_ = std::thread([this] { endOverdue(); });
    return true;
}

void Server::Engine::stop() {
    isStopping_ = true;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        slowWork_.notify_all();
        stopped_.notify_all();
    }
    for (std::thread* thread : {&slowThread_, &watchThread_}) {
        if (thread->joinable()) {
            thread->join();
        }
    }
    if (daemon_ != nullptr) {
        wakeStreams();  // none may be suspended when the daemon ends; from now on none is
        MHD_stop_daemon(daemon_);
        daemon_ = nullptr;
    }
}

void Server::Engine::wakeStreams() {
    const std::lock_guard<std::mutex> guard(mutex_);
    ++wakes_;
    for (auto& entry : connections_) {
        if (entry.second->isWaiting) {
            entry.second->isWaiting = false;
            entry.second->since = SteadyClock::now();
            MHD_resume_connection(entry.first);
        }
    }
}

std::string Server::Engine::tlsProblem() {
    std::string problem;
    if (isSecure()) {
        certificates_.current(&problem);
    }
    return problem;
}

// ---- Connections

void Server::Engine::connectionChanged(void* engine, MHD_Connection* handle, void** connection,
                                       MHD_ConnectionNotificationCode code) {
    Engine& self = *static_cast<Engine*>(engine);
    engineOfThisThread = &self;
    const std::lock_guard<std::mutex> guard(self.mutex_);
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        self.connections_.erase(handle);
        return;
    }
    const int socket = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    try {
        auto made = std::make_unique<Connection>();
        made->socket = socket;
        made->address = addressOf(MHD_get_connection_info(handle, MHD_CONNECTION_INFO_CLIENT_ADDRESS)->client_addr);
        made->since = SteadyClock::now();
        *connection = self.connections_.emplace(handle, std::move(made)).first->second.get();
    } catch (const std::exception&) {
        *connection = nullptr;  // and begin() serves nobody who is not known
        shutdown(socket, SHUT_RDWR);
    }
}

void Server::Engine::enter(Connection& connection, Stage stage) {
    const std::lock_guard<std::mutex> guard(mutex_);
    connection.stage = stage;
    connection.since = SteadyClock::now();
}

void Server::Engine::endOverdue() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isStopping_) {
        const Moment now = SteadyClock::now();
        for (auto& entry : connections_) {
            Connection& connection = *entry.second;
            const auto limit = connection.stage == Stage::Asking ? settings_.requestTime : settings_.answerTime;
            const bool isDue =
                !connection.isWaiting && connection.stage != Stage::Working && now - connection.since > limit;
            if (isDue && !connection.isAbandoned) {
                connection.isAbandoned = true;
                shutdown(connection.socket, SHUT_RDWR);  // which the library sees as the client's leaving
            }
        }
        try {
            noticeLeaving();
        } catch (const std::exception&) {
            // No memory to look with: they are looked at the next time.
        }
        stopped_.wait_for(lock, kWatchInterval, [this] { return isStopping_.load(); });
    }
}

// The library does not look at a suspended connection. REQUIRES: mutex_ is held
void Server::Engine::noticeLeaving() {
    std::vector<pollfd> sockets;
    std::vector<MHD_Connection*> handles;
    for (const auto& entry : connections_) {
        if (entry.second->isWaiting) {
            sockets.push_back({entry.second->socket, POLLRDHUP, 0});
            handles.push_back(entry.first);
        }
    }
    if (sockets.empty() || poll(sockets.data(), sockets.size(), 0) <= 0) {
        return;
    }
    for (std::size_t at = 0; at < sockets.size(); ++at) {
        if (sockets[at].revents != 0) {
            Connection& connection = *connections_.at(handles[at]);
            connection.hasLeft = true;
            connection.isWaiting = false;
            MHD_resume_connection(handles[at]);
        }
    }
}

// ---- Requests

MHD_Result Server::Engine::serve(void* engine, MHD_Connection* handle, const char* path, const char* method,
                                 const char*, const char* data, std::size_t* dataBytes, void** exchange) {
    Engine& self = *static_cast<Engine*>(engine);
    try {
        if (*exchange == nullptr) {
            return self.begin(handle, path, method, exchange);
        }
        Exchange& current = *static_cast<Exchange*>(*exchange);
        if (*dataBytes > 0) {
            if (current.request.body.size() + *dataBytes > self.settings_.bodyBytes) {
                current.isTooLarge = true;
                current.request.body.clear();
            } else if (!current.isTooLarge) {
                current.request.body.append(data, *dataBytes);
            }
            *dataBytes = 0;
            return MHD_YES;
        }
        return self.proceed(current);
    } catch (const std::exception&) {
        return MHD_NO;  // no memory: the library ends the connection
    }
}

MHD_Result Server::Engine::begin(MHD_Connection* handle, const char* path, const char* method, void** exchange) {
    void* const known = MHD_get_connection_info(handle, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context;
    if (known == nullptr) {
        return MHD_NO;
    }
    Connection& connection = *static_cast<Connection*>(known);
    auto made = std::make_unique<Exchange>(Exchange{*this, handle, connection, {}, false, false, false, std::nullopt});
    Request& request = made->request;
    request.method = method;
    request.path = path;
    request.address = connection.address;
    request.isEncrypted = isSecure();
    Collector headers{request.headers};
    Collector query{request.query};
    MHD_get_connection_values_n(handle, MHD_HEADER_KIND, &collectHeader, &headers);
    MHD_get_connection_values_n(handle, MHD_GET_ARGUMENT_KIND, &collectParameter, &query);
    if (!headers.isComplete || !query.isComplete) {
        return MHD_NO;
    }
    Exchange& current = *made;
    *exchange = made.release();  // completed() takes it back

    // The library takes longer heads, when the answer's share of its memory is still free.
    if (MHD_get_connection_info(handle, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size > kHeadBytes) {
        return send(current, errorAnswer(431, "the head of the request is too large",
                                         "send at most " + std::to_string(kHeadBytes) + " bytes"));
    }
    Site::Admission admission;
    try {
        admission = site_.admit(request);
    } catch (const std::exception&) {
        admission.refusal = errorAnswer(500, "the server failed", "try again");
    }
    if (!admission.refusal) {
        for (const std::string& length : request.header("content-length")) {
            if (length.size() > 9 || std::strtoul(length.c_str(), nullptr, 10) > settings_.bodyBytes) {
                current.isTooLarge = true;
            }
        }
    }
    if (admission.refusal || current.isTooLarge) {
        return send(current, admission.refusal.value_or(
                                 errorAnswer(413, "the body of the request is too large",
                                             "send at most " + std::to_string(settings_.bodyBytes) + " bytes")));
    }
    current.isSlow = admission.isSlow;
    return MHD_YES;
}

// All of the request is there.
MHD_Result Server::Engine::proceed(Exchange& exchange) {
    if (exchange.hasFailed) {
        return MHD_NO;
    }
    if (exchange.isTooLarge) {
        return send(exchange, errorAnswer(413, "the body of the request is too large",
                                          "send at most " + std::to_string(settings_.bodyBytes) + " bytes"));
    }
    if (exchange.isSlow && !exchange.response) {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isStopping_) {
            return MHD_NO;
        }
        slowExchanges_.push_back(&exchange);  // before it is suspended: without memory it is not
        exchange.connection.stage = Stage::Working;
        MHD_suspend_connection(exchange.handle);
        slowWork_.notify_one();
        return MHD_YES;
    }
    return send(exchange, exchange.response ? *exchange.response : answerOf(exchange.request));
}

Response Server::Engine::answerOf(const Request& request) {
    try {
        return site_.answer(request);
    } catch (const std::exception&) {
        return errorAnswer(500, "the server failed", "try again");
    }
}

// Suspended exchanges are resumed in any case: the daemon does not end before.
void Server::Engine::workSlowly() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        slowWork_.wait(lock, [this] { return isStopping_ || !slowExchanges_.empty(); });
        if (slowExchanges_.empty()) {
            return;
        }
        Exchange& exchange = *slowExchanges_.front();
        slowExchanges_.pop_front();
        lock.unlock();
        std::optional<Response> response;
        try {
            response =
                isStopping_ ? errorAnswer(503, "the server ends", "try again later") : answerOf(exchange.request);
        } catch (const std::exception&) {
            // Even that it failed needs memory to be said.
        }
        lock.lock();
        exchange.hasFailed = !response.has_value();
        exchange.response = std::move(response);
        MHD_resume_connection(exchange.handle);
    }
}

MHD_Result Server::Engine::send(Exchange& exchange, const Response& response) {
    MHD_Response* made = nullptr;
    if (response.source) {
        auto body = std::make_unique<Body>(Body{*this, exchange.handle, exchange.connection, response.source, {}, 0});
        made = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kPartBytes, &Engine::readBody, body.get(),
                                                 [](void* given) { delete static_cast<Body*>(given); });
        if (made != nullptr) {
            body.release();
        }
    } else {
        made = MHD_create_response_from_buffer(response.body.size(), const_cast<char*>(response.body.data()),
                                               MHD_RESPMEM_MUST_COPY);
    }
    if (made == nullptr) {
        return MHD_NO;
    }
    for (const auto& header : kHeadersOfAll) {
        MHD_add_response_header(made, header.first, header.second);
    }
    MHD_add_response_header(made, "Content-Type", response.contentType.c_str());
    MHD_add_response_header(made, "Cache-Control", response.cacheControl.c_str());
    for (const auto& header : response.headers) {
        MHD_add_response_header(made, header.first.c_str(), header.second.c_str());
    }
    enter(exchange.connection, Stage::Answering);
    const MHD_Result result = MHD_queue_response(exchange.handle, static_cast<unsigned>(response.status), made);
    MHD_destroy_response(made);
    return result;
}

void Server::Engine::completed(void* engine, MHD_Connection*, void** exchange, MHD_RequestTerminationCode) {
    const std::unique_ptr<Exchange> ended(static_cast<Exchange*>(*exchange));
    *exchange = nullptr;
    if (ended) {
        static_cast<Engine*>(engine)->enter(ended->connection, Stage::Asking);
    }
}

// The library asks for more when the client has taken what there was.
ssize_t Server::Engine::readBody(void* given, std::uint64_t, char* buffer, std::size_t size) {
    Body& body = *static_cast<Body*>(given);
    Engine& self = body.engine;
    for (;;) {
        std::size_t seen = 0;
        {
            const std::lock_guard<std::mutex> guard(self.mutex_);
            body.connection.since = SteadyClock::now();
            seen = self.wakes_;
            if (body.connection.hasLeft) {
                return MHD_CONTENT_READER_END_WITH_ERROR;
            }
        }
        if (body.sent < body.part.size()) {
            const std::size_t count = std::min(size, body.part.size() - body.sent);
            std::memcpy(buffer, body.part.data() + body.sent, count);
            body.sent += count;
            return static_cast<ssize_t>(count);
        }
        body.part.clear();
        body.sent = 0;
        BodySource::Next next = BodySource::Next::End;
        try {
            next = self.isStopping_ ? BodySource::Next::End : body.source->next(&body.part);
        } catch (const std::exception&) {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
        if (next == BodySource::Next::End) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (next == BodySource::Next::Later) {
            const std::lock_guard<std::mutex> guard(self.mutex_);
            // What woke the streams since it was asked was meant for it, too.
            if (self.wakes_ == seen && !self.isStopping_) {
                body.connection.isWaiting = true;
                MHD_suspend_connection(body.handle);
                return 0;
            }
        }
    }
}

// ---- TLS

int Server::Engine::giveCertificate(gnutls_session_t, const gnutls_cert_retr_st*, gnutls_pcert_st** certificates,
                                    unsigned* count, gnutls_ocsp_data_st**, unsigned* ocspCount, gnutls_privkey_t* key,
                                    unsigned* flags) {
    std::string problem;
    std::shared_ptr<const PemPair> pair;
    try {
        pair = engineOfThisThread->certificates_.current(&problem);
    } catch (const std::exception&) {
        return -1;
    }
    if (!pair) {
        return -1;
    }
    const auto datumOf = [](const std::string& text) {
        return gnutls_datum_t{reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
                              static_cast<unsigned>(text.size())};
    };
    const gnutls_datum_t certificateText = datumOf(pair->certificates);
    const gnutls_datum_t keyText = datumOf(pair->key);
    *count = kMaxChain;
    *certificates = static_cast<gnutls_pcert_st*>(gnutls_calloc(kMaxChain, sizeof(gnutls_pcert_st)));
    if (*certificates == nullptr || gnutls_privkey_init(key) < 0) {
        gnutls_free(*certificates);
        return -1;
    }
    const bool hasCertificates =
        gnutls_pcert_list_import_x509_raw(*certificates, count, &certificateText, GNUTLS_X509_FMT_PEM, 0) >= 0;
    if (!hasCertificates || gnutls_privkey_import_x509_raw(*key, &keyText, GNUTLS_X509_FMT_PEM, nullptr, 0) < 0) {
        for (unsigned at = 0; hasCertificates && at < *count; ++at) {
            gnutls_pcert_deinit(&(*certificates)[at]);
        }
        gnutls_free(*certificates);
        gnutls_privkey_deinit(*key);
        return -1;
    }
    *ocspCount = 0;
    *flags = GNUTLS_CERT_RETR_DEINIT_ALL;  // both are made anew for each connection
    return 0;
}

// ---- Server

std::unique_ptr<Server> Server::start(std::unique_ptr<Listener> listener, const ServerSettings& settings, Site& site,
                                      std::string* error) {
    auto engine = std::make_unique<Engine>(settings, site);
    if (!engine->start(*listener, error)) {
        return nullptr;
    }
    return std::unique_ptr<Server>(new Server(std::move(engine)));
}

Server::Server(std::unique_ptr<Engine> engine) : engine_(std::move(engine)) {}

Server::~Server() = default;

void Server::wakeStreams() {
    engine_->wakeStreams();
}

std::string Server::tlsProblem() const {
    return engine_->tlsProblem();
}

}  // namespace ac500::http
