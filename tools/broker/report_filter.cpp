#include "tools/broker/report_filter.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>
#include <variant>

#include "tools/host/plant_values.h"

namespace ac500::broker {

using host::HostValue;
using host::HostValues;
using host::Milliseconds;
using host::Time;
using host::ValueState;

namespace {

// How a value has changed, the least first.
enum class Change { None, Within, Beyond, AtOnce };

// The double that people see: 0.1 of a REAL, not 0.100000001490116.
double asSeen(float number) {
    const std::string text = fmt::format("{}", number);
    double seen = static_cast<double>(number);
    std::from_chars(text.data(), text.data() + text.size(), seen);
    return seen;
}

// What is measured of a floating-point number that is not finite.
bool isOfOneKind(double a, double b) {
    return std::isnan(a) ? std::isnan(b) : a == b;
}

Change changeOf(double told, double now, double deadBand) {
    if (!std::isfinite(told) || !std::isfinite(now)) {
        return isOfOneKind(told, now) ? Change::None : Change::AtOnce;
    }
    if (told == now) {
        return Change::None;
    }
    const double inexactness = deadBand == 0 ? 0
                                             : 4 * std::numeric_limits<double>::epsilon() *
                                                   std::max({std::fabs(told), std::fabs(now), deadBand});
    return std::fabs(now - told) > deadBand + inexactness ? Change::Beyond : Change::Within;
}

// Whole numbers, whose distance may be beyond what a double tells exactly, but is not beyond 64 bits.
template <typename Whole>
Change changeOfWhole(Whole told, Whole now, double deadBand) {
    if (told == now) {
        return Change::None;
    }
    const std::uint64_t larger = static_cast<std::uint64_t>(std::max(told, now));
    const std::uint64_t distance = larger - static_cast<std::uint64_t>(std::min(told, now));
    return static_cast<double>(distance) > deadBand ? Change::Beyond : Change::Within;
}

Change changeOf(const HostValue& told, const HostValue& now, double deadBand) {
    if (told.index() != now.index()) {
        return Change::AtOnce;
    }
    struct Visitor {
        const HostValue& told;
        double deadBand;
        Change operator()(bool v) const { return std::get<bool>(told) == v ? Change::None : Change::AtOnce; }
        Change operator()(const std::string& v) const {
            return std::get<std::string>(told) == v ? Change::None : Change::AtOnce;
        }
        Change operator()(std::int64_t v) const { return changeOfWhole(std::get<std::int64_t>(told), v, deadBand); }
        Change operator()(std::uint64_t v) const { return changeOfWhole(std::get<std::uint64_t>(told), v, deadBand); }
        Change operator()(float v) const {
            const float before = std::get<float>(told);
            // Without a dead band the spelling, which takes its time, says no more than the number.
            return deadBand == 0 ? changeOf(static_cast<double>(before), static_cast<double>(v), 0)
                                 : changeOf(asSeen(before), asSeen(v), deadBand);
        }
        Change operator()(double v) const { return changeOf(std::get<double>(told), v, deadBand); }
    };
    return std::visit(Visitor{told, deadBand}, now);
}

Change changeOf(const HostValues& told, const HostValues& now, double deadBand) {
    if (told.size() != now.size()) {
        return Change::AtOnce;
    }
    Change most = Change::None;
    for (std::size_t i = 0; i < now.size() && most != Change::AtOnce; ++i) {
        most = std::max(most, changeOf(told[i], now[i], deadBand));
    }
    return most;
}

}  // namespace

ReportFilter::ReportFilter(std::vector<FilteredTag> tags) : slots_(tags.size()) {
    for (std::size_t i = 0; i < tags.size(); ++i) {
        slots_[i].hasNames = tags[i].tag.notes != nullptr && !tags[i].tag.notes->names.empty();
        slots_[i].tag = std::move(tags[i]);
    }
}

void ReportFilter::see(std::size_t tag, const host::TagValue& value, Time now, std::int64_t utcMs) {
    if (!value.received) {
        return;
    }
    Slot& slot = slots_[tag];
    keepReception(&slot, *value.received, now, utcMs);
    slot.state = value.state;
    slot.values = value.isKnown ? value.values : HostValues();
    slot.numbers = host::plantValues(slot.tag.tag, slot.values);
    lookAt(tag);
}

void ReportFilter::seeReception(std::size_t tag, const std::optional<Time>& received, Time now, std::int64_t utcMs) {
    Slot& slot = slots_[tag];
    if (!received || !slot.received || *received == *slot.received) {
        return;  // what was received first comes by see()
    }
    keepReception(&slot, *received, now, utcMs);
    if (slot.tag.terms.largestInterval.count() > 0) {
        lookAt(tag);
    }
}

void ReportFilter::keepReception(Slot* slot, Time received, Time now, std::int64_t utcMs) {
    if (slot->received != received) {
        slot->received = received;
        slot->receivedUtcMs = utcMs - std::chrono::duration_cast<Milliseconds>(now - received).count();
    }
}

std::vector<Report> ReportFilter::take(Time now) {
    std::vector<Report> reports;
    if (!next_ || *next_ > now) {
        return reports;
    }
    std::sort(waiting_.begin(), waiting_.end());
    std::vector<std::size_t> stillWaiting;
    next_.reset();
    for (const std::size_t tag : waiting_) {
        Slot& slot = slots_[tag];
        slot.isWaiting = slot.due.isDue && slot.due.at > now;
        if (slot.isWaiting) {
            stillWaiting.push_back(tag);
            next_ = std::min(next_.value_or(slot.due.at), slot.due.at);
        } else if (slot.due.isDue) {
            reports.push_back(tell(tag, &slot, now));
        }
    }
    waiting_ = std::move(stillWaiting);
    return reports;
}

void ReportFilter::setTerms(const std::vector<ReportTerms>& terms) {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        slots_[i].tag.terms = terms[i];
        lookAt(i);
    }
}

