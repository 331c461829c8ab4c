// HostSession is a host at work: it registers tags, orders writes and reads, and answers with values that know their age
// and state. It owns the one thread that does the work, the loop thread (session_worker.h); everything between that
// thread and the callers passes through a Handover.
//
// The driver is one global object per loaded library, so there is one session at a time for each loaded copy
// (DriverLibrary::loadCopy); start() refuses a second one. All functions may be called from any thread except where said;
// the destructor stops and joins.
#ifndef AC500_TOOLS_HOST_HOST_SESSION_H
#define AC500_TOOLS_HOST_HOST_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/host/fork_gate.h"
#include "tools/host/handover.h"
#include "tools/host/program_guard.h"
#include "tools/host/session.h"
#include "tools/host/session_types.h"
#include "tools/host/session_worker.h"
#include "tools/host/tag_access.h"

namespace ac500::host {

class HostSession : public Session {
public:
    struct Parts {
        const DriverFunctions& driver;
        const TagTable& tags;
        const Clock& clock;
        std::function<std::unique_ptr<Transport>()> makeTransport;  // called once, on the loop thread
        std::function<void(const SessionEvent&)> onEvent = {};  // on any thread, may not call the session; may be empty
    };
    // The referenced objects must outlive the session.
    HostSession(const Parts& parts, const SessionSettings& settings);
    ~HostSession() override;
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    // Hands settings and symbols to the driver and starts the loop thread. False, and *error says why, when another
    // session is alive. To be called once.
    bool start(std::string* error);

    // Session

    void stop() override;
    const std::vector<Tag>& guards() const override { return guard_.tags(); }
    // REQUIRES: started
    bool driverKnows(const Tag& tag, std::string* error) const override;
    void poll(const std::vector<Tag>& tags) override;
    std::int32_t readOnce(const Tag& tag) override;
    void giveUpReading(std::int32_t serial) override;
    std::optional<Order> order(std::int32_t serial) const override;
    TagValue value(const Tag& tag) const override;
    TagValue glance(const Tag& tag) const override;
    bool isKnown(const Tag& tag) const override;
    SessionStatus status() const override;
    const SessionSettings& settings() const override { return settings_; }
    std::vector<SessionEvent> eventsSince(std::size_t first) const override;
    Latencies latencies() const override;
    void resetLatencies() override;
    void waitForChange(Milliseconds timeout) const override;
    std::size_t changes() const override;
    void waitForChangeAfter(std::size_t seen, Milliseconds timeout) const override;
    std::size_t receptions() const override;
    void checkDeadlines() override;

    // What only a session of this process has

    // Orders a write of all elements of the tag; REQUIRES: as many values. Returns its serial number. With a guard, that is
    // read for the write and immediately before it, and the write is sent once at most.
    // Callers are to order writes by WritePath, which checks them and says what is promised.
    std::int32_t write(const Tag& tag, const HostValues& values, const WriteTerms& terms = {});

    // The replies with which the PLC opened the latest session; nothing before the first.
    std::optional<guard::HandshakeReplies> handshakeReplies() const;

private:
    void work();
    TagValue valueIn(const SharedWork& work, const Tag& tag, Time now) const;

    // Constant after construction
    const Parts parts_;
    const SessionSettings settings_;

    ProgramGuard guard_;         // says itself which thread may call what
    ComInfo comInfo_{};          // shared with the driver, which keeps a pointer
    TagAccess access_;           // says itself which thread may call what
    mutable Handover handover_;  // locks by itself
    // Inside are, while they call the driver:
    ForkGate loopGate_;            // the loop thread
    mutable ForkGate callerGate_;  // callers

    std::unique_ptr<SessionWorker> worker_;  // from start() to stop()
    std::thread thread_;
};

}  // namespace ac500::host

#endif
