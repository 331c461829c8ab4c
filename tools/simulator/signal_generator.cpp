#include "tools/simulator/signal_generator.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ac500::sim {

namespace {

constexpr double kTurn = 2 * 3.14159265358979323846;

// A period of 0 or less would stop time.
std::int64_t periodOf(const Signal& signal) {
    return std::max(signal.periodMs, 1);
}

std::int64_t wholePeriods(const Signal& signal, std::int64_t nowMs) {
    return nowMs / periodOf(signal);
}

// Position within the period, [0, 1).
double phase(const Signal& signal, std::int64_t nowMs) {
    return static_cast<double>(nowMs % periodOf(signal)) / static_cast<double>(periodOf(signal));
}

double middle(const Signal& signal) {
    return (signal.minimum + signal.maximum) / 2;
}

double counterValue(const Signal& signal, std::int64_t nowMs) {
    if (signal.step == 0) {
        return signal.minimum;
    }
    const double span = std::fmax(signal.maximum - signal.minimum, 0);
    const double valuesPerRound = std::floor(span / std::fabs(signal.step)) + 1;
    const double position = std::fmod(static_cast<double>(wholePeriods(signal, nowMs)), valuesPerRound);
    return (signal.step > 0 ? signal.minimum : signal.maximum) + position * signal.step;
}

}  // namespace

double signalValueAt(const Signal& signal, std::int64_t nowMs) {
    switch (signal.kind) {
        case Signal::Kind::Constant:
            return signal.minimum;
        case Signal::Kind::Counter:
            return counterValue(signal, nowMs);
        case Signal::Kind::Ramp:
            return signal.minimum + (signal.maximum - signal.minimum) * phase(signal, nowMs);
        case Signal::Kind::Sine:
            return middle(signal) + (signal.maximum - signal.minimum) / 2 * std::sin(kTurn * phase(signal, nowMs));
        case Signal::Kind::Square:
            return phase(signal, nowMs) < 0.5 ? signal.minimum : signal.maximum;
        case Signal::Kind::RandomWalk:
            return middle(signal);
        case Signal::Kind::Echo:
            break;
    }
    return 0;
}

SignalGenerator::SignalGenerator(std::vector<Wiring> wirings, std::uint64_t seed) : wirings_(std::move(wirings)) {
    Random seeds(seed);
    for (const Wiring& wiring : wirings_) {
        walks_.push_back({Random(seeds.next()), 0, middle(wiring.signal)});
    }
}

void SignalGenerator::advance(std::int64_t nowMs, PlcMemory& memory) {
    const std::int64_t now = std::max<std::int64_t>(nowMs, 0);
    for (std::size_t i = 0; i < wirings_.size(); ++i) {
        const Signal& signal = wirings_[i].signal;
        if (signal.kind == Signal::Kind::RandomWalk) {
            writeNumber(memory, wirings_[i].target, walkedValue(signal, walks_[i], now));
        } else if (signal.kind != Signal::Kind::Echo) {
            writeNumber(memory, wirings_[i].target, signalValueAt(signal, now));
        }
    }
    for (const Wiring& wiring : wirings_) {
        if (wiring.signal.kind == Signal::Kind::Echo) {
            copyValue(memory, wiring.source, wiring.target);
        }
    }
}

double SignalGenerator::walkedValue(const Signal& signal, Walk& walk, std::int64_t nowMs) {
    const std::int64_t periods = std::max(wholePeriods(signal, nowMs), walk.periods);
    const std::int64_t steps = std::min(periods - walk.periods, kMaxWalkSteps);
    for (std::int64_t i = 0; i < steps; ++i) {
        const double moved = walk.value + (2 * walk.random.unit() - 1) * signal.step;
        walk.value = std::fmin(std::fmax(moved, signal.minimum), signal.maximum);
    }
    walk.periods = periods;
    return walk.value;
}

}  // namespace ac500::sim
