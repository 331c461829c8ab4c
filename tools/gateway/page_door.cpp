#include "tools/gateway/page_door.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <thread>
#include <utility>

#include "tools/console/time_text.h"
#include "tools/gateway/json_body.h"
#include "tools/gateway/metrics_text.h"
#include "tools/gateway/page/assets.h"
#include "tools/gateway/page_json.h"
#include "tools/gateway/page_stream.h"
#include "tools/gateway/trend_csv.h"
#include "tools/http/request_checks.h"
#include "tools/http/server.h"
#include "tools/http/sign_ins.h"
#include "tools/text/address.h"

namespace ac500::gateway {

using host::Milliseconds;
using http::errorAnswer;
using http::Request;
using http::Response;

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBeat{1000};
constexpr std::chrono::milliseconds kTurn{100};  // a person sees no more, and a browser that gets no more stays light
constexpr int kSignInSeconds = 12 * 3600;
constexpr std::size_t kMostTextBytes = 16 * 1024;  // of a value
constexpr std::size_t kMostTokenBytes = 200;
constexpr std::size_t kMostTrendTags = 16;
constexpr std::int64_t kMostColumns = 4096;
constexpr std::int64_t kLongestExpiryMs = 60000;
constexpr Milliseconds kStaleAge{2000};  // of a value whose state says something else than its age

Response jsonAnswer(std::string body, int status = 200) {
    Response response;
    response.status = status;
    response.contentType = "application/json";
    response.body = std::move(body);
    return response;
}

Response badBody(const std::string& problem) {
    return errorAnswer(400, problem, "send what this server's documents say");
}

std::optional<std::int64_t> wholeNumber(const std::string& text) {
    std::int64_t number = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isWhole ? std::optional<std::int64_t>(number) : std::nullopt;
}

// Nothing when it is absent, there twice, no whole number, or beyond the limits.
std::optional<std::int64_t> numberIn(const Request& request, const char* name, std::int64_t least,
                                     std::int64_t largest) {
    const std::vector<std::string> values = request.parameter(name);
    const std::optional<std::int64_t> number = values.size() == 1 ? wholeNumber(values.front()) : std::nullopt;
    return number && *number >= least && *number <= largest ? number : std::nullopt;
}

// Enough for any clock, and far from where sums overflow.
constexpr std::int64_t kLargestTime = std::int64_t{1} << 50;

std::optional<TrendRange> rangeIn(const Request& request) {
    const std::optional<std::int64_t> from = numberIn(request, "from", -kLargestTime, kLargestTime);
    const std::optional<std::int64_t> to = numberIn(request, "to", -kLargestTime, kLargestTime);
    if (!from || !to || *from >= *to) {
        return std::nullopt;
    }
    return TrendRange{Milliseconds(std::max<std::int64_t>(*from, 0)), Milliseconds(std::max<std::int64_t>(*to, 1))};
}

std::string fileNameOf(const std::string& tag) {
    std::string name;
    for (const char character : tag) {
        const bool isPlain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                             (character >= '0' && character <= '9') || character == '.' || character == '_';
        name += isPlain ? character : '-';
    }
    return name + ".csv";
}

}  // namespace

class PageDoor::Desk : public http::Site {
public:
    explicit Desk(const Parts& parts)
        : parts_(parts),
          plant_(parts.plant),
          viewers_(
              {static_cast<std::size_t>(parts.page.viewers), static_cast<std::size_t>(parts.page.viewersPerAddress)}) {}
    ~Desk() override { close(); }

    bool open(std::string* error);
    void close();

    Admission admit(const Request& head) override;
    Response answer(const Request& request) override;

    std::uint16_t port() const { return port_; }
    std::string url() const {
        return (isEncrypted() ? "https://" : "http://") + text::addressText(address_, port_) + "/";
    }
    std::size_t viewers() const { return viewers_.count(); }

private:
    enum class Kind { Open, Asset, View, Change };
    struct Route {
        const char* method;
        const char* path;  // of assets the beginning
        Kind kind;
        bool isSlow;
        Response (Desk::*answer)(const Request&);
        bool isForAnybody = false;  // also without a sign-in where one is required
    };
    static const std::vector<Route>& routes();
    static bool fits(const Route& route, const std::string& path);
    static const Route* routeOf(const Request& request);

