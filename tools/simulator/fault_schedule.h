// FaultSchedule decides which reply meets which fault, when the simulator is late included; delivery.h says what then
// goes out. The sequence depends on the rules, the seed and the order of the replies and on nothing else. Not
// thread-safe.
#ifndef AC500_TOOLS_SIMULATOR_FAULT_SCHEDULE_H
#define AC500_TOOLS_SIMULATOR_FAULT_SCHEDULE_H

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/simulator/fault_rule.h"
#include "tools/simulator/random.h"

namespace ac500::sim {

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
