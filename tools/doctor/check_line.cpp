#include "tools/doctor/check_line.h"

#include <fmt/format.h>

namespace ac500::doctor {

namespace {

// Exit codes of ac500-host.
constexpr int kFile = 2;
constexpr int kName = 3;
constexpr int kTcp = 4;
constexpr int kHandshake = 5;
constexpr int kRequest = 6;
constexpr int kProgram = 8;

}  // namespace

const char* gradeName(Grade grade) {
    switch (grade) {
        case Grade::Pass:
            return "pass";
        case Grade::Warn:
            return "warn";
        case Grade::Fail:
            return "fail";
        case Grade::NotTried:
            return "not tried";
    }
    return "?";
}

const char* subjectName(Subject subject) {
    switch (subject) {
        case Subject::Driver:
            return "driver";
        case Subject::Symbols:
            return "symbols";
        case Subject::Clock:
            return "clock";
        case Subject::Disk:
            return "disk";
        case Subject::Locale:
            return "locale";
        case Subject::Name:
            return "name";
        case Subject::Route:
            return "route";
        case Subject::Port:
            return "port";
        case Subject::Hello:
            return "hello";
        case Subject::Session:
            return "session";
        case Subject::Program:
            return "program";
        case Subject::Area:
            return "area";
        case Subject::Limit:
            return "limit";
        case Subject::Tag:
            return "tag";
    }
    return "?";
}

int exitCodeOf(Subject subject) {
    switch (subject) {
        case Subject::Driver:
        case Subject::Symbols:
        case Subject::Clock:
        case Subject::Disk:
        case Subject::Locale:
            return kFile;
        case Subject::Name:
        case Subject::Route:
        case Subject::Port:
            return kTcp;
        case Subject::Hello:
        case Subject::Session:
            return kHandshake;
        case Subject::Program:
            return kProgram;
        case Subject::Area:
        case Subject::Limit:
            return kRequest;
        case Subject::Tag:
            return kName;
    }
    return kRequest;
}

Tally countLines(const std::vector<CheckLine>& lines) {
    Tally tally;
    for (const CheckLine& line : lines) {
        tally.passed += line.grade == Grade::Pass ? 1 : 0;
        tally.warned += line.grade == Grade::Warn ? 1 : 0;
        tally.failed += line.grade == Grade::Fail ? 1 : 0;
        tally.notTried += line.grade == Grade::NotTried ? 1 : 0;
    }
    return tally;
}

int exitCodeOf(const std::vector<CheckLine>& lines) {
    for (const CheckLine& line : lines) {
        if (line.grade == Grade::Fail) {
            return exitCodeOf(line.subject);
        }
    }
    return 0;
}

std::string tallyText(const Tally& tally) {
    std::string text = fmt::format("{} passed", tally.passed);
    const auto add = [&text](int count, const char* what) {
        text += count == 0 ? "" : fmt::format(", {} {}", count, what);
    };
    add(tally.warned, "to look at");
    add(tally.failed, "failed");
    add(tally.notTried, "not tried");
    return text;
}

}  // namespace ac500::doctor
