#include "tools/host/terminal.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>

#include "tools/host/print.h"

namespace ac500::host {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int) {
    interrupted = 1;
}

constexpr char kClearToEndOfLine[] = "\x1b[K";
constexpr char kClearToEndOfScreen[] = "\x1b[J";

}  // namespace

bool outputIsTerminal() {
    return isatty(STDOUT_FILENO) != 0;
}

TerminalSize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool wasInterrupted() {
    return interrupted != 0;
}

void LiveLines::draw(const std::vector<std::string>& lines) {
    std::string out = drawn_ == 0 ? std::string() : fmt::format("\x1b[{}A", drawn_);
    for (const std::string& line : lines) {
        out += "\r" + line + kClearToEndOfLine + "\n";
    }
    out += kClearToEndOfScreen;
    print(out);
    flushOutput();
    drawn_ = lines.size();
}

}  // namespace ac500::host
