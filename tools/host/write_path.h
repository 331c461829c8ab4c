// WritePath is the one way by which a value gets to the PLC, whoever orders it: the command line, a client, a page, a
// bridge. What is promised about writes is promised here; docs/writes.md says what, and what cannot be.
//
// A write is checked against the symbol file (read-only, limits, names of values); the value that it replaces may be
// stated, and is then read and compared immediately before; it may have an expiry, after which it is not sent, and a
// number that can be used once. It is not kept over a reconnect, and nothing here repeats it. It ends with an outcome and
// a reason: done, refused (by the PLC), not sent, unknown.
//
// All functions may be called from any thread.
#ifndef AC500_TOOLS_HOST_WRITE_PATH_H
#define AC500_TOOLS_HOST_WRITE_PATH_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/host_session.h"
#include "tools/host/write_orders.h"

namespace ac500::host {

// Nothing wrong, or why no way leads to the PLC for this value: the tag is read-only, the value beyond the limits of the
// symbol file, or of another type or number of elements than the tag.
Failure checkWrite(const Tag& tag, const HostValues& values);

class WritePath : public WriteOrders {
public:
    // Of the writes that have ended, so many with a number and so many without are remembered unless the settings say otherwise,
    // the latest: a number that was forgotten counts as new. Those that have not ended are remembered all.
    static constexpr std::size_t kKept = 1000;
    static constexpr std::size_t kLongestNumber = 64;

    struct Settings {
        std::vector<WriteCondition> conditions;         // of every write: a guard tag
        std::vector<std::shared_ptr<WriteGate>> gates;  // of every write, asked in this order: the audit comes last
        std::size_t kept = kKept;
    };

    // The referenced objects must outlive the path. REQUIRES: the session is started.
    WritePath(HostSession& session, const Clock& clock, Settings settings);
    ~WritePath() override;
    WritePath(const WritePath&) = delete;
    WritePath& operator=(const WritePath&) = delete;

    // WriteOrders
    WriteTicket order(const WriteRequest& request) override;
    std::optional<WriteReport> report(const WriteTicket& ticket) const override;

    // Waits until it has ended, at most `timeout`, and returns the report then.
    std::optional<WriteReport> wait(const WriteTicket& ticket, Milliseconds timeout) const;

private:
    class Ledger;

    WriteTicket refuse(const Failure& failure);
    WriteTerms termsOf(const WriteRequest& request, std::int64_t id) const;

    HostSession& session_;
    const Clock& clock_;
    const Settings settings_;
    std::shared_ptr<Ledger> ledger_;  // shared with the writes that are underway; locks by itself
};

}  // namespace ac500::host

#endif
