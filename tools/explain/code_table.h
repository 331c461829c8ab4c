// Every code that a user of the driver or of the programs meets, with what it means, what usually causes it and what to do.
// The one source of these words: the programs print them, `ac500-host explain` looks them up, and docs/status-codes.md
// holds them as tables. The numbers of the driver are those of core/codes.h. Plain values; no threads.
#ifndef AC500_TOOLS_EXPLAIN_CODE_TABLE_H
#define AC500_TOOLS_EXPLAIN_CODE_TABLE_H

#include <string>
#include <vector>

namespace ac500::explain {

// What a number is a code of: the same number means other things in other groups.
enum class Group {
    Status,      // the status word of DataCom's result
    Resolution,  // what resolving a tag answers
    PlcStatus,   // the status word of a reply on the wire
    HostExit,    // exit codes of ac500-host
    SimExit,     // exit codes of ac500-sim
    Callback,    // the last argument of the driver's callbacks
    ReplyCheck,  // results of the inner steps that check a reply
    Outcome,     // arguments of GetDriverReturnValue
    Write,       // outcomes of writes, as the programs and the client library tell them
    State,       // states of values, likewise
    Record,      // codes in the fields of shared records, data types among them
};

// All of them, in the order in which they are told.
const std::vector<Group>& allGroups();

struct Code {
    Group group;
    int first;
    int last;  // a family of codes: its last one; else `first`
    const char*
        name;  // of the driver: the constant in core/codes.h; of ac500-host: the word a message begins with or shows
    const char* brief;    // a few words, as they stand in a message; never empty
    const char* meaning;  // in sentences; empty: the brief ones say it all
    const char* cause;    // what usually causes it; empty: nothing is wrong
    const char* remedy;   // what to do; empty: nothing
    const char* place;    // function or field that carries it, or the status that an outcome becomes; else empty
};

// In the order of the page, group by group. Texts may hold Markdown: `code` and [links](page.md).
const std::vector<Code>& allCodes();

// The first code of the group that the number belongs to; null when there is none.
const Code* findCode(Group group, int number);

// The brief words of a number, "a code that has no meaning" without one.
const char* briefOf(Group group, int number);

// One word for the command line and for programs: "status", "resolution", "plc", "exit", "sim-exit", "callback", "check",
// "outcome", "write", "state", "record".
const char* groupKey(Group group);

// What a code of the group is, for people: "status of a request, from the driver".
const char* groupTitle(Group group);

// "11", "11 - 22", "0x0302".
std::string numberText(const Code& code);

}  // namespace ac500::explain

#endif
