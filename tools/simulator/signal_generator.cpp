#include "tools/simulator/signal_generator.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "tools/simulator/pattern.h"

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

// Echoes in an order in which each stands behind the echo that it repeats. Of a circle, the last one stands anywhere.
std::vector<SignalGenerator::ResolvedSignal> sourcesFirst(std::vector<SignalGenerator::ResolvedSignal> echoes) {
    std::map<std::string, std::size_t> byTag;
    for (std::size_t i = 0; i < echoes.size(); ++i) {
        byTag.emplace(echoes[i].signal.tag, i);
    }
    std::vector<SignalGenerator::ResolvedSignal> ordered;
    std::vector<bool> placed(echoes.size(), false);
    for (std::size_t i = 0; i < echoes.size(); ++i) {
        std::vector<std::size_t> chain;  // from an echo to its source, and so on
        for (std::size_t at = i; !placed[at];) {
            placed[at] = true;
            chain.push_back(at);
            const auto source = byTag.find(echoes[at].signal.source);
            at = source == byTag.end() ? at : source->second;
        }
        for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
            ordered.push_back(echoes[*link]);
        }
    }
    return ordered;
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
        case Signal::Kind::Pattern:
            break;
    }
    return 0;
}

SignalGenerator::SignalGenerator(std::vector<ResolvedSignal> resolved, std::uint64_t seed) {
    Random seeds(seed);
    for (ResolvedSignal& one : resolved) {
        const Random random(seeds.next());
        if (one.signal.kind == Signal::Kind::Echo) {
            echoes_.push_back(std::move(one));
        } else {
            walks_.push_back({random, 0, middle(one.signal)});
            signals_.push_back(std::move(one));
        }
    }
    echoes_ = sourcesFirst(std::move(echoes_));
}

void SignalGenerator::advance(std::int64_t nowMs, PlcMemory& memory) {
    const std::int64_t now = std::max<std::int64_t>(nowMs, 0);
    for (std::size_t i = 0; i < signals_.size(); ++i) {
        const Signal& signal = signals_[i].signal;
        if (signal.kind == Signal::Kind::Pattern) {
            writePattern(memory, signals_[i].target, static_cast<std::uint64_t>(wholePeriods(signal, now)));
            continue;
        }
        const bool walks = signal.kind == Signal::Kind::RandomWalk;
        writeNumber(memory, signals_[i].target,
                    walks ? walkedValue(signal, walks_[i], now) : signalValueAt(signal, now));
    }
    for (const ResolvedSignal& echo : echoes_) {
        copyValue(memory, echo.source, echo.target);
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
