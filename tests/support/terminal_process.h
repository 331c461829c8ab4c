// TerminalProcess runs a program on a terminal of its own (a pty) and collects what it shows there.
//
// Not thread-safe. The destructor kills and reaps what still runs, so no process outlives its test.
#ifndef AC500_TESTS_SUPPORT_TERMINAL_PROCESS_H
#define AC500_TESTS_SUPPORT_TERMINAL_PROCESS_H

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>
#include <termios.h>

namespace ac500::test {

class TerminalProcess {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;  // in addition to that of the test

    TerminalProcess() = default;
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;
    ~TerminalProcess();

    // To be called once. False when no terminal or process could be made.
    bool start(const std::vector<std::string>& command, int columns, int rows, const Environment& environment);

    // As if it were typed; "\x03" is Ctrl-C.
    bool type(const std::string& text);

    // Collects output until `text` is among what was shown since the last call that found its text. False: it does not come.
    bool waitForText(const std::string& text, int milliseconds);
    // Collects the rest. False: the time is over and the program still runs.
    bool waitForEnd(int milliseconds);

    // Everything that was shown so far.
    const std::string& shown() const { return shown_; }
    // Of the terminal.
    termios modes() const;
    int exitCode() const { return exitCode_; }

private:
    bool collect(int milliseconds);

    pid_t id_ = 0;
    int terminal_ = -1;
    int exitCode_ = -1;
    std::string shown_;
    std::size_t found_ = 0;
};

}  // namespace ac500::test

#endif
