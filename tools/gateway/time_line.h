// TimeLine is the life of a connection: spans of time, each with one state, the latest of them. Any thread.
#ifndef AC500_TOOLS_GATEWAY_TIME_LINE_H
#define AC500_TOOLS_GATEWAY_TIME_LINE_H

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/session_types.h"

namespace ac500::gateway {

enum class ConnectionState {
    Connecting,    // there was no session yet, and nothing has failed
    Up,            // a session is open, and the program is the one of the symbols
    OtherProgram,  // a session is open, and the PLC runs another program, or which one cannot be told
    Lost,          // there was a session, and its connection is gone
    Retrying,      // no connection can be made
    Refused,       // the PLC accepts the connection and no session
};

// "connecting", "up", "other program", "lost", "retrying", "refused".
const char* connectionStateName(ConnectionState state);

struct Connection {
    ConnectionState state = ConnectionState::Connecting;
    std::string text;  // why, or what happens; one line
};

// What a session is at.
Connection connectionOf(const host::SessionStatus& status);

struct TimeSpan {
    host::Time from{0};
    std::optional<host::Time> to;  // nothing: it lasts
    Connection connection;
};

class TimeLine {
public:
    static constexpr std::size_t kMostSpans = 4096;

    // From `now` on it is this. The same state with another text stays the same span, with the latest text.
    void note(const Connection& connection, host::Time now);

    // In the order of time, the last one lasts.
    std::vector<TimeSpan> spans() const;
    // The one that lasts; nothing before the first.
    std::optional<TimeSpan> current() const;

private:
    mutable std::mutex mutex_;
    std::deque<TimeSpan> spans_;  // mutex_
};

}  // namespace ac500::gateway

#endif