    bool isEncrypted() const { return !parts_.page.certificate.empty(); }
    bool hasTokens() const { return tokens_ != nullptr; }
    const char* signInMode() const { return !hasTokens() ? "off" : isForeign_ ? "required" : "optional"; }
    http::SignIns::Time now() const { return std::chrono::duration_cast<Milliseconds>(plant_.now()); }
    std::string signInOf(const Request& request) const { return request.cookie(cookieName_); }
    std::optional<http::TokenLine> viewerOf(const Request& request) const;
    std::string cookie(const std::string& value, int seconds) const;
    // By it a browser whose tab is a viewer gets the page also when all places are taken. It gives no right.
    std::string viewerCookieName() const { return cookieName_ + "-viewer"; }
    std::optional<Response> numberProblem(std::int64_t tag) const;
    std::optional<std::string> lockedBecause(std::size_t tag) const;

    Response page(const Request& request);
    Response asset(const Request& request);
    Response health(const Request& request);
    Response metrics(const Request& request);
    Response introduction(const Request& request);
    Response stream(const Request& request);
    Response watch(const Request& request);
    Response happened(const Request& request);
    Response timeLine(const Request& request);
    Response latency(const Request& request);
    Response plan(const Request& request);
    Response trend(const Request& request);
    Response trendCsv(const Request& request);
    Response signIn(const Request& request);
    Response signOut(const Request& request);
    Response parse(const Request& request);
    Response write(const Request& request);

    // Also before the server has started, and while it ends: what answers requests does not touch the server itself.
    void wakeStreams();
    void turn();
    void warn();

    // Constant after open()
    const Parts parts_;
    Plant& plant_;
    std::string address_;
    std::uint16_t port_ = 0;
    bool isForeign_ = false;
    std::string cookieName_;
    std::unique_ptr<http::OwnNames> names_;
    std::unique_ptr<http::TokenFile> tokens_;  // null: nobody can sign in
    std::unique_ptr<http::SignIns> signIns_;   // as tokens_
    int listener_ = 0;                         // at the plant

    StreamClock clock_;
    Viewers viewers_;
    std::unique_ptr<http::Server> server_;  // used by who opens and closes, and by the turner

    std::mutex mutex_;
    std::condition_variable woken_;
    bool isWoken_ = false;    // mutex_; the board has changed
    bool isAsked_ = false;    // mutex_; a stream has something to send at once
    bool isClosing_ = false;  // mutex_
    std::thread turner_;
};

// ---- Beginning and end

bool PageDoor::Desk::open(std::string* error) {
    std::unique_ptr<http::Listener> listener = http::Listener::open(parts_.page.address, parts_.page.port, error);
    if (!listener) {
        return false;
    }
    address_ = listener->address();
    port_ = listener->port();
    isForeign_ = !listener->isLoopback();
    if (isForeign_ && parts_.tokens.empty()) {
        *error = text::addressText(address_, port_) +
                 " can be reached by other machines: that needs tokens; name a file of them in \"tokens\", or listen "
                 "on 127.0.0.1";
        return false;
    }
    if (!parts_.tokens.empty()) {
        tokens_ = std::make_unique<http::TokenFile>(parts_.tokens);
        signIns_ = std::make_unique<http::SignIns>(*tokens_);
    }
    // Browsers send a cookie to every port of a machine: each gateway has a name of its own.
    cookieName_ = fmt::format("{}ac500-gateway-{}", isEncrypted() ? "__Host-" : "", port_);
    names_ = std::make_unique<http::OwnNames>(address_, port_, isEncrypted(), parts_.page.hosts);

    http::ServerSettings settings;
    settings.certificateFile = parts_.page.certificate;
    settings.keyFile = parts_.page.key;
    settings.connections = static_cast<unsigned>(parts_.page.viewers) + 96;
    settings.connectionsPerAddress = static_cast<unsigned>(parts_.page.viewersPerAddress) + 28;
    server_ = http::Server::start(std::move(listener), settings, *this, error);
    if (!server_) {
        return false;
    }
    listener_ = plant_.addListener([this] {
        const std::lock_guard<std::mutex> guard(mutex_);
        isWoken_ = true;
        woken_.notify_one();
    });
    turner_ = std::thread([this] { turn(); });
    return true;
}

