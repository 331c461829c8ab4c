#include "tools/host/terminal.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "tools/host/print.h"

namespace ac500::host {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int) {
    interrupted = 1;
}

volatile std::sig_atomic_t resetAsked = 0;

void onResetAsked(int) {
    resetAsked = 1;
}

sigset_t continuingSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCONT);
    return signals;
}

constexpr char kClearToEndOfLine[] = "\x1b[K";
constexpr char kClearToEndOfScreen[] = "\x1b[J";
constexpr char kClearScreen[] = "\x1b[H\x1b[2J";

}  // namespace

bool outputIsScreen() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && kind != nullptr && *kind != '\0' && std::strcmp(kind, "dumb") != 0;
}

bool wantsColors() {
    const char* const refusal = std::getenv("NO_COLOR");
    return refusal == nullptr || *refusal == '\0';
}

TerminalSize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

bool hasKeyboard() {
    return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
}

// The terminal gives a line at a time, once it is whole.
std::vector<std::string> typedLines() {
    std::vector<std::string> lines;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (hasKeyboard() && poll(&input, 1, 0) == 1 && (input.revents & POLLIN) != 0) {
        char bytes[4096];
        const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
        if (count <= 0) {
            break;
        }
        const std::string line(bytes, static_cast<std::size_t>(count));
        if (line.back() == '\n') {
            lines.push_back(line.substr(0, line.size() - 1));
        }
    }
    return lines;
}

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = onResetAsked;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR2, &action, nullptr);
    // The program goes on all the same; the signal waits to be asked for.
    const sigset_t continuing = continuingSignal();
    pthread_sigmask(SIG_BLOCK, &continuing, nullptr);
}

bool wasInterrupted() {
    return interrupted != 0;
}

bool wasAskedToReset() {
    const bool wasAsked = resetAsked != 0;
    resetAsked = 0;
    return wasAsked;
}

bool wasContinued() {
    const sigset_t continuing = continuingSignal();
    const timespec atOnce{};
    return sigtimedwait(&continuing, nullptr, &atOnce) == SIGCONT;
}

void LiveLines::draw(const std::vector<std::string>& lines) {
    const TerminalSize size = terminalSize();
    const bool isSameSize = size.columns == size_.columns && size.rows == size_.rows;
    std::string out = below_ == 0 || isSameSize ? toTheirBeginning() : kClearScreen;
    for (const std::string& line : lines) {
        out += line + kClearToEndOfLine + "\n";
    }
    out += kClearToEndOfScreen;
    print(out);
    flushOutput();
    below_ = lines.size();
    size_ = size;
}

void LiveLines::erase() {
    print(toTheirBeginning() + kClearToEndOfScreen);
    flushOutput();
    below_ = 0;
}

std::string LiveLines::toTheirBeginning() const {
    return below_ == 0 ? std::string("\r") : fmt::format("\r\x1b[{}A", below_);
}

}  // namespace ac500::host
