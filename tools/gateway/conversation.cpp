#include "tools/gateway/conversation.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace ac500::gateway {

using host::Failure;
using host::FailureKind;
using host::Milliseconds;
using host::Order;
using host::OrderStep;
using host::SessionEvent;
using host::SessionStatus;
using host::Tag;
using host::TagValue;
using host::Time;
using host::WriteOutcome;
using host::WriteReport;
using via::Json;

namespace {

// A client gets news no closer together than this, and the counts of the session not more often than that.
constexpr Milliseconds kShortestPause{20};
constexpr Milliseconds kCountsEvery{250};
// So often values are looked at when nothing was received.
constexpr Milliseconds kAgeingEvery{100};
// So often, while a write waits, the session looks whether its time is over.
constexpr Milliseconds kDeadlinesEvery{50};

Json errorOf(const Json& request, const std::string& what, const std::string& next) {
    Json answer{{"error", {{"what", what}, {"next", next}}}};
    if (request.contains("id")) {
        answer["id"] = request["id"];
    }
    return answer;
}

// Of what a client waits for: what it would not miss is left out.
bool hasTurned(const SessionStatus& a, const SessionStatus& b) {
    return a.isOnline != b.isOnline || a.state != b.state || a.events != b.events ||
           a.program.state != b.program.state || a.program.doubt.text != b.program.doubt.text;
}

}  // namespace

Conversation::Conversation(Plant& plant, std::string who)
    : plant_(plant), who_(std::move(who)), nextEvent_(plant.session().status().events) {}