void PageDoor::Desk::close() {
    if (listener_ != 0) {
        plant_.removeListener(listener_);
        listener_ = 0;
    }
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isClosing_ = true;
        woken_.notify_one();
    }
    if (turner_.joinable()) {
        turner_.join();
    }
    server_.reset();
}

void PageDoor::Desk::wakeStreams() {
    const std::lock_guard<std::mutex> guard(mutex_);
    isAsked_ = true;
    woken_.notify_one();
}

// Gives the beat, hands changes to the streams, at most once each kTurn, and what is theirs alone at once.
void PageDoor::Desk::turn() {
    SteadyClock::time_point nextBeat = SteadyClock::now();
    SteadyClock::time_point nextTurn = nextBeat;
    SteadyClock::time_point nextWarning = nextBeat;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isClosing_) {
        const SteadyClock::time_point now = SteadyClock::now();
        const bool isTurn = isWoken_ && now >= nextTurn;
        const bool isBeat = now >= nextBeat;
        const bool isWarning = now >= nextWarning;
        if (isTurn) {
            isWoken_ = false;
            ++clock_.turns;
            nextTurn = now + kTurn;
        }
        if (isBeat) {
            ++clock_.beats;
            nextBeat = std::max(nextBeat + kBeat, now);
        }
        if (isTurn || isBeat || isAsked_) {
            isAsked_ = false;
            lock.unlock();
            server_->wakeStreams();
            if (isWarning) {
                warn();
                nextWarning = now + parts_.warnInterval;
            }
            lock.lock();
        } else if (isWoken_) {
            woken_.wait_until(lock, std::min(nextTurn, nextBeat), [this] { return isClosing_ || isAsked_; });
        } else {
            woken_.wait_until(lock, nextBeat, [this] { return isClosing_ || isWoken_ || isAsked_; });
        }
    }
}

void PageDoor::Desk::warn() {
    try {
        if (isForeign_) {
            parts_.warn(
                events::EventId::ServerExposed,
                fmt::format("the page on {} can be reached by other machines{}", text::addressText(address_, port_),
                            isEncrypted() ? "" : ", and without TLS: tokens and values can be read on the way"));
        }
        const std::string tlsProblem = server_->tlsProblem();
        if (!tlsProblem.empty()) {
            parts_.warn(events::EventId::CommandNote, "the certificate from before is used: " + tlsProblem);
        }
        const std::string tokenProblem = hasTokens() ? tokens_->problem() : "";
        if (!tokenProblem.empty()) {
            parts_.warn(events::EventId::CommandNote, "nobody can sign in: " + tokenProblem);
        }
    } catch (const std::exception&) {
        // No memory for a warning: the next time, then. The beat goes on.
    }
}

// ---- Who may ask what

