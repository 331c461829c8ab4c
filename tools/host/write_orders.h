// What a write is asked for with, and what is told of it, whichever process orders it of the PLC. docs/writes.md says what is
// promised. All functions may be called from any thread.
#ifndef AC500_TOOLS_HOST_WRITE_ORDERS_H
#define AC500_TOOLS_HOST_WRITE_ORDERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/write_terms.h"

namespace ac500::host {

struct WriteRequest {
    Tag tag;
    HostValues values;  // as the PLC gets them: parsePlantValues and fromPlantValues make them of what people know
    std::optional<HostValues> replaces;      // what the PLC must hold at the tag; as above
    std::vector<WriteCondition> conditions;  // what else must hold
    bool readsFirst = false;                 // the report is to tell what was replaced
    std::optional<Time> expiry;              // on the clock of the path: from then on it is not sent
    std::string number;                      // at most kLongestNumber bytes; empty: none
    std::string who;                         // for an audit
    std::string undoes;                      // for an audit: the id of the write that this one takes back
};

struct WriteReport {
    WriteOutcome outcome = WriteOutcome::Pending;
    Failure failure;        // unless it is Pending or Done: why
    HostValues before;      // what the tag held immediately before; empty: it was not read
    HostValues bitsBefore;  // of a tag that is bits of a variable: all bits of the variable, lowest first
};

// "unknown: no reply came ...", "refused: ...", "not sent: ...": how a write ended that did not end well, and why.
std::string outcomeText(const WriteReport& report);

// A write that was ordered, or refused at once: report() tells.
struct WriteTicket {
    std::int64_t id = 0;
    bool isRepeat = false;  // its number was used by the same write before: nothing was ordered, and this is that one's
};

// Where writes are ordered: WritePath of a session of this process, or a gateway that has one.
class WriteOrders {
public:
    virtual ~WriteOrders() = default;

    // Returns at once. A number that was used by another write is refused: not sent.
    virtual WriteTicket order(const WriteRequest& request) = 0;

    // Nothing for a ticket that is unknown or long ended.
    virtual std::optional<WriteReport> report(const WriteTicket& ticket) const = 0;
};

}  // namespace ac500::host

#endif