void ReportFilter::forget() {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        slots_[i].told.reset();
        lookAt(i);
    }
}

ReportFilter::Due ReportFilter::dueOf(const Slot& slot) {
    constexpr Due kAtOnce{true, Time::min()};
    if (!slot.received) {
        return {};
    }
    if (!slot.told || slot.told->state != slot.state) {
        return kAtOnce;
    }
    if (slot.state == ValueState::Suspect || slot.values.empty()) {
        return {};
    }
    const ReportTerms& terms = slot.tag.terms;
    const Change change = changeOf(slot.told->numbers, slot.numbers, terms.deadBand);
    if (change == Change::AtOnce || (slot.hasNames && change != Change::None)) {
        return kAtOnce;
    }
    if (change == Change::Beyond) {
        return {true, slot.told->at + terms.smallestInterval};
    }
    if (terms.largestInterval.count() > 0 && *slot.received > slot.told->received) {
        return {true, slot.told->at + std::max(terms.largestInterval, terms.smallestInterval)};
    }
    return {};
}

Report ReportFilter::tell(std::size_t tag, Slot* slot, Time now) {
    Report report;
    report.tag = tag;
    report.state = slot->state;
    report.received = *slot->received;
    report.receivedUtcMs = slot->receivedUtcMs;
    Told told{slot->state, slot->told ? slot->told->numbers : HostValues(), *slot->received, now};
    if (slot->state != ValueState::Suspect && !slot->values.empty()) {
        report.values = slot->values;
        told.numbers = slot->numbers;
    }
    slot->told = std::move(told);
    return report;
}

void ReportFilter::lookAt(std::size_t tag) {
    Slot& slot = slots_[tag];
    slot.due = dueOf(slot);
    if (!slot.due.isDue) {
        return;
    }
    next_ = std::min(next_.value_or(slot.due.at), slot.due.at);
    if (!slot.isWaiting) {
        slot.isWaiting = true;
        waiting_.push_back(tag);
    }
}

}  // namespace ac500::broker
