// CheckLine is one line of the doctor: what was looked at, how it stands, what that means and what to do next. Plain
// values and pure functions.
#ifndef AC500_TOOLS_DOCTOR_CHECK_LINE_H
#define AC500_TOOLS_DOCTOR_CHECK_LINE_H

#include <string>
#include <vector>

namespace ac500::doctor {

enum class Grade {
    Pass,
    Warn,      // it works, but not as it should
    Fail,      // it does not work
    NotTried,  // something that it stands on does not work, was not given, or the time was over
};

// "pass", "warn", "fail", "not tried".
const char* gradeName(Grade grade);

// What a line is about, from the bottom up: each stands on those above it.
enum class Subject {
    Driver,
    Symbols,
    Clock,
    Disk,
    Locale,
    Name,
    Route,
    Port,
    Hello,
    Session,
    Program,
    Area,
    Limit,
    Tag
};

// "driver", "symbols", "clock", ...
const char* subjectName(Subject subject);

// The exit code of ac500-host when such a line fails: 2 file, 3 name, 4 tcp, 5 handshake, 6 request, 8 program.
int exitCodeOf(Subject subject);

struct CheckLine {
    Subject subject = Subject::Driver;
    Grade grade = Grade::Pass;
    std::string text;     // what was found
    std::string meaning;  // empty for a pass
    std::string next;     // the command to run next, or what to do at the machine; empty for a pass
    // The text without values, and without bytes of the PLC's replies; empty when it has none.
    std::string textWithoutValues = {};
};

struct Tally {
    int passed = 0;
    int warned = 0;
    int failed = 0;
    int notTried = 0;
};
Tally countLines(const std::vector<CheckLine>& lines);

// 0 when no line fails, else the code of the first that does: what follows mostly follows from it.
int exitCodeOf(const std::vector<CheckLine>& lines);

// "8 passed, 1 failed, 3 not tried".
std::string tallyText(const Tally& tally);

}  // namespace ac500::doctor

#endif
