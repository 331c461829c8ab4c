// The terminal under standard output, and Ctrl-C. The terminal's modes are never changed, so there is nothing to be put back,
// whatever ends the program.
#ifndef AC500_TOOLS_HOST_TERMINAL_H
#define AC500_TOOLS_HOST_TERMINAL_H

#include <string>
#include <vector>

namespace ac500::host {

// Is standard output a terminal that understands more than plain lines (TERM)?
bool outputIsScreen();
// May colors be used (NO_COLOR)?
bool wantsColors();

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};
TerminalSize terminalSize();

// Is there a terminal to type at, and is it ours? A program in the background must not read.
bool hasKeyboard();
// The lines typed since the last call, without their ends. Does not wait.
std::vector<std::string> typedLines();

// From now on SIGINT and SIGTERM do not end the program but make wasInterrupted() true, and SIGUSR2 wasAskedToReset().
void catchInterrupts();
bool wasInterrupted();
// Did SIGUSR2 come since the last call?
bool wasAskedToReset();
// Was the program stopped (Ctrl-Z) and continued since the last call? Then others have written to the terminal.
bool wasContinued();

// Draws lines over those it drew before. The cursor stays below them, so what is printed afterwards follows.
class LiveLines {
public:
    // Lines must not be wider than the terminal, and fewer than its rows. On a terminal of another size than last time the
    // screen is cleared: what became of the lines there is not known.
    void draw(const std::vector<std::string>& lines);
    // The cursor went down: that many lines were typed.
    void lineWasTyped() { ++below_; }
    // The lines are left where they are; the next ones follow what was written since.
    void leave() { below_ = 0; }
    // Removes the lines, so that messages can be printed in their place.
    void erase();

private:
    std::string toTheirBeginning() const;

    std::size_t below_ = 0;  // lines between the first drawn one and the cursor
    TerminalSize size_;
};

}  // namespace ac500::host

#endif
