#include "tools/host/print.h"

#include <chrono>
#include <utility>

#include "tools/console/standard_streams.h"
#include "tools/console/time_text.h"
#include "tools/host/exit_codes.h"
#include "tools/text/text.h"

namespace ac500::host {

using console::standardOutput;

namespace {

constexpr char kProgram[] = "ac500-host";

LogStyle logStyle;

// Bytes of a string that are no UTF-8 become U+FFFD: a document with a doubtful character is better than none.
std::string textOf(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string textLine(const std::string& begin, const events::LogLine& line) {
    return (logStyle.hasTime ? console::timeText(line.time) + " " : std::string()) + begin + ": " + line.text + "\n";
}

// One of its own for each line of the text. `begin`: of lines of text.
void tellEachLine(const std::string& begin, events::LogLine line) {
    std::string message;
    for (const std::string& text : text::split(std::exchange(line.text, {}), '\n')) {
        line.text = text;
        if (logStyle.format == events::LogFormat::Json) {
            console::tell(jsonLine(kProgram, line));
        } else {
            message += textLine(begin, line);
        }
    }
    console::tell(message);
}

events::LogLine logLine(events::EventId event, console::WallTime time, const Failure& failure) {
    events::LogLine line{event, time, failure.text, {}, 0, std::nullopt, 0};
    if (failure.occurred()) {
        line.layer = failureKindName(failure.kind);
        line.code = exitCodeOf(failure.kind);
    }
    return line;
}

// Of an output that has failed.
int exitCodeOfOutput() {
    if (standardOutput().isReaderGone()) {
        return console::kExitReaderGone;
    }
    if (standardOutput().wasInterrupted()) {
        return kExitInterrupted;
    }
    const Failure failure{FailureKind::Output, "the standard output cannot be written: " + standardOutput().failure()};
    complain(failure);
    return exitCodeOf(failure.kind);
}

}  // namespace

void print(const std::string& text) {
    standardOutput().write(text);
}

void printLine(const std::string& line) {
    print(line + "\n");
}

void printTable(const std::vector<std::vector<std::string>>& rows) {
    for (const std::string& line : alignColumns(rows)) {
        printLine(line);
    }
}

void printJson(const Json& json) {
    printLine(textOf(json, 2));
}

void printJson(const Json& json, const std::string& key, const JsonElements& elements) {
    const std::string text = textOf(json, 2);
    const std::string list =
        "\n  \"" + key + "\": [";  // with so much space in front, only a member of the document itself
    const std::size_t begin = text.find(list + "]") + list.size();
    print(text.substr(0, begin));
    bool isFirst = true;
    elements([&isFirst](const Json& element) {
        std::string lines = (isFirst ? "\n" : ",\n") + textOf(element, 2);
        for (std::size_t at = lines.find('\n'); at != std::string::npos; at = lines.find('\n', at + 1)) {
            lines.insert(at + 1, "    ");
        }
        print(lines);
        isFirst = false;
    });
    print(isFirst ? "" : "\n  ");
    printLine(text.substr(begin));
}

void printJsonLine(const Json& json) {
    printLine(textOf(json, -1));
}

bool flushOutput() {
    standardOutput().flush();
    standardOutput().lookForReader();
    return standardOutput().isGood();
}

void setLogStyle(const LogStyle& style) {
    logStyle = style;
}

void complain(const Failure& failure) {
    tellEachLine(failureKindName(failure.kind),
                 logLine(events::EventId::CommandFailed, std::chrono::system_clock::now(), failure));
}

void note(const std::string& text) {
    tellEachLine("note", {events::EventId::CommandNote, std::chrono::system_clock::now(), text, {}, 0, {}, 0});
}

// What became of an order is told in text by the command that gave it.
void tellEvent(const SessionEvent& event) {
    const bool isFailedOrder =
        event.event == events::EventId::WriteFailed || event.event == events::EventId::ReadFailed;
    if (isFailedOrder && logStyle.format == events::LogFormat::Text) {
        return;
    }
    events::LogLine line = logLine(event.event, event.wallTime, event.failure);
    line.text = event.message();
    line.number = event.number;
    tellEachLine(
        event.failure.occurred() ? failureKindName(event.failure.kind) : levelName(events::rowOf(event.event).level),
        line);
}

int exitCodeOfFindings() {
    standardOutput().flush();
    return standardOutput().isGood() ? kExitFindings : 0;
}

int closeOutput(int exitCode) {
    // A reader that has taken all there was may be gone by now.
    standardOutput().flush();
    if (standardOutput().isGood()) {
        return exitCode;
    }
    const int outputCode = exitCodeOfOutput();
    return exitCode != 0 ? exitCode : outputCode;
}

}  // namespace ac500::host
