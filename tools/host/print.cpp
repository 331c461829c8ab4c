#include "tools/host/print.h"

#include "tools/console/standard_streams.h"
#include "tools/console/time_text.h"
#include "tools/host/exit_codes.h"
#include "tools/text/text.h"

namespace ac500::host {

using console::standardOutput;

namespace {

bool withTime = false;

// Bytes of a string that are no UTF-8 become U+FFFD: a document with a doubtful character is better than none.
std::string textOf(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void tellEachLine(const std::string& begin, const std::string& text) {
    std::string message;
    for (const std::string& line : text::split(text, '\n')) {
        message += withTime ? console::timeText() + " " : std::string();
        message += begin + ": " + line + "\n";
    }
    console::tell(message);
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

void printJsonLine(const Json& json) {
    printLine(textOf(json, -1));
}

bool flushOutput() {
    standardOutput().flush();
    standardOutput().lookForReader();
    return standardOutput().isGood();
}

void complainWithTime() {
    withTime = true;
}

void complain(const Failure& failure) {
    tellEachLine(failureKindName(failure.kind), failure.text);
}

void note(const std::string& text) {
    tellEachLine("note", text);
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