const std::vector<PageDoor::Desk::Route>& PageDoor::Desk::routes() {
    static const std::vector<Route> all = {
        {"GET", "/", Kind::Open, false, &Desk::page, true},
        {"GET", "/assets/", Kind::Asset, false, &Desk::asset, true},
        {"GET", "/healthz", Kind::Open, false, &Desk::health, true},
        {"GET", "/metrics", Kind::View, true, &Desk::metrics, true},  // looks at the token itself
        {"GET", "/api/plant", Kind::View, true, &Desk::introduction, true},
        {"GET", "/api/stream", Kind::View, false, &Desk::stream},
        {"GET", "/api/events", Kind::View, true, &Desk::happened},
        {"GET", "/api/timeline", Kind::View, true, &Desk::timeLine},
        {"GET", "/api/latency", Kind::View, true, &Desk::latency},
        {"GET", "/api/plan.svg", Kind::View, true, &Desk::plan},
        {"GET", "/api/trend", Kind::View, true, &Desk::trend},
        {"GET", "/api/trend.csv", Kind::View, false, &Desk::trendCsv},
        {"POST", "/api/watch", Kind::Change, false, &Desk::watch},
        {"POST", "/api/sign-in", Kind::Change, true, &Desk::signIn, true},
        {"POST", "/api/sign-out", Kind::Change, false, &Desk::signOut, true},
        {"POST", "/api/parse", Kind::Change, false, &Desk::parse},
        {"POST", "/api/write", Kind::Change, false, &Desk::write},
    };
    return all;
}

bool PageDoor::Desk::fits(const Route& route, const std::string& path) {
    return route.kind == Kind::Asset ? path.compare(0, std::string(route.path).size(), route.path) == 0
                                     : path == route.path;
}

const PageDoor::Desk::Route* PageDoor::Desk::routeOf(const Request& request) {
    const std::string method = request.method == "HEAD" ? "GET" : request.method;
    for (const Route& route : routes()) {
        if (method == route.method && fits(route, request.path)) {
            return &route;
        }
    }
    return nullptr;
}

std::optional<http::TokenLine> PageDoor::Desk::viewerOf(const Request& request) const {
    const std::string id = signInOf(request);
    return hasTokens() && !id.empty() ? signIns_->find(id, now()) : std::nullopt;
}

http::Site::Admission PageDoor::Desk::admit(const Request& head) {
    if (std::optional<Response> refusal = http::checkHost(head, *names_)) {
        return {std::move(refusal), false};
    }
    const Route* const route = routeOf(head);
    if (route == nullptr) {
        const bool isPath =
            std::any_of(routes().begin(), routes().end(), [&](const Route& each) { return fits(each, head.path); });
        return {isPath ? errorAnswer(405, "this is not done with " + head.method,
                                     "use GET, or POST for what changes something")
                       : errorAnswer(404, "there is nothing of that name", "begin at /"),
                false};
    }
    std::optional<Response> refusal;
    if (route->kind == Kind::View) {
        refusal = http::checkNotForeign(head, *names_);
    } else if (route->kind == Kind::Change) {
        refusal = http::checkChange(head, *names_);
    }
    if (!refusal && isForeign_ && !route->isForAnybody && !viewerOf(head)) {
        refusal = errorAnswer(401, "this needs a sign-in", "sign in with your token");
    }
    return {std::move(refusal), route->isSlow};
}

Response PageDoor::Desk::answer(const Request& request) {
    const Route* const route = routeOf(request);
    return route == nullptr ? errorAnswer(404, "there is nothing of that name", "begin at /")
                            : (this->*route->answer)(request);
}

// ---- The page

Response PageDoor::Desk::page(const Request& request) {
    // A page that is loaded anew still has its stream: the browser keeps it until there is an answer.
    const Viewers::Room room = viewers_.roomFor(request.address);
    if (room == Viewers::Room::Free || viewers_.isViewing(request.cookie(viewerCookieName()))) {
        Request index = request;
        index.path = "/assets/index.html";
        return asset(index);
    }
    Response response;
    response.status = 503;
    response.contentType = "text/html; charset=utf-8";
    response.headers = {{"Retry-After", "10"}};
    response.body = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\"><title>No place is free</title></head>\n"
        "<body><h1>No place is free</h1>\n<p>{}</p>\n<p>Close another page of this gateway, then load this one "
        "again.</p>"
        "</body>\n</html>\n",
        room == Viewers::Room::None
            ? fmt::format("This gateway shows its page to {} viewers at a time, and all places are taken.",
                          viewers_.limits().all)
            : fmt::format("This gateway shows its page {} times at one address, and all these places are taken.",
                          viewers_.limits().ofAddress));
    return response;
}

