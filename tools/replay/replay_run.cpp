#include "tools/replay/replay_run.h"

#include <fmt/format.h>

#include <utility>
#include <variant>

namespace ac500::replay {

ReplayRun::ReplayRun(FreshDriver freshDriver, const AdmissionLimits& limits)
    : events_(nullptr), freshDriver_(std::move(freshDriver)), admission_(limits) {}

ReplayRun::ReplayRun(const std::vector<record::Event>& events, FreshDriver freshDriver, const AdmissionLimits& limits)
    : events_(&events), freshDriver_(std::move(freshDriver)), admission_(limits) {}

ReplayRun::~ReplayRun() = default;

bool ReplayRun::step() {
    return events_ != nullptr && position_ < events_->size() && replay((*events_)[position_]);
}

bool ReplayRun::replay(const record::Event& event) {
    if (!problem_.empty()) {
        return false;
    }
    answered_ = event;
    hasDiverged_ = false;
    const auto* segment = std::get_if<record::SegmentStart>(&event.what);
    const bool isDone = segment != nullptr ? beginSegment(*segment) : makeCall(event);
    if (!isDone) {
        return false;
    }
    ++position_;
    return true;
}

// A record that begins without saying how is taken for one of a fresh driver.
bool ReplayRun::makeCall(const record::Event& event) {
    if (caller_ == nullptr && position_ == 0 && !takeFreshDriver()) {
        return false;
    }
    if (caller_ == nullptr) {
        skipped_ += isCall(event.what) ? 1 : 0;
        return true;
    }
    if (!isCall(event.what)) {
        caller_->answer(event);
        return true;
    }
    if (const std::string problem = admission_.problemOf(event); !problem.empty()) {
        problem_ = fmt::format("event {}: {}", event.number, problem);
        return false;
    }
    isUsed_ = true;
    answered_ = caller_->answer(event);
    ++calls_;
    if (std::optional<Difference> difference = firstDifference(event, answered_)) {
        hasDiverged_ = true;
        ++divergences_;
        if (!first_) {
            first_ = Divergence{position_, answered_, std::move(*difference)};
        }
    }
    return true;
}

bool ReplayRun::beginSegment(const record::SegmentStart& segment) {
    if (segment.isContinuation && caller_ != nullptr) {
        return true;
    }
    switch (segment.begin) {
        case record::SegmentBegin::Fresh:
            return takeFreshDriver();
        case record::SegmentBegin::Checkpoint:
            return segment.checkpoint ? takeFreshDriver() && restore(*segment.checkpoint) : true;
        case record::SegmentBegin::Unknown:
            caller_.reset();
            return true;
    }
    return true;
}

bool ReplayRun::takeFreshDriver() {
    if (caller_ != nullptr && !isUsed_) {
        return true;
    }
    caller_.reset();
    std::string error;
    const host::DriverFunctions* driver = freshDriver_(&error);
    if (driver == nullptr) {
        problem_ = error;
        return false;
    }
    caller_ = std::make_unique<DriverCaller>(*driver);
    admission_.restart();
    isUsed_ = false;
    return true;
}

bool ReplayRun::restore(const record::Checkpoint& checkpoint) {
    problem_ = admission_.problemOf(checkpoint);
    isUsed_ = true;
    return problem_.empty() && caller_->restore(checkpoint, &problem_);
}

}  // namespace ac500::replay
