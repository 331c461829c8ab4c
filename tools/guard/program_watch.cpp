#include "tools/guard/program_watch.h"

namespace ac500::guard {

const char* programStateName(ProgramState state) {
    switch (state) {
        case ProgramState::Unguarded:
            return "unguarded";
        case ProgramState::Unknown:
            return "unknown";
        case ProgramState::Expected:
            return "expected";
        case ProgramState::Other:
            return "other";
        case ProgramState::Unreadable:
            return "unreadable";
    }
    return "?";
}

ProgramWatch::News ProgramWatch::read(bool isExpected, Time time) {
    last_ = time;
    if (!isExpected) {
        since_.reset();
        return newsOf(ProgramState::Other);
    }
    since_ = since_.value_or(time);
    return newsOf(ProgramState::Expected);
}

ProgramWatch::News ProgramWatch::refused() {
    since_.reset();
    return newsOf(ProgramState::Unreadable);
}

void ProgramWatch::forget() {
    state_ = ProgramState::Unknown;
    since_.reset();
    last_.reset();
}

bool ProgramWatch::covers(Time oldest, Time newest) const {
    return !isGuarded() || (since_ && *since_ <= oldest && wasReadSince(newest));
}

ProgramWatch::News ProgramWatch::newsOf(ProgramState state) {
    state_ = state;
    if (state == ProgramState::Expected) {
        const bool wasInDoubt = told_.has_value();
        told_.reset();
        return wasInDoubt ? News::ExpectedAgain : News::None;
    }
    if (told_ == state) {
        return News::None;
    }
    told_ = state;
    return state == ProgramState::Other ? News::OtherProgram : News::Unreadable;
}

}  // namespace ac500::guard
