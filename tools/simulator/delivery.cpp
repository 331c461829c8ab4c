#include "tools/simulator/delivery.h"

#include <algorithm>
#include <utility>

namespace ac500::sim {

namespace {

Delivery oneStep(DeliveryStep step) {
    Delivery delivery;
    delivery.steps.push_back(std::move(step));
    return delivery;
}

Delivery delayed(int delayMs, const Bytes& reply) {
    return oneStep({delayMs, reply, After::Nothing});
}

Delivery late(int delayMs, const Bytes& reply) {
    Delivery delivery;
    delivery.later.push_back({delayMs, reply, After::Nothing});
    return delivery;
}

Delivery repeated(int delayMs, const Bytes& reply) {
    Delivery delivery = late(delayMs, reply);
    delivery.steps.push_back({0, reply, After::Nothing});
    return delivery;
}

// Always loses at least one byte.
Delivery truncated(std::size_t bytes, const Bytes& reply) {
    const std::size_t wanted = bytes == 0 ? reply.size() / 2 : bytes;
    return oneStep({0, reply.substr(0, std::min(wanted, reply.size() - 1)), After::Nothing});
}

// The low 16 bits of the length move and wrap; the upper half is left alone, as clients do not look at it.
Delivery wrongLength(int difference, Bytes reply) {
    char* low = &reply[wire::kLowLengthAt];
    wire::putU16(low, static_cast<std::uint16_t>(wire::getU16(low) + difference));
    return oneStep({0, std::move(reply), After::Nothing});
}

Delivery wrongStatus(int status, Bytes reply) {
    wire::putU16(&reply[wire::kStatusAt], static_cast<std::uint16_t>(status));
    return oneStep({0, std::move(reply), After::Nothing});
}

Delivery fragments(int pauseMs, const Bytes& reply) {
    Delivery delivery;
    for (const char byte : reply) {
        delivery.steps.push_back({delivery.steps.empty() ? 0 : pauseMs, Bytes(1, byte), After::Nothing});
    }
    return delivery;
}

Delivery glued(int copies, const Bytes& reply) {
    Bytes all;
    for (int i = 0; i < copies; ++i) {
        all += reply;
    }
    return oneStep({0, std::move(all), After::Nothing});
}

int argumentOf(const Fault& fault) {
    const FaultTraits* traits = faultTraits(fault.kind);
    return fault.argument != 0 || traits == nullptr ? fault.argument : traits->defaultArgument;
}

}  // namespace

Delivery planDelivery(const Fault& fault, const Bytes& reply) {
    const int argument = argumentOf(fault);
    switch (fault.kind) {
        case FaultKind::None:
            return delayed(0, reply);
        case FaultKind::Delay:
            return delayed(argument, reply);
        case FaultKind::Silence:
            return Delivery();
        case FaultKind::Late:
            return late(argument, reply);
        case FaultKind::Truncate:
            return truncated(static_cast<std::size_t>(argument), reply);
        case FaultKind::Length:
            return wrongLength(argument, reply);
        case FaultKind::Status:
            return wrongStatus(argument, reply);
        case FaultKind::Fragments:
            return fragments(argument, reply);
        case FaultKind::Glue:
            return glued(argument, reply);
        case FaultKind::Reset:
            return oneStep({0, Bytes(), After::Reset});
        case FaultKind::Restart:
            return oneStep({0, Bytes(), After::CloseAll});
        case FaultKind::Repeat:
            return repeated(argument, reply);
    }
    return delayed(0, reply);
}

}  // namespace ac500::sim