Response PageDoor::Desk::asset(const Request& request) {
    const std::string name = request.path.substr(std::string("/assets/").size());
    const Asset* const found = findAsset(name);
    if (found == nullptr) {
        return errorAnswer(404, "there is nothing of that name", "begin at /");
    }
    Response response;
    response.contentType = found->contentType;
    response.cacheControl = "no-cache";  // kept, and asked about each time
    response.headers = {{"ETag", found->etag}};
    const std::vector<std::string> known = request.header("if-none-match");
    if (known.size() == 1 && known.front() == found->etag) {
        response.status = 304;
    } else {
        response.body.assign(reinterpret_cast<const char*>(found->bytes), found->length);
    }
    return response;
}

Response PageDoor::Desk::health(const Request&) {
    Response response;
    response.contentType = "text/plain; charset=utf-8";
    response.body = "ok\n";
    return response;
}

// A program that collects figures has no page to sign in at: it sends its token with each request.
Response PageDoor::Desk::metrics(const Request& request) {
    if (isForeign_ && !viewerOf(request)) {
        const std::vector<std::string> given = request.header("authorization");
        const std::string scheme = "Bearer ";
        if (given.size() != 1 || given.front().compare(0, scheme.size(), scheme) != 0) {
            return errorAnswer(401, "this needs a token", "send Authorization: Bearer, and the token");
        }
        const http::SignIns::Result result =
            signIns_->check(given.front().substr(scheme.size()).substr(0, kMostTokenBytes), request.address, now());
        if (result.outcome == http::SignIns::Outcome::TooMany) {
            return errorAnswer(429, "too many wrong tokens", "try again in a while");
        }
        if (result.outcome != http::SignIns::Outcome::SignedIn) {
            return errorAnswer(401, "this is no token of this gateway", "look at the token, or have a new one made");
        }
    }
    Response response;
    response.contentType = kMetricsType;
    DoorFigures figures;
    figures.viewers = viewers_.count();
    figures.programs = parts_.programs ? parts_.programs() : 0;
    if (parts_.broker) {
        figures.broker = parts_.broker();
    }
    response.body = metricsText(plant_, figures);
    return response;
}

Response PageDoor::Desk::introduction(const Request& request) {
    PlantIntroduction introduction;
    const host::Endpoint& plc = plant_.settings().session.loop.plc;
    introduction.plc = text::addressText(plc.host, plc.port);
    introduction.signIn = signInMode();
    if (const std::optional<http::TokenLine> viewer = viewerOf(request)) {
        introduction.viewer = PageViewer{viewer->name, viewer->right == http::Right::Write};
    }
    introduction.showsTags = !isForeign_ || introduction.viewer.has_value();
    return jsonAnswer(plantJson(plant_, introduction));
}

// ---- The stream

Response PageDoor::Desk::stream(const Request& request) {
    const std::string signIn = viewerOf(request) ? signInOf(request) : "";
    const std::string id = http::randomId();
    if (id.empty()) {
        return errorAnswer(503, "the system gives no random numbers", "try again");
    }
    const std::string known = request.cookie(viewerCookieName());
    const std::string browser = viewers_.isViewing(known) ? known : http::randomId();
    const std::vector<std::string> replaces = request.header("replaces-stream");
    auto made =
        std::make_shared<PageStream>(plant_, clock_, id, PageStream::Owner{request.address, signIn, browser},
                                     [this, signIn] { return signIn.empty() || signIns_->find(signIn, now()); });
    Response response;
    response.contentType = "text/event-stream";
    response.headers = {{"Set-Cookie", fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict{}", viewerCookieName(),
                                                   browser, isEncrypted() ? "; Secure" : "")}};
    response.source = viewers_.add(std::move(made), replaces.empty() ? "" : replaces.front());
    if (!response.source) {
        Response full = errorAnswer(503, "all places for viewers are taken", "close another page of this gateway");
        full.headers = {{"Retry-After", "10"}};
        return full;
    }
    wakeStreams();  // the one that was replaced
    return response;
}

