// Failure says what went wrong, and where on the way from a command line to a PLC: its kind. Every message begins with
// the kind's name, and every program that uses the library ends with its number.
#ifndef AC500_TOOLS_HOST_FAILURE_H
#define AC500_TOOLS_HOST_FAILURE_H

#include <string>

namespace ac500::host {

// The numbers are exit codes of ac500-host, listed in docs/host-guide.md.
enum class FailureKind {
    None = 0,
    Usage = 1,      // the command line: an option, a value that does not fit its type
    File = 2,       // the driver library or the symbol file
    Name = 3,       // a tag that does not resolve
    Tcp = 4,        // the connection to the PLC
    Handshake = 5,  // the two requests that open a session
    Request = 6,    // reading and writing
    Output = 7,     // the standard output
    Program = 8,    // another program is in the PLC than the symbols describe
};

// "usage", "file", "name", "tcp", "handshake", "request", "output", "program"; "ok" for None.
const char* failureKindName(FailureKind kind);

inline int exitCodeOf(FailureKind kind) {
    return static_cast<int>(kind);
}

// What went wrong, and what to do about it.
struct Failure {
    FailureKind kind = FailureKind::None;
    std::string text;

    // False for a Failure that nobody has filled: nothing went wrong.
    bool occurred() const { return kind != FailureKind::None; }
};

}  // namespace ac500::host

#endif
