// The lines of an audit: what was about to be written, and what came of it. Plain values, and their form as JSON on one
// line, which docs/schema/audit-line.schema.json describes.
#ifndef AC500_TOOLS_AUDIT_AUDIT_LINE_H
#define AC500_TOOLS_AUDIT_AUDIT_LINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace ac500::audit {

// A write that is about to be sent. All texts are UTF-8; values are in the form in which ac500-host takes them, unscaled.
struct Intent {
    std::string id;    // no other line of any process has it
    std::string time;  // UTC, ISO 8601 with milliseconds
    std::string user;  // who ordered it: of the operating system, or the name of a token
    std::string host;  // the machine that it was ordered on
    std::string plc;   // HOST:PORT
    std::string tag;
    std::string type;  // "INT", "BIT of WORD"
    int area = 0;
    std::int64_t address = 0;  // bytes; bits for a variable of type BIT
    std::string before;        // what was in the PLC
    std::string after;         // what is to be
    std::string shownBefore;   // the same as people see them, where that is another text
    std::string shownAfter;
    std::string number;  // the one-use number of the write; empty: none
    std::string undoes;  // id of the write that this one takes back; empty: none
};

// What came of it.
struct Ending {
    std::string of;  // id of the intent
    std::string time;
    std::string outcome;  // "done", "refused", "not sent", "unknown"
    std::string reason;   // unless it is done
};

using Line = std::variant<Intent, Ending>;

// Without the end of the line.
std::string textOf(const Intent& intent);
std::string textOf(const Ending& ending);

// Nothing for a text that is no line of an audit; *error then says why.
std::optional<Line> parseLine(const std::string& text, std::string* error);

// May the text be the beginning of an audit, a line of it or what a kill or a power cut left of one? Nothing may.
bool mayBeginAudit(const std::string& text);

}  // namespace ac500::audit

#endif
