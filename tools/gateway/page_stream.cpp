#include "tools/gateway/page_stream.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "tools/gateway/page/assets.h"
#include "tools/gateway/page_json.h"

namespace ac500::gateway {

using host::Time;
using http::BodySource;

namespace {

// Of a piece, so that no viewer costs more memory than a part takes.
constexpr std::size_t kPieceElements = 1000;
constexpr std::size_t kMostEvents = 100;  // in one part

void addEvent(const char* name, const std::string& data, std::string* part) {
    *part += fmt::format("event: {}\ndata: {}\n\n", name, data);
}

}  // namespace

PageStream::PageStream(Plant& plant, const StreamClock& clock, std::string id, Owner owner,
                       std::function<bool()> mayStay)
    : plant_(plant), clock_(clock), id_(std::move(id)), owner_(std::move(owner)), mayStay_(std::move(mayStay)) {}

void PageStream::watch(const std::vector<std::size_t>& tags) {
    const std::lock_guard<std::mutex> guard(mutex_);
    watched_.clear();
    std::set<std::size_t> known;
    std::copy_if(tags.begin(), tags.end(), std::back_inserter(watched_),
                 [&](std::size_t tag) { return known.insert(tag).second; });
    round_ = Round{0, 0, plant_.revision()};
}

bool PageStream::hasRoomForWrite() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return writes_.size() < kMostWrites;
}

void PageStream::tellOutcome(std::size_t tag, const std::string& number, const host::WriteTicket& ticket) {
    const std::lock_guard<std::mutex> guard(mutex_);
    writes_.push_back({tag, number, ticket});
}

BodySource::Next PageStream::next(std::string* part) {
    if (isEnded_) {
        return BodySource::Next::End;
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!isGreeted_) {
        hello(part);
        return BodySource::Next::Part;
    }
    if (!beat(part)) {
        return BodySource::Next::End;
    }
    outcomes(part);
    happened(part);
    if (!round_) {
        beginChanges();
    }
    if (round_) {
        piece(part);
    }
    return part->empty() ? BodySource::Next::Later : BodySource::Next::Part;
}

void PageStream::hello(std::string* part) {
    isGreeted_ = true;
    nextEvent_ = plant_.status().events;  // those before are asked for by themselves
    const Time now = plant_.now();
    addEvent("hello",
             fmt::format(R"({{"build":"{}","stream":"{}","clock":{},"utc":"{}"}})", pageBuild(), id_, pageClock(now),
                         utcAt(plant_, now)),
             part);
}

bool PageStream::beat(std::string* part) {
    const std::uint64_t beats = clock_.beats;
    if (beats == sentBeat_) {
        return true;
    }
    sentBeat_ = beats;
    if (!mayStay_()) {
        return false;
    }
    addEvent("beat", beatJson(plant_, watched_), part);
    return true;
}

void PageStream::outcomes(std::string* part) {
    for (auto write = writes_.begin(); write != writes_.end();) {
        const std::optional<host::WriteReport> report = plant_.report(write->ticket);
        if (report && report->outcome == host::WriteOutcome::Pending) {
            ++write;
            continue;
        }
        host::WriteReport forgotten;
        forgotten.outcome = host::WriteOutcome::Unknown;
        forgotten.failure = {host::FailureKind::Request, "what became of it is not remembered any more"};
        addEvent("write", writeJson(plant_, write->tag, write->number, report.value_or(forgotten)), part);
        write = writes_.erase(write);
    }
}

void PageStream::happened(std::string* part) {
    if (plant_.status().events <= nextEvent_) {
        return;
    }
    std::vector<host::SessionEvent> events = plant_.eventsSince(nextEvent_);
    if (events.size() > kMostEvents) {
        events.resize(kMostEvents);
    }
    if (!events.empty()) {
        nextEvent_ = events.back().number + 1;
        addEvent("happened", eventsJson(events), part);
    }
}

void PageStream::beginChanges() {
    const std::uint64_t turn = clock_.turns;
    const std::uint64_t revision = plant_.revision();
    if (turn != sentTurn_ && revision != sentRevision_) {
        sentTurn_ = turn;
        round_ = Round{0, sentRevision_, revision};
    }
}

// At most kPieceElements elements, or one tag. The first piece of a picture is the picture, also an empty one; the others are
// changes to it. What has no changes is passed over.
void PageStream::piece(std::string* part) {
    const bool isPicture = round_->since == 0 && round_->next == 0;
    std::vector<BoardEntry> entries;
    while (entries.empty() && round_->next < watched_.size()) {
        std::vector<std::size_t> tags;
        std::size_t elements = 0;
        while (round_->next < watched_.size()) {
            const std::size_t tag = watched_[round_->next];
            elements += static_cast<std::size_t>(plant_.tags()[tag].tag.elements);
            if (!tags.empty() && elements > kPieceElements) {
                break;
            }
            tags.push_back(tag);
            ++round_->next;
        }
        entries = plant_.changedSince(round_->since, tags);
    }
    if (round_->next == watched_.size()) {
        sentRevision_ = round_->reached;
        round_.reset();
    }
    if (isPicture || !entries.empty()) {
        addEvent(isPicture ? "picture" : "changes", valuesJson(plant_, entries), part);
        plant_.countPublished(entries.size());
    }
}

// ---- Viewers

class Viewers::Source : public BodySource {
public:
    Source(Viewers& viewers, std::shared_ptr<PageStream> stream) : viewers_(viewers), stream_(std::move(stream)) {}
    ~Source() override { viewers_.remove(stream_->id()); }
    Next next(std::string* part) override { return stream_->next(part); }

private:
    Viewers& viewers_;
    const std::shared_ptr<PageStream> stream_;
};

Viewers::Room Viewers::roomForLocked(const std::string& address) const {
    const auto ofAddress = std::count_if(streams_.begin(), streams_.end(),
                                         [&](const auto& entry) { return entry.second->owner().address == address; });
    if (streams_.size() >= limits_.all) {
        return Room::None;
    }
    return static_cast<std::size_t>(ofAddress) >= limits_.ofAddress ? Room::NoneForAddress : Room::Free;
}

Viewers::Room Viewers::roomFor(const std::string& address) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return roomForLocked(address);
}

bool Viewers::isViewing(const std::string& browser) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return std::any_of(streams_.begin(), streams_.end(),
                       [&](const auto& entry) { return entry.second->owner().browser == browser; });
}

std::shared_ptr<BodySource> Viewers::add(std::shared_ptr<PageStream> stream, const std::string& replaces) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto replaced = streams_.find(replaces);
    if (replaced != streams_.end() && replaced->second->owner().address == stream->owner().address) {
        replaced->second->end();
        streams_.erase(replaced);
    }
    if (roomForLocked(stream->owner().address) != Room::Free) {
        return nullptr;
    }
    streams_.emplace(stream->id(), stream);
    return std::make_shared<Source>(*this, std::move(stream));
}

std::shared_ptr<PageStream> Viewers::find(const std::string& id) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = streams_.find(id);
    return found == streams_.end() ? nullptr : found->second;
}

std::size_t Viewers::count() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return streams_.size();
}

void Viewers::remove(const std::string& id) {
    const std::lock_guard<std::mutex> guard(mutex_);
    streams_.erase(id);
}

}  // namespace ac500::gateway
