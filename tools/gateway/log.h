// How the gateway tells what happens: lines on the standard error output, as text or as JSON, as the other programs do.
#ifndef AC500_TOOLS_GATEWAY_LOG_H
#define AC500_TOOLS_GATEWAY_LOG_H

#include <string>

#include "tools/events/log_line.h"
#include "tools/host/failure.h"
#include "tools/host/session_types.h"

namespace ac500::gateway {

// Any thread; constant after construction.
class Log {
public:
    Log(events::LogFormat format, events::Level level) : format_(format), level_(level) {}

    // Only what has the level, or more.
    void tell(events::EventId event, const std::string& text) const;
    void tell(const host::SessionEvent& event) const;
    // Always, and each line of its text as a line of its own.
    void complain(const host::Failure& failure) const;

private:
    bool isTold(events::EventId event) const { return events::rowOf(event).level >= level_; }
    void write(const events::LogLine& line) const;

    const events::LogFormat format_;
    const events::Level level_;
};

}  // namespace ac500::gateway

#endif
