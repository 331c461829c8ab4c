// What ac500-host writes to its two outputs: results to stdout, failures to stderr.
#ifndef AC500_TOOLS_HOST_PRINT_H
#define AC500_TOOLS_HOST_PRINT_H

#include <functional>
#include <string>
#include <vector>

#include "tools/events/log_line.h"
#include "tools/host/failure.h"
#include "tools/host/output.h"

namespace ac500::host {

// Text as it is.
void print(const std::string& text);
void printLine(const std::string& line);
// In aligned columns.
void printTable(const std::vector<std::vector<std::string>>& rows);
// Over several lines, for one document.
void printJson(const Json& json);
// The same, with the elements of a list that is not in memory: the member `key` of the document, which is an empty list there,
// has those that `elements` shows one after another.
using JsonElements = std::function<void(const std::function<void(const Json&)>& show)>;
void printJson(const Json& json, const std::string& key, const JsonElements& elements);
// On one line, for a stream of them.
void printJsonLine(const Json& json);
// What was printed so far is to be seen at once, also by a program at the other end of a pipe. False, now and in any later
// call: there is nobody to see it, or it cannot be written; a command that goes on only for its output ends then.
bool flushOutput();

// What of the following three looks like; lines of text without the time at first.
struct LogStyle {
    events::LogFormat format = events::LogFormat::Text;
    bool hasTime =
        false;  // each line of text begins with the local time: for a program that tells what happens on the way
};
void setLogStyle(const LogStyle& style);
// Prints "kind: text" to stderr, each line of the text with the kind. As JSON: CommandFailed for each line.
void complain(const Failure& failure);
// Prints "note: text" to stderr: nothing failed, but the user should know. As JSON: CommandNote.
void note(const std::string& text);
// Prints "kind: text" of a failure, else "level: text", with the time when it happened. Only as JSON: orders that failed.
void tellEvent(const SessionEvent& event);

// The exit code of a command that has printed what it found wrong: kExitFindings, but only when it could be written. Else
// 0, and closeOutput() says what is wrong with the output.
int exitCodeOfFindings();

// To be called last: flushes, and says what went wrong with the output, but nothing of a reader that went away. Returns the
// exit code of the program: that of the commands when they have failed, else that of the output.
int closeOutput(int exitCode);

}  // namespace ac500::host

#endif