Response PageDoor::Desk::watch(const Request& request) {
    JsonBody body(request.body, {"stream", "tags"});
    const std::string id = body.text("stream", 64);
    const std::vector<std::size_t> tags = body.numbers("tags", PageStream::kMostTags, plant_.tags().size());
    if (!body.problem().empty()) {
        return badBody(body.problem());
    }
    const std::shared_ptr<PageStream> found = viewers_.find(id);
    if (!found) {
        return errorAnswer(404, "this stream has ended", "open another one");
    }
    found->watch(tags);
    wakeStreams();
    return jsonAnswer("{}\n");
}

// ---- What happened

Response PageDoor::Desk::happened(const Request& request) {
    std::size_t first = 0;
    if (!request.parameter("after").empty()) {
        const std::optional<std::int64_t> after = numberIn(request, "after", -1, kLargestTime);
        if (!after) {
            return errorAnswer(400, "\"after\" is to be the number of an event", "leave it out for all of them");
        }
        first = static_cast<std::size_t>(
            std::min<std::uint64_t>(static_cast<std::uint64_t>(*after + 1), std::numeric_limits<std::size_t>::max()));
    }
    return jsonAnswer(eventsJson(plant_.eventsSince(first)) + "\n");
}

Response PageDoor::Desk::timeLine(const Request&) {
    return jsonAnswer(timeLineJson(plant_));
}

Response PageDoor::Desk::latency(const Request&) {
    return jsonAnswer(latencyJson(plant_));
}

Response PageDoor::Desk::plan(const Request&) {
    host::Failure failure;
    const std::optional<std::string> drawing = plant_.planSvg(&failure);
    if (!drawing) {
        return errorAnswer(500, failure.text, "look at the gateway's log");
    }
    Response response;
    response.contentType = "image/svg+xml";
    response.body = *drawing;
    return response;
}

std::optional<Response> PageDoor::Desk::numberProblem(std::int64_t tag) const {
    // In 64 bits: cut to a narrower std::size_t, a number that is none might be that of a tag.
    if (tag < 0 || static_cast<std::uint64_t>(tag) >= plant_.tags().size()) {
        return errorAnswer(404, "there is no tag of that number", "ask /api/plant for the tags");
    }
    return std::nullopt;
}

Response PageDoor::Desk::trend(const Request& request) {
    TrendQuestion question;
    const std::vector<std::string> tags = request.parameter("tag");
    if (tags.empty() || tags.size() > kMostTrendTags) {
        return errorAnswer(400, fmt::format("\"tag\" is to be given once to {} times", kMostTrendTags),
                           "ask for fewer at a time");
    }
    for (const std::string& text : tags) {
        const std::int64_t number = wholeNumber(text).value_or(-1);
        if (std::optional<Response> problem = numberProblem(number)) {
            return *problem;
        }
        if (!plant_.tags()[static_cast<std::size_t>(number)].isKept) {
            return errorAnswer(404, "nothing is kept of this tag", "name it in \"trend\" of the settings");
        }
        question.tags.push_back(static_cast<std::size_t>(number));
    }
    const std::optional<TrendRange> range = rangeIn(request);
    const std::optional<std::int64_t> columns = numberIn(request, "columns", 1, kMostColumns);
    if (!range || !columns) {
        return errorAnswer(400, "\"from\" is to be before \"to\", both whole milliseconds of the clock",
                           fmt::format("give 1 to {} \"columns\", too", kMostColumns));
    }
    question.range = *range;
    question.columns = static_cast<std::size_t>(*columns);
    return jsonAnswer(trendJson(plant_, question));
}

