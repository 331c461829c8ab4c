#include "tools/simulator/fault_schedule.h"

#include <utility>

namespace ac500::sim {

namespace {

bool matches(const std::optional<Service>& wanted, Service service) {
    return !wanted || *wanted == service;
}

}  // namespace

FaultSchedule::FaultSchedule(std::vector<FaultRule> rules, std::uint64_t seed) {
    Random seeds(seed);
    for (FaultRule& rule : rules) {
        entries_.push_back({std::move(rule), Random(seeds.next()), 0, 0});
    }
}

Fault FaultSchedule::next(Service service) {
    Entry* first = nullptr;
    for (Entry& entry : entries_) {
        if (isDue(entry, service) && first == nullptr) {
            first = &entry;
        }
    }
    if (armed_.count > 0 && matches(armed_.service, service)) {
        --armed_.count;
        return armed_.fault;
    }
    if (first == nullptr) {
        return Fault();
    }
    ++first->done;
    return first->rule.fault;
}

void FaultSchedule::arm(const Armed& armed) {
    armed_ = armed.fault.kind == FaultKind::None ? Armed() : armed;
}

bool FaultSchedule::isDue(Entry& entry, Service service) {
    const FaultRule& rule = entry.rule;
    if (!matches(rule.service, service)) {
        return false;
    }
    ++entry.matched;
    const bool drawn = entry.random.unit() < rule.rate;
    if (rule.count != 0 && entry.done == rule.count) {
        return false;
    }
    switch (rule.trigger) {
        case FaultRule::Trigger::Always:
            return true;
        case FaultRule::Trigger::At:
            return entry.matched >= rule.number;
        case FaultRule::Trigger::Every:
            return entry.matched % rule.number == 0;
        case FaultRule::Trigger::Rate:
            return drawn;
    }
    return false;
}

}  // namespace ac500::sim
