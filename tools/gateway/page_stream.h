// PageStream is what one visible page is sent: events, as browsers know them (text/event-stream). Nothing is queued: each
// time the viewer has taken what there was, it gets what is the latest then. The board's revision and the numbers of
// events say what it has already; a page that falls behind gets fewer and later pictures of the same truth.
//
// Viewers knows all of them, and how many there may be.
#ifndef AC500_TOOLS_GATEWAY_PAGE_STREAM_H
#define AC500_TOOLS_GATEWAY_PAGE_STREAM_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/gateway/plant.h"
#include "tools/http/message.h"

namespace ac500::gateway {

// Of all streams, so that one thread gives it; each step is followed by a waking of the streams.
struct StreamClock {
    std::atomic<std::uint64_t> beats{0};  // one each second
    std::atomic<std::uint64_t> turns{0};  // so often changes are sent
};

// Any thread, but next(), which belongs to the server's.
class PageStream {
public:
    static constexpr std::size_t kMostTags = 500;
    static constexpr std::size_t kMostWrites = 16;  // underway

    struct Owner {
        std::string address;
        std::string signIn;   // the cookie's value; empty: nobody
        std::string browser;  // likewise: the same for all its tabs, as long as one of them is a viewer
    };
    // `mayStay` is asked with each beat; what is referenced must outlive the stream.
    PageStream(Plant& plant, const StreamClock& clock, std::string id, Owner owner, std::function<bool()> mayStay);

    const std::string& id() const { return id_; }
    const Owner& owner() const { return owner_; }

    // What is sent from now on, beginning with a picture; a tag that is named twice is sent once. REQUIRES: numbers of tags,
    // kMostTags at most
    void watch(const std::vector<std::size_t>& tags);
    // Its outcome is told here. False: too many are underway.
    bool hasRoomForWrite() const;
    void tellOutcome(std::size_t tag, const std::string& number, const host::WriteTicket& ticket);

    http::BodySource::Next next(std::string* part);
    // The next part is none: the stream ends.
    void end() { isEnded_ = true; }

private:
    // One time through all that is watched, in pieces; the first picture is one as all changes are.
    struct Round {
        std::size_t next = 0;       // the place in `watched_` where the next piece begins
        std::uint64_t since = 0;    // changes since that revision; 0: everything
        std::uint64_t reached = 0;  // the revision at its begin: what changes later is for the next round
    };
    struct Underway {
        std::size_t tag;
        std::string number;
        host::WriteTicket ticket;
    };

    // Each adds an event when there is one.
    void hello(std::string* part);
    bool beat(std::string* part);  // false: the stream is to end
    void outcomes(std::string* part);
    void happened(std::string* part);
    void beginChanges();
    void piece(std::string* part);

    Plant& plant_;
    const StreamClock& clock_;
    const std::string id_;
    const Owner owner_;
    const std::function<bool()> mayStay_;
    std::atomic<bool> isEnded_{false};

    mutable std::mutex mutex_;
    // Protected by mutex_
    std::vector<std::size_t> watched_;
    std::optional<Round> round_;  // nothing between two
    std::uint64_t sentRevision_ = 0;
    std::vector<Underway> writes_;

    // The server's thread
    bool isGreeted_ = false;
    std::uint64_t sentBeat_ = 0;
    std::size_t nextEvent_ = 0;
    std::uint64_t sentTurn_ = 0;
};

// Any thread. REQUIRES: it outlives the streams' sources.
class Viewers {
public:
    struct Limits {
        std::size_t all = 32;
        std::size_t ofAddress = 4;
    };
    explicit Viewers(const Limits& limits) : limits_(limits) {}

    enum class Room { Free, NoneForAddress, None };
    Room roomFor(const std::string& address) const;
    // Is a tab of that browser a viewer?
    bool isViewing(const std::string& browser) const;
    // Null when there is no room for it. The viewer is one until the source is destroyed, or another one takes its place: by
    // `replaces`, the id of a stream of the same address, which nobody knows but who was sent it. That stream ends then.
    std::shared_ptr<http::BodySource> add(std::shared_ptr<PageStream> stream, const std::string& replaces);
    // Null without it.
    std::shared_ptr<PageStream> find(const std::string& id) const;
    std::size_t count() const;
    const Limits& limits() const { return limits_; }

private:
    class Source;
    Room roomForLocked(const std::string& address) const;
    void remove(const std::string& id);

    const Limits limits_;
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<PageStream>> streams_;  // mutex_
};

}  // namespace ac500::gateway

#endif
