// An event as a line of JSON, docs/schema/log.schema.json, for programs that collect what programs tell.
#ifndef AC500_TOOLS_EVENTS_LOG_LINE_H
#define AC500_TOOLS_EVENTS_LOG_LINE_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/console/time_text.h"
#include "tools/events/event_table.h"

namespace ac500::events {

enum class LogFormat { Text, Json };

// Of every line. It changes when a program that reads the lines has to; keys may be added without.
constexpr int kLogVersion = 1;
// With its end: so much is written to a pipe in one piece, whoever else writes to it.
constexpr std::size_t kLongestLine = PIPE_BUF;

struct LogLine {
    EventId event = EventId::CommandNote;
    console::WallTime time;
    std::string text;
    std::string layer;                    // of a failure; empty: nothing failed
    int code = 0;                         // of a failure: the exit code that stands for its layer; 0: it has none
    std::optional<std::uint64_t> number;  // of an event of a session, without gaps from 0 on
    int client = 0;                       // of a simulated PLC, from 1; 0: it is about none
};

// With its end, and at most kLongestLine bytes; of a text that is too long the beginning, with how many bytes of it are
// missing. Bytes that are no UTF-8 become U+FFFD.
std::string jsonLine(const char* program, const LogLine& line);

// Do the arguments of a program ask for JSON? For what is wrong with them, which has to be told in some format.
bool asksForJson(const std::vector<std::string>& arguments);

}  // namespace ac500::events

#endif
