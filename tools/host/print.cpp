#include "tools/host/print.h"

#include <fmt/format.h>

#include <cstdio>

namespace ac500::host {

namespace {

// Bytes of a string that are no UTF-8 become U+FFFD: a document with a doubtful character is better than none.
std::string textOf(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void printLine(const std::string& line) {
    fmt::print("{}\n", line);
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

void flushOutput() {
    std::fflush(stdout);
}

void complain(const Failure& failure) {
    fmt::print(stderr, "{}: {}\n", failureKindName(failure.kind), failure.text);
    std::fflush(stderr);
}

void note(const std::string& text) {
    fmt::print(stderr, "note: {}\n", text);
    std::fflush(stderr);
}

}  // namespace ac500::host