Response PageDoor::Desk::trendCsv(const Request& request) {
    const std::int64_t number = numberIn(request, "tag", 0, kLargestTime).value_or(-1);
    if (std::optional<Response> problem = numberProblem(number)) {
        return *problem;
    }
    const PlantTag& tag = plant_.tags()[static_cast<std::size_t>(number)];
    const std::optional<TrendRange> range = rangeIn(request);
    if (!tag.isKept || !range) {
        return tag.isKept ? errorAnswer(400, "\"from\" is to be before \"to\", both whole milliseconds of the clock",
                                        "give both")
                          : errorAnswer(404, "nothing is kept of this tag", "name it in \"trend\" of the settings");
    }
    Response response;
    response.contentType = "text/csv; charset=utf-8";
    response.headers = {{"Content-Disposition", "attachment; filename=\"" + fileNameOf(tag.name) + "\""}};
    response.source =
        std::make_shared<TrendCsv>(plant_.trend(), tag.series, *range, std::chrono::system_clock::now() - plant_.now());
    return response;
}

// ---- Signing in

std::string PageDoor::Desk::cookie(const std::string& value, int seconds) const {
    return fmt::format("{}={}; Path=/; Max-Age={}; HttpOnly; SameSite=Strict{}", cookieName_, value, seconds,
                       isEncrypted() ? "; Secure" : "");
}

Response PageDoor::Desk::signIn(const Request& request) {
    JsonBody body(request.body, {"token"});
    const std::string token = body.text("token", kMostTokenBytes);
    if (!body.problem().empty()) {
        return errorAnswer(400, "the body is to be {\"token\":\"...\"}",
                           "send the token as a text");  // and is not repeated
    }
    if (!hasTokens()) {
        return errorAnswer(404, "nobody signs in at this gateway", "name a file of \"tokens\" in its settings");
    }
    const http::SignIns::Result result = signIns_->signIn(token, request.address, now());
    switch (result.outcome) {
        case http::SignIns::Outcome::SignedIn:
            break;
        case http::SignIns::Outcome::WrongToken:
            return errorAnswer(401, "this is no token of this gateway", "look at the token, or have a new one made");
        case http::SignIns::Outcome::TooMany: {
            Response tooMany = errorAnswer(429, "too many wrong tokens", "try again in a while");
            tooMany.headers = {{"Retry-After", "10"}};
            return tooMany;
        }
    }
    Response response = jsonAnswer(fmt::format("{{\"name\":{},\"right\":\"{}\"}}\n", http::jsonText(result.token->name),
                                               http::rightName(result.token->right)));
    response.headers = {{"Set-Cookie", cookie(result.id, kSignInSeconds)}};
    return response;
}

Response PageDoor::Desk::signOut(const Request& request) {
    if (hasTokens()) {
        signIns_->signOut(signInOf(request));
    }
    Response response = jsonAnswer("{}\n");
    response.headers = {{"Set-Cookie", cookie("", 0)}};
    return response;
}

// ---- Writing

Response PageDoor::Desk::parse(const Request& request) {
    JsonBody body(request.body, {"tag", "text"});
    const std::int64_t tag = body.integer("tag", 0, kLargestTime);
    const std::string text = body.text("text", kMostTextBytes);
    if (!body.problem().empty()) {
        return badBody(body.problem());
    }
    if (std::optional<Response> problem = numberProblem(tag)) {
        return *problem;
    }
    std::string error;
    const std::size_t number = static_cast<std::size_t>(tag);
    const std::optional<host::HostValues> values = plant_.parse(number, text, &error);
    if (!values) {
        return errorAnswer(422, error, "type another value");
    }
    return jsonAnswer("{\"parsed\":" + textsJson(textsWithoutUnit(plant_, number, plant_.textsOf(number, *values))) +
                      "}\n");
}

// Why what is on the screen may not be what the PLC holds; nothing when it is.
std::optional<std::string> PageDoor::Desk::lockedBecause(std::size_t tag) const {
    const host::SessionStatus status = plant_.status();
    if (!status.isOnline) {
        return "the PLC is not connected";
    }
    if (status.program.doubt.occurred()) {
        return status.program.doubt.text;
    }
    const host::TagValue value = plant_.changedSince(0, {tag}).front().second.value;
    return isSure(value) ? std::nullopt
                         : std::optional<std::string>(
                               fmt::format("the value is not fresh ({})", host::valueStateName(value.state)));
}

