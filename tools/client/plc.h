// Plc is one open PLC of a program: its symbols, a copy of the driver, a session, and the subscriptions to its values. Every
// function may be called from any thread; those that ask the PLC return within the time limit.
//
// It ends twice: close() ends everything that happens, and when the last caller has left, its memory goes.
#ifndef AC500_TOOLS_CLIENT_PLC_H
#define AC500_TOOLS_CLIENT_PLC_H

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tools/client/exit_guard.h"
#include "tools/client/result.h"
#include "tools/client/value_set.h"
#include "tools/host/host_session.h"
#include "tools/host/write_path.h"

namespace ac500::via {
class ViaSession;
}

namespace ac500::client {

class Subscription;

using TagRef = std::shared_ptr<const host::Tag>;

struct PlcSettings {
    std::string symbols;
    std::vector<std::string> drivers;  // where it is looked for, in this order
    bool simulator = false;            // the simulator's own variables are known, too
    std::string via;  // the socket of a gateway whose session is used, and whose symbols if none are named; empty: none
    host::Milliseconds timeLimit{5000};
    std::string handshake;          // file of what was learned of the PLC's replies to it; empty: none
    host::SessionSettings session;  // writeDeadline is set by the time limit, handshake from its file
};

// One write, and what became of it.
struct PlcWrite {
    TagRef tag;
    host::HostValues values;                   // as the PLC gets them
    std::optional<host::HostValues> replaces;  // what it must hold before
    ac500_outcome outcome = AC500_PENDING;
    Result result;
};

class Plc : public std::enable_shared_from_this<Plc> {
public:
    // Null on failure; *failure then says why.
    static std::shared_ptr<Plc> open(const PlcSettings& settings, Result* failure);
    ~Plc();
    Plc(const Plc&) = delete;
    Plc& operator=(const Plc&) = delete;

    // Was it opened by this process, or by one of which this is a child? Then it must not be used here: its threads are not
    // here, and locks of theirs may be held for ever.
    bool isOfThisProcess() const { return process_ == ::getpid(); }

    // Ends the session, the subscriptions and their thread. Calls that wait return AC500_CLOSED. Idempotent. Nothing in
    // another process.
    void close();
    bool isClosed() const { return isClosed_; }

    const host::TagTable& tags() const { return tags_; }
    // The tags of these names, one for each; equal names are looked up once. All that are wrong are told: there is no such tag,
    // or the driver has it elsewhere. `begun`: when the call began that wants them.
    //
    // A gateway that has the driver is asked for those that it was never asked for, in the first half of the time limit. When
    // it does not answer nothing is known against them, and *unanswered says why it does not.
    Result findTags(const std::vector<std::string_view>& names, host::Time begun, std::vector<TagRef>* tags,
                    host::Failure* unanswered) const;

    // Asks the PLC for something, so that a session is opened.
    Result waitOnline(host::Milliseconds timeout);
    host::SessionStatus status() const { return session_->status(); }
    host::Time now() const { return clock_.now(); }
    // What speaks against the program being the one that the handshake was learned of; empty when nothing does.
    std::string handshakeText() const;
    host::Milliseconds timeLimit() const { return settings_.timeLimit; }

    // Asks the PLC. *entries is filled unless the PLC is closed; the result is that of the first that was read in vain. The
    // time limit counts from `begun`.
    Result read(const std::vector<TagRef>& tags, host::Time begun, std::vector<ValueEntry>* entries);
    // What is known.
    ValueEntry latest(const TagRef& tag) const;
    // The same for who looks whether there is anything new.
    host::TagValue glance(const host::Tag& tag) const { return session_->glance(tag); }
    // With its age as it is now.
    ValueEntry entryOf(const TagRef& tag, const host::TagValue& value) const;

    // Sends all of them and waits for all. The time limit counts from `begun`. REQUIRES: no two overlap.
    Result write(std::vector<PlcWrite>* writes, host::Time begun);

    // The tags are read in every cycle until the subscription is taken back.
    Result add(const std::shared_ptr<Subscription>& subscription);
    void remove(const Subscription& subscription);

private:
    struct Reading;
    struct WatchedTag {
        TagRef tag;
        std::size_t uses = 0;  // how often subscriptions have it
    };

    Plc(const PlcSettings& settings, host::TagTable tags);
    static std::shared_ptr<Plc> openOwn(const PlcSettings& settings, Result* failure);
    static std::shared_ptr<Plc> openVia(const PlcSettings& settings, Result* failure);
    void closeAtExit();
    static host::SessionSettings sessionSettings(const PlcSettings& settings);

    // When what a call began to write must have been handed over.
    host::Time handoverDeadline(host::Time begun) const { return begun + host::Time(settings_.timeLimit) / 2; }
    std::optional<host::Tag> findTag(const std::string& name, std::string* error) const;
    std::optional<host::Tag> anyTag() const;
    Result waitOnlineUntil(host::Time deadline) const;
    bool waitsUntil(host::Time deadline, std::size_t seen) const;
    void finishReading(Reading* reading, host::Time begun, host::Time deadline);
    ValueEntry entryOf(const TagRef& tag, const Reading& reading, host::Time begun) const;
    Result missing(const std::string& what, host::Time begun) const;
    void finishWrite(PlcWrite* write, const host::WriteTicket& ticket, host::Time deadline);

    // REQUIRES, all of them: watchMutex_ is held
    void startWatching();
    void addWatched(const std::vector<TagRef>& tags);
    void removeWatched(const std::vector<TagRef>& tags, std::size_t count);
    void pollWatched();

    void watch();
    void lookForNews();
    void endWatching();

    const pid_t process_ = ::getpid();
    const PlcSettings settings_;
    const std::vector<std::string> handshakeDoubts_;
    const host::TagTable tags_;
    host::SteadyClock clock_;

    // Constant once it is open
    std::unique_ptr<host::DriverLibrary> driver_;  // null when a gateway has it
    std::unique_ptr<host::Session> session_;
    const host::HostSession* ownSession_ = nullptr;  // session_; null when a gateway has it
    std::unique_ptr<host::WritePath> ownWrites_;     // null when a gateway has them
    host::WriteOrders* writes_ = nullptr;            // ownWrites_, or gateway_
    via::ViaSession* gateway_ = nullptr;             // session_; null when it is our own
    std::unique_ptr<ExitGuard> exitGuard_;

    std::atomic<bool> isClosed_{false};
    std::mutex closing_;  // held while close() works, so that a second caller waits for the first

    mutable std::mutex watchMutex_;
    std::condition_variable watchEnded_;
    std::vector<std::shared_ptr<Subscription>> subscriptions_;  // watchMutex_
    std::map<std::string, WatchedTag> watched_;                 // watchMutex_; by its text
    std::thread watcher_;                                       // watchMutex_; begins with the first subscription
    bool isWatching_ = false;                                   // watchMutex_
};

}  // namespace ac500::client

#endif
