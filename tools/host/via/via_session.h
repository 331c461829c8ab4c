// ViaSession is a session that a gateway on this machine has: what it knows is what the gateway tells over its Unix socket
// (docs/gateway-socket.md), what it is asked for it hands on. It answers as HostSession does, with the ages of the gateway's
// receptions, and what was received before it began counts only while it is fresh.
//
// One thread talks to the gateway and keeps a copy of what it tells; everybody else looks at that. A gateway that is gone,
// or has said nothing for three seconds, is tried again until it is back: meanwhile nothing is fresh, readings fail, writes
// that were handed to it are unknown. Events are numbered from 0 by this session, however often the gateway began anew.
//
// What is measured of a gateway's session is that of all who use it: resetLatencies() does nothing.
#ifndef AC500_TOOLS_HOST_VIA_VIA_SESSION_H
#define AC500_TOOLS_HOST_VIA_VIA_SESSION_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/host/session.h"
#include "tools/host/via/line_buffer.h"
#include "tools/host/via/message.h"
#include "tools/host/write_orders.h"

namespace ac500::via {

class ViaSession : public host::Session, public host::WriteOrders {
public:
    // Reaches the gateway at a path and waits for its first words, at most `patience`. Null on failure; *failure then says what
    // is wrong where, and what to do about it. The clock must outlive the session.
    static std::unique_ptr<ViaSession> connect(const std::string& socket, const host::Clock& clock,
                                               host::Milliseconds patience, host::Failure* failure);
    ~ViaSession() override;
    ViaSession(const ViaSession&) = delete;
    ViaSession& operator=(const ViaSession&) = delete;

    // What the gateway said of itself first.
    const Hello& gateway() const { return hello_; }

    // Begins to ask. `tags` must outlive the session. A write that could not be handed to the PLC within `writeDeadline` is
    // not sent. False, and *failure says why, when the gateway has other symbols. To be called once, before all below.
    bool begin(const host::TagTable& tags, host::Milliseconds writeDeadline, host::Failure* failure);

    // How long a question waits for its answer, which takes the gateway no look at the PLC, unless its caller says otherwise.
    static constexpr host::Milliseconds kPatience{3000};

    // Does the gateway's driver know all of them? What it says of those that it does not is added to *problems. False, and
    // *failure says why, when the gateway does not answer until the deadline. What it knew once it is not asked again.
    bool findAll(const std::vector<host::Tag>& tags, host::Time deadline, std::vector<std::string>* problems,
                 host::Failure* failure) const;

    // Session
    void stop() override;
    const std::vector<host::Tag>& guards() const override { return guards_; }
    bool driverKnows(const host::Tag& tag, std::string* error) const override;
    void poll(const std::vector<host::Tag>& tags) override;
    std::int32_t readOnce(const host::Tag& tag) override;
    void giveUpReading(std::int32_t serial) override;
    std::optional<host::Order> order(std::int32_t serial) const override;
    host::TagValue value(const host::Tag& tag) const override;
    host::TagValue glance(const host::Tag& tag) const override { return value(tag); }
    bool isKnown(const host::Tag& tag) const override { return value(tag).isKnown; }
    host::SessionStatus status() const override;
    const host::SessionSettings& settings() const override { return hello_.session; }
    std::vector<host::SessionEvent> eventsSince(std::size_t first) const override;
    // Asks the gateway; what it told last when it does not answer.
    host::Latencies latencies() const override;
    void resetLatencies() override {}
    void waitForChange(host::Milliseconds timeout) const override;
    std::size_t changes() const override;
    void waitForChangeAfter(std::size_t seen, host::Milliseconds timeout) const override;
    std::size_t receptions() const override;
    void checkDeadlines() override {}

    // WriteOrders
    host::WriteTicket order(const host::WriteRequest& request) override;
    std::optional<host::WriteReport> report(const host::WriteTicket& ticket) const override;

private:
    struct Write {
        host::Tag tag;
        host::WriteReport report;
        std::int64_t request = 0;  // by which it was ordered
    };

    ViaSession(const std::string& socket, const host::Clock& clock);

    // Of the thread that talks; before it begins, of its creator
    bool reach(host::Time deadline, std::string* error);
    void work();
    void converse();
    void stayConnected();
    host::Milliseconds untilWork() const;
    void waitForWork(host::Milliseconds timeout);
    bool sendSome();
    bool receiveSome(std::string* error);
    void talk();
    void listen();
    void lose(const host::Failure& why);

    // REQUIRES, all of them: mutex_ is held
    void say(const Json& message) const;
    void askForNews();
    void tellWatched();
    host::Time nextTellingWatched() const;
    void take(const Json& message);
    void takeNews(const Json& news);
    void takeValue(const host::Tag& tag, const Json& json);
    void takeEnded(const Json& ended);
    void takeReport(const Json& told);
    void takeRefusal(std::int64_t request, const Json& error);
    void takeEvents(const Json& events);
    void endReading(std::int32_t serial, const host::Failure& failure);
    void endWrite(std::int64_t id, const host::WriteReport& report);
    void failEverything(const host::Failure& failure);
    void changed();
    host::Time here(host::Time there) const { return there + offset_; }
    host::SessionEvent linkEvent() const;

    std::optional<Json> ask(Json message, host::Time deadline) const;
    std::vector<std::string> neverFound(const std::vector<host::Tag>& tags) const;
    bool find(const std::vector<std::string>& names, host::Time deadline, std::vector<std::string>* problems,
              host::Failure* failure) const;
    void wake() const;

    // Constant after construction
    const std::string socket_;
    const host::Clock& clock_;
    const host::Time began_;
    int wakeDescriptor_ = -1;

    // Constant after begin()
    Hello hello_;
    std::vector<host::Tag> guards_;
    host::Milliseconds writeDeadline_{0};

    // Of the thread that talks
    int descriptor_ = -1;
    LineBuffer lines_{kLongestAnswer};
    std::string unsent_;
    host::Time nextAttempt_{0};
    host::Time heard_{0};  // when something came last

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;

    // Protected by mutex_
    bool isStopping_ = false;
    bool isConnected_ = false;
    host::Time offset_{0};  // from the gateway's clock to ours
    host::Failure lost_;    // why it is not reachable
    host::Time lostAt_{0};
    mutable std::string outgoing_;                                 // lines, whole
    mutable std::int64_t lastId_ = 0;                              // of messages
    std::int64_t newsId_ = 0;                                      // of the one that asks for news
    mutable std::map<std::int64_t, std::optional<Json>> answers_;  // awaited by who asked
    mutable std::unordered_set<std::string> found_;                // names that this gateway's driver knows
    std::size_t changes_ = 0;
    std::size_t receptions_ = 0;
    std::vector<host::Tag> wanted_;   // what is to be watched
    std::vector<host::Tag> watched_;  // what the gateway was told last
    bool isWatchDue_ = false;         // these differ
    host::Time toldWatched_{0};
    std::int64_t watch_ = 0;                                  // which list of tags the gateway knows by its numbers
    std::unordered_map<std::string, host::TagValue> values_;  // without ages
    std::map<std::int32_t, host::Order> readings_;
    std::deque<std::int32_t> endedReadings_;
    std::int32_t lastSerial_ = 0;
    std::map<std::int64_t, Write> writes_;
    std::deque<std::int64_t> endedWrites_;
    std::int64_t lastWrite_ = 0;
    host::SessionStatus status_;  // on our clock
    std::deque<host::SessionEvent> events_;
    std::size_t eventCount_ = 0;  // so far, with those that are forgotten
    mutable host::Latencies latencies_;

    std::thread thread_;
};

}  // namespace ac500::via

#endif
