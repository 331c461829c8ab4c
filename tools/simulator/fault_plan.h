// From a good reply to what really goes out: a delivery, a list of steps that whoever owns the transport carries out.
// Knows no sockets and no clock, so that faults can be played in-process as well: do the steps of a delivery in order,
// each `delayMs` after the one before (the first after the request was answered).
#ifndef AC500_TOOLS_SIMULATOR_FAULT_PLAN_H
#define AC500_TOOLS_SIMULATOR_FAULT_PLAN_H

#include <vector>

#include "tools/simulator/fault_rule.h"
#include "tools/simulator/random.h"
#include "tools/simulator/reply_frame.h"

namespace ac500::sim {

// What happens to the connection after the bytes of a step went out.
enum class After {
    Nothing,
    Close,     // no more requests are taken; the connection ends in an orderly way
    Reset,     // the connection is reset: the client sees an error, not an end
    CloseAll,  // every connection of the PLC is closed
};

struct DeliveryStep {
    int delayMs = 0;
    Bytes bytes;
    After after = After::Nothing;
};

struct Delivery {
    std::vector<DeliveryStep> steps;  // none: the client hears nothing
    // True: requests that follow are answered at once, not after this delivery has ended.
    bool overtakable = false;
};

// The delivery of a reply that meets `fault`; with FaultKind::None one step. Pure. REQUIRES: `reply` has at least the 8
// bytes of the shortest one, and acceptsArgument holds.
Delivery planDelivery(const Fault& fault, const Bytes& reply);

// Decides which reply meets which fault. The sequence depends on the rules, the seed and the order of the replies and on
// nothing else. Not thread-safe.
class FaultSchedule {
public:
    FaultSchedule(std::vector<FaultRule> rules, std::uint64_t seed);

    // To be called once per good reply, in the order in which requests were answered. A fault that was armed goes before
    // the rules; among the rules the first that is due wins, and every rule counts the reply.
    Fault next(Service service);

    // The next `count` matching replies get the fault; replaces what was armed. FaultKind::None or 0 disarms.
    struct Armed {
        Fault fault;
        std::uint32_t count = 0;
        std::optional<Service> service;  // none: any
    };
    void arm(const Armed& armed);
    std::uint32_t armedLeft() const { return armed_.count; }

private:
    struct Entry {
        FaultRule rule;
        Random random;          // of its own, so that rules do not disturb each other
        std::uint32_t matched;  // good replies of the rule's service so far
        std::uint32_t done;     // faults of this rule so far
    };

    // Counts the reply for this rule: would the rule hit it?
    static bool isDue(Entry& entry, Service service);

    std::vector<Entry> entries_;
    Armed armed_;
};

}  // namespace ac500::sim

#endif
