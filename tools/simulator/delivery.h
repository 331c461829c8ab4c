// From a good reply to what really goes out: a delivery, a list of steps that whoever owns the transport carries out.
// Here a reply becomes late, short, wrong or silent; which reply does is decided in fault_schedule.h.
//
// Knows no sockets and no clock, so that faults can be played in-process as well: do the steps of a delivery in order,
// each `delayMs` after the one before (the first after the request was answered).
#ifndef AC500_TOOLS_SIMULATOR_DELIVERY_H
#define AC500_TOOLS_SIMULATOR_DELIVERY_H

#include <vector>

#include "tools/simulator/fault_rule.h"
#include "tools/wire/frame.h"

namespace ac500::sim {

using wire::Bytes;

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

// Two sequences of steps that begin together. The client hears nothing when both are empty.
struct Delivery {
    std::vector<DeliveryStep> steps;  // in turn: requests that follow are answered after the last of them
    std::vector<DeliveryStep> later;  // out of turn: replies to requests that follow overtake them
};

// The delivery of a reply that meets `fault`; with FaultKind::None one step. Pure. REQUIRES: `reply` has at least the 8
// bytes of the shortest one, and acceptsArgument holds.
Delivery planDelivery(const Fault& fault, const Bytes& reply);

}  // namespace ac500::sim

#endif
