#include "tools/gateway/log.h"

#include <chrono>

#include "tools/console/standard_streams.h"
#include "tools/console/time_text.h"
#include "tools/text/text.h"

namespace ac500::gateway {

namespace {

constexpr char kGatewayProgram[] = "ac500-gateway";

events::LogLine lineOf(events::EventId event, console::WallTime time, const host::Failure& failure) {
    events::LogLine line{event, time, failure.text, {}, 0, std::nullopt, 0};
    if (failure.occurred()) {
        line.layer = host::failureKindName(failure.kind);
        line.code = host::exitCodeOf(failure.kind);
    }
    return line;
}

}  // namespace

void Log::write(const events::LogLine& line) const {
    if (format_ == events::LogFormat::Json) {
        console::tell(events::jsonLine(kGatewayProgram, line));
        return;
    }
    const std::string what = line.layer.empty() ? events::levelName(events::rowOf(line.event).level) : line.layer;
    console::tell(console::timeText(line.time) + " " + kGatewayProgram + ": " + what + ": " + line.text + "\n");
}

void Log::tell(events::EventId event, const std::string& text) const {
    if (isTold(event)) {
        write({event, std::chrono::system_clock::now(), text, {}, 0, std::nullopt, 0});
    }
}

void Log::tell(const host::SessionEvent& event) const {
    if (isTold(event.event)) {
        events::LogLine line = lineOf(event.event, event.wallTime, event.failure);
        line.text = event.message();
        line.number = event.number;
        write(line);
    }
}

void Log::complain(const host::Failure& failure) const {
    const auto now = std::chrono::system_clock::now();
    for (const std::string& text : text::split(failure.text, '\n')) {
        write(lineOf(events::EventId::CommandFailed, now, {failure.kind, text}));
    }
}

}  // namespace ac500::gateway
