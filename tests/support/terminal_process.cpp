#include "tests/support/terminal_process.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ac500::test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNoProgram = 127;  // as a shell reports it
constexpr int kTurnMs = 20;

[[noreturn]] void become(char* const* arguments, const char* terminal,
                         const TerminalProcess::Environment& environment) {
    ::setsid();
    const int descriptor = ::open(terminal, O_RDWR);  // of a new session: it becomes its controlling terminal
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(descriptor, stream);
    }
    for (const auto& [name, value] : environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    ::execvp(arguments[0], arguments);
    ::_exit(kNoProgram);
}

}  // namespace

TerminalProcess::~TerminalProcess() {
    if (id_ > 0) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    if (terminal_ >= 0) {
        ::close(terminal_);
    }
}

bool TerminalProcess::start(const std::vector<std::string>& command, int columns, int rows,
                            const Environment& environment) {
    std::vector<char*> texts;
    for (const std::string& text : command) {
        texts.push_back(const_cast<char*>(text.c_str()));
    }
    texts.push_back(nullptr);

    terminal_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal_ < 0 || ::grantpt(terminal_) != 0 || ::unlockpt(terminal_) != 0) {
        return false;
    }
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    ::ioctl(terminal_, TIOCSWINSZ, &size);
    const std::string name = ::ptsname(terminal_);
    id_ = ::fork();
    if (id_ == 0) {
        become(texts.data(), name.c_str(), environment);
    }
    return id_ > 0;
}

bool TerminalProcess::type(const std::string& text) {
    return ::write(terminal_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool TerminalProcess::waitForText(const std::string& text, int milliseconds) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    std::size_t at = shown_.find(text, found_);
    while (at == std::string::npos && Clock::now() < deadline && collect(kTurnMs)) {
        at = shown_.find(text, found_);
    }
    found_ = at == std::string::npos ? found_ : at + text.size();
    return at != std::string::npos;
}

bool TerminalProcess::waitForEnd(int milliseconds) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (id_ > 0 && Clock::now() < deadline) {
        if (!collect(kTurnMs)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        int status = 0;
        if (::waitpid(id_, &status, WNOHANG) == id_) {
            exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            id_ = 0;
        }
    }
    while (id_ == 0 && collect(0)) {
    }
    return id_ == 0;
}

termios TerminalProcess::modes() const {
    termios modes{};
    ::tcgetattr(terminal_, &modes);
    return modes;
}

// Reads once. False: the program has closed its end.
bool TerminalProcess::collect(int milliseconds) {
    pollfd ready{terminal_, POLLIN, 0};
    if (::poll(&ready, 1, milliseconds) == 0) {
        return milliseconds > 0;
    }
    char bytes[4096];
    const ssize_t count = ::read(terminal_, bytes, sizeof bytes);
    if (count > 0) {
        shown_.append(bytes, static_cast<std::size_t>(count));
    }
    return count > 0;
}

}  // namespace ac500::test
