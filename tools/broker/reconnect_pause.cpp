#include "tools/broker/reconnect_pause.h"

#include <algorithm>
#include <memory>
#include <random>

namespace ac500::broker {

namespace {

ReconnectPause::Random machineRandom() {
    const auto engine = std::make_shared<std::mt19937_64>(std::random_device()());
    return [engine](std::uint64_t most) { return std::uniform_int_distribution<std::uint64_t>(0, most)(*engine); };
}

}  // namespace

ReconnectPause::ReconnectPause(const Limits& limits, Random random)
    : limits_(limits), random_(std::move(random)), most_(std::min(limits.first, limits.largest)) {}

ReconnectPause::ReconnectPause(const Limits& limits) : ReconnectPause(limits, machineRandom()) {}

host::Milliseconds ReconnectPause::next() {
    const host::Milliseconds most = most_;
    most_ = std::min(2 * most_, limits_.largest);
    return host::Milliseconds(random_(static_cast<std::uint64_t>(most.count())));
}

void ReconnectPause::connectionLasted(host::Milliseconds time) {
    if (time >= limits_.good) {
        most_ = std::min(limits_.first, limits_.largest);
    }
}

}  // namespace ac500::broker