Conversation::~Conversation() {
    stopWatching();
    for (const auto& [order, reading] : readings_) {
        plant_.session().giveUpReading(reading.serial);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What it asks for
// ---------------------------------------------------------------------------------------------------------------------

bool Conversation::take(const std::string& line, std::vector<Json>* answers) {
    const std::optional<Json> message = via::messageOf(line);
    const std::optional<std::int64_t> id = message ? via::numberAt(*message, "id") : std::nullopt;
    if (!id) {
        const Json none = Json::object();
        answers->push_back(errorOf(message ? *message : none, "a line is no request",
                                   "send JSON objects with id and do, one a line: docs/gateway-socket.md"));
        return false;
    }
    const std::string what = via::textAt(*message, "do");
    std::string problem;
    if (what == "news") {
        newsId_ = *id;
    } else if (what == "find") {
        answers->push_back(find(*message));
    } else if (what == "watch") {
        answers->push_back(watch(*message, *id));
    } else if (what == "read") {
        problem = read(*message);
    } else if (what == "give up") {
        problem = giveUp(*message);
    } else if (what == "write") {
        problem = write(*message);
    } else if (what == "latency") {
        answers->push_back(via::jsonOf(plant_.latencies()));
        answers->back()["id"] = *id;
    } else {
        problem = "there is no request \"" + what + "\"";
    }
    if (!problem.empty()) {
        answers->push_back(errorOf(*message, problem, "docs/gateway-socket.md has the requests"));
    }
    return true;
}

std::optional<Tag> Conversation::tagOf(const Json& text, std::string* problem) const {
    if (!text.is_string()) {
        *problem = "the name of a tag is no text";
        return std::nullopt;
    }
    std::optional<Tag> tag = plant_.symbols().find(text.get<std::string>(), problem);
    return tag && plant_.session().driverKnows(*tag, problem) ? tag : std::nullopt;
}

Json Conversation::find(const Json& request) const {
    const Json& texts = via::arrayAt(request, "tags");
    if (texts.size() > via::kMostTags) {
        return errorOf(request, fmt::format("{} tags at once, and {} is the most", texts.size(), via::kMostTags),
                       "ask for them in parts");
    }
    Json problems = Json::array();
    for (const Json& text : texts) {
        std::string problem;
        if (!tagOf(text, &problem)) {
            problems.push_back(problem);
        }
    }
    return {{"id", request["id"]}, {"problems", problems}};
}

void Conversation::stopWatching() {
    if (polling_) {
        plant_.stopPolling(*polling_);
        polling_.reset();
    }
    watched_.clear();
}

// What the plant reads anyway costs it nothing.
Json Conversation::watch(const Json& request, std::int64_t id) {
    const Json& texts = via::arrayAt(request, "tags");
    if (texts.size() > via::kMostTags) {
        return errorOf(request, fmt::format("{} tags at once, and {} is the most", texts.size(), via::kMostTags),
                       "watch fewer");
    }
    stopWatching();
    receptions_.reset();
    watch_ = id;
    Json problems = Json::array();
    std::vector<Tag> others;
    for (const Json& text : texts) {
        std::string problem;
        std::optional<Tag> tag = tagOf(text, &problem);
        if (!tag) {
            problems.push_back(problem);
        } else if (!plant_.numberOf(tag->text)) {
            others.push_back(*tag);
        }
        watched_.push_back({std::move(tag), std::nullopt});
    }
    if (!others.empty()) {
        polling_ = plant_.startPolling(others);
    }
    return {{"id", id}, {"problems", problems}};
}

// One of a tag that is none ends as one that could be ordered: its end waits for the client to ask for news.
std::string Conversation::read(const Json& request) {
    const std::optional<std::int64_t> order = via::numberAt(request, "order");
    if (!order || readings_.count(*order) != 0) {
        return "a reading needs an order number of its own";
    }
    if (readings_.size() + refused_.size() >= via::kMostReadings) {
        return fmt::format("more than {} readings wait already", via::kMostReadings);
    }
    std::string problem;
    const auto name = request.find("tag");
    const std::optional<Tag> tag = tagOf(name == request.end() ? Json() : *name, &problem);
    if (!tag && (name == request.end() || !name->is_string())) {
        return problem;
    }
    if (!tag) {
        refused_.push_back({{"order", *order}, {"failure", via::jsonOf(Failure{FailureKind::Name, problem})}});
        return {};
    }
    readings_[*order] = {*tag, plant_.session().readOnce(*tag)};
    return {};
}

std::string Conversation::giveUp(const Json& request) {
    const auto reading = readings_.find(via::numberAt(request, "order").value_or(-1));
    if (reading != readings_.end()) {
        plant_.session().giveUpReading(reading->second.serial);
        readings_.erase(reading);
    }
    return {};
}

// One that cannot be ordered ends as one that could: with its outcome, which waits for the client to ask for news.
std::string Conversation::write(const Json& message) {
    const std::optional<std::int64_t> order = via::numberAt(message, "order");
    if (!order || writes_.count(*order) != 0) {
        return "a write needs an order number of its own";
    }
    if (writes_.size() + reports_.size() >= via::kMostWrites) {
        return fmt::format("more than {} writes wait already", via::kMostWrites);
    }
    std::string problem;
    std::optional<host::WriteRequest> request = via::writeRequestOf(message, plant_.symbols(), &problem);
    Failure failure = request ? Failure() : Failure{FailureKind::Usage, problem};
    if (failure.occurred() || !plant_.mayWrite(request->tag, &failure)) {
        failure.text = "not sent: " + failure.text;
        Json report = via::jsonOf(Tag(), WriteReport{WriteOutcome::NotSent, failure, {}, {}});
        report["order"] = *order;
        reports_.push_back(report);
        return {};
    }
    request->who = who_;
    writes_[*order] = {request->tag, plant_.writes().order(*request)};
    return {};
}

// ---------------------------------------------------------------------------------------------------------------------
// What it is told
// ---------------------------------------------------------------------------------------------------------------------

std::optional<Json> Conversation::news() {
    const Time now = plant_.now();
    if (!newsId_ || now - toldAt_ < kShortestPause) {
        return std::nullopt;
    }
    Json news{{"id", *newsId_}};
    bool isNews = addStatus(&news, now);
    isNews = addEvents(&news) || isNews;
    isNews = addEnded(&news) || isNews;
    isNews = addWrites(&news, now) || isNews;
    isNews = (isTimeToLook(now) && addValues(&news)) || isNews;
    if (!isNews && now - toldAt_ < via::kBeat) {
        return std::nullopt;
    }
    news["clock"] = plant_.now().count();
    newsId_.reset();
    toldAt_ = now;
    statusAt_ = news.contains("session") ? now : statusAt_;
    return news;
}

// The counts alone are no news: they go along with others.
bool Conversation::addStatus(Json* news, Time now) {
    SessionStatus status = plant_.session().status();
    const bool isNews = !status_ || hasTurned(*status_, status);
    if (isNews || now - statusAt_ >= kCountsEvery) {
        (*news)["session"] = via::jsonOf(status);
        if (isNews) {
            status_ = std::move(status);
        }
    }
    return isNews;
}

bool Conversation::addEvents(Json* news) {
    for (const SessionEvent& event : plant_.session().eventsSince(nextEvent_)) {
        nextEvent_ = event.number + 1;
        (*news)["events"].push_back(via::jsonOf(event));
    }
    return news->contains("events");
}

// With the value that a reading brought.
bool Conversation::addEnded(Json* news) {
    Json ends = std::exchange(refused_, Json::array());
    for (auto reading = readings_.begin(); reading != readings_.end();) {
        const std::optional<Order> order = plant_.session().order(reading->second.serial);
        if (order && !host::hasEnded(order->step)) {
            ++reading;
            continue;
        }
        const Tag& tag = reading->second.tag;
        Json ended{{"order", reading->first}, {"value", via::jsonOf(tag, plant_.session().glance(tag))}};
        if (!order) {
            ended["failure"] =
                via::jsonOf(Failure{FailureKind::Request, "too many readings at once: its end was forgotten"});
        } else if (order->failure.occurred()) {
            ended["failure"] = via::jsonOf(order->failure);
        }
        ends.push_back(std::move(ended));
        reading = readings_.erase(reading);
    }
    if (!ends.empty()) {
        (*news)["ended"] = std::move(ends);
    }
    return news->contains("ended");
}

// A session that pauses between two attempts to connect does not look at deadlines by itself.
bool Conversation::addWrites(Json* news, Time now) {
    if (!writes_.empty() && now - checkedAt_ >= kDeadlinesEvery) {
        checkedAt_ = now;
        plant_.session().checkDeadlines();
    }
    Json reports = std::exchange(reports_, Json::array());
    for (auto write = writes_.begin(); write != writes_.end();) {
        const WriteReport forgotten{WriteOutcome::Unknown,
                                    {FailureKind::Request, "too many writes at once: what became of it was forgotten"},
                                    {},
                                    {}};
        const WriteReport report = plant_.writes().report(write->second.ticket).value_or(forgotten);
        if (report.outcome == WriteOutcome::Pending) {
            ++write;
            continue;
        }
        Json told = via::jsonOf(write->second.tag, report);
        told["order"] = write->first;
        reports.push_back(std::move(told));
        write = writes_.erase(write);
    }
    if (!reports.empty()) {
        (*news)["writes"] = std::move(reports);
    }
    return news->contains("writes");
}

// Values change with a reception; what ages, or is being written, a little later.
bool Conversation::isTimeToLook(Time now) {
    const std::size_t receptions = plant_.session().receptions();
    if (receptions_ == receptions && now - lookedAt_ < kAgeingEvery) {
        return false;
    }
    receptions_ = receptions;
    lookedAt_ = now;
    return true;
}

// Most tags of a pass were received together: those that have not changed are told by the moment that they share.
bool Conversation::addValues(Json* news) {
    std::map<std::int64_t, Json> again;
    for (std::size_t i = 0; i < watched_.size(); ++i) {
        Watched& watched = watched_[i];
        if (!watched.tag) {
            continue;
        }
        TagValue value = plant_.session().glance(*watched.tag);
        if (!watched.told || !host::isSameButAge(*watched.told, value)) {
            Json told = via::jsonOf(*watched.tag, value);
            told["tag"] = i;
            (*news)["values"].push_back(std::move(told));
            plant_.countPublished(1);
        } else if (value.received && value.received != watched.told->received) {
            again[value.received->count()].push_back(i);
        } else {
            continue;
        }
        watched.told = std::move(value);
    }
    for (auto& [received, tags] : again) {
        (*news)["again"].push_back({{"received", received}, {"tags", std::move(tags)}});
    }
    (*news)["watch"] = watch_;
    return news->contains("values") || news->contains("again");
}

}  // namespace ac500::gateway