Response PageDoor::Desk::write(const Request& request) {
    JsonBody body(request.body, {"stream", "tag", "text", "old", "expires_ms", "number"});
    const std::string id = body.text("stream", 64);
    const std::int64_t tag = body.integer("tag", 0, kLargestTime);
    const std::string text = body.text("text", kMostTextBytes);
    const std::vector<std::string> old = body.texts("old", 4096, kMostTextBytes);
    const std::int64_t expiresMs = body.integer("expires_ms", 1, kLongestExpiryMs);
    const std::string number = body.text("number", host::WritePath::kLongestNumber);
    if (!body.problem().empty()) {
        return badBody(body.problem());
    }
    const std::optional<http::TokenLine> viewer = viewerOf(request);
    if (!viewer) {
        return errorAnswer(401, "only who has signed in may write", "sign in with a token that may write");
    }
    if (viewer->right != http::Right::Write) {
        return errorAnswer(403, "the token " + viewer->name + " may look and not write",
                           "sign in with a token that may write");
    }
    if (std::optional<Response> problem = numberProblem(tag)) {
        return *problem;
    }
    const std::size_t place = static_cast<std::size_t>(tag);
    if (!plant_.tags()[place].isWritable) {
        return errorAnswer(403, "this tag is not written by the page", "name it in \"write\" of the settings");
    }
    if (number.empty()) {
        return errorAnswer(400, "a write has a number of its own", "send one that was not used before");
    }
    const std::shared_ptr<PageStream> found = viewers_.find(id);
    if (!found || found->owner().signIn != signInOf(request)) {
        return errorAnswer(409, "this stream has ended, or is another's", "open one, which is where the outcome comes");
    }
    if (!found->hasRoomForWrite()) {
        return errorAnswer(429, "too many writes are underway", "wait for their outcomes");
    }
    if (const std::optional<std::string> reason = lockedBecause(place)) {
        return errorAnswer(409, *reason, "wait until it is known what the PLC holds");
    }
    std::string error;
    PlantWrite order;
    order.tag = place;
    order.replaces = plant_.valuesOf(place, old, &error);
    if (!order.replaces) {
        return errorAnswer(422, "\"old\" is no value of the tag: " + error, "send what was shown");
    }
    const std::optional<host::HostValues> values = plant_.parse(place, text, &error);
    if (!values) {
        return errorAnswer(422, error, "type another value");
    }
    order.values = *values;
    order.expires = Milliseconds(expiresMs);
    order.number = number;
    order.who = viewer->name;
    host::Failure failure;
    const std::optional<host::WriteTicket> ticket = plant_.write(order, &failure);
    if (!ticket) {
        return errorAnswer(403, failure.text, "look at the gateway's settings");
    }
    found->tellOutcome(place, number, *ticket);
    wakeStreams();
    return jsonAnswer(fmt::format("{{\"number\":{},\"parsed\":{}}}\n", http::jsonText(number),
                                  textsJson(textsWithoutUnit(plant_, place, plant_.textsOf(place, *values)))),
                      202);
}

// ---- PageDoor

bool isSure(const host::TagValue& value) {
    const bool isReadAgain = value.state == host::ValueState::WriteFailed && value.isKnown &&
                             !value.suspicion.occurred() && value.age && *value.age < kStaleAge;
    return value.state == host::ValueState::Fresh || isReadAgain;
}

std::unique_ptr<PageDoor> PageDoor::open(const Parts& parts, std::string* error) {
    auto desk = std::make_unique<Desk>(parts);
    if (!desk->open(error)) {
        return nullptr;
    }
    return std::unique_ptr<PageDoor>(new PageDoor(std::move(desk)));
}

PageDoor::PageDoor(std::unique_ptr<Desk> desk) : desk_(std::move(desk)) {}

PageDoor::~PageDoor() = default;

std::uint16_t PageDoor::port() const {
    return desk_->port();
}

std::string PageDoor::url() const {
    return desk_->url();
}

std::size_t PageDoor::viewers() const {
    return desk_->viewers();
}

}  // namespace ac500::gateway
