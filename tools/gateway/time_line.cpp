#include "tools/gateway/time_line.h"

namespace ac500::gateway {

using events::EventId;

namespace {

// While there is no session: what failed last says why. A PLC that ends the connection in place of an answer to the
// handshake has no session to give.
ConnectionState stateAfter(const host::SessionEvent& failure) {
    switch (failure.event) {
        case EventId::LinkUnreachable:
            return ConnectionState::Retrying;
        case EventId::SessionRejected:
        case EventId::ReplyRejected:
        case EventId::ReplyRefused:
            return ConnectionState::Refused;
        default:
            return failure.failure.kind == host::FailureKind::Handshake ? ConnectionState::Refused
                                                                        : ConnectionState::Lost;
    }
}

}  // namespace

const char* connectionStateName(ConnectionState state) {
    switch (state) {
        case ConnectionState::Connecting:
            return "connecting";
        case ConnectionState::Up:
            return "up";
        case ConnectionState::OtherProgram:
            return "other program";
        case ConnectionState::Lost:
            return "lost";
        case ConnectionState::Retrying:
            return "retrying";
        case ConnectionState::Refused:
            return "refused";
    }
    return "?";
}

Connection connectionOf(const host::SessionStatus& status) {
    if (status.isOnline && status.program.doubt.occurred()) {
        return {ConnectionState::OtherProgram, status.program.doubt.text};
    }
    if (status.isOnline) {
        return {ConnectionState::Up, "the session is open"};
    }
    if (!status.lastFailure) {
        return {ConnectionState::Connecting, "the session is being opened"};
    }
    return {stateAfter(*status.lastFailure), status.lastFailure->failure.text};
}

void TimeLine::note(const Connection& connection, host::Time now) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!spans_.empty() && spans_.back().connection.state == connection.state) {
        spans_.back().connection.text = connection.text;
        return;
    }
    if (!spans_.empty()) {
        spans_.back().to = now;
    }
    spans_.push_back({now, std::nullopt, connection});
    if (spans_.size() > kMostSpans) {
        spans_.pop_front();
    }
}

std::vector<TimeSpan> TimeLine::spans() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {spans_.begin(), spans_.end()};
}

std::optional<TimeSpan> TimeLine::current() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return spans_.empty() ? std::nullopt : std::optional<TimeSpan>(spans_.back());
}

}  // namespace ac500::gateway
