// The terminal under standard output, and Ctrl-C.
#ifndef AC500_TOOLS_HOST_TERMINAL_H
#define AC500_TOOLS_HOST_TERMINAL_H

#include <string>
#include <vector>

namespace ac500::host {

bool outputIsTerminal();

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};
TerminalSize terminalSize();

// From now on SIGINT and SIGTERM do not end the program but make wasInterrupted() true.
void catchInterrupts();
bool wasInterrupted();

// Draws lines over those it drew before. The cursor stays below them, so what is printed afterwards follows.
class LiveLines {
public:
    // Lines must not be wider than the terminal, and fewer than its rows.
    void draw(const std::vector<std::string>& lines);

private:
    std::size_t drawn_ = 0;
};

}  // namespace ac500::host

#endif
