// The live table of the watch command as lines of text, for a terminal of a given size. Pure functions and values.
#ifndef AC500_TOOLS_HOST_LIVE_TABLE_H
#define AC500_TOOLS_HOST_LIVE_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/host/host_session.h"
#include "tools/host/terminal.h"

namespace ac500::host {

struct LiveRow {
    std::string tag;
    std::string value;
    ValueState state = ValueState::NeverReceived;
    std::string age;
};

// One look at everything that is shown.
struct LivePicture {
    std::vector<std::string> head;  // parts of the head line, the most important first
    std::vector<LiveRow> rows;
    std::string failure;  // what went wrong last; may be empty
};

// Which rows are shown when there are more than the screen has room for.
class Pager {
public:
    struct Page {
        std::size_t number = 0;  // from 0
        std::size_t pages = 1;
        std::size_t first = 0;  // rows [first, end)
        std::size_t end = 0;
    };

    // What the user typed, without the end of line: nothing turns to the next page, behind the last to the first; a number
    // from 1 turns to that page; anything else does nothing.
    void turn(const std::string& line);

    // The page to show, of `rows` in all. REQUIRES: rowsPerPage > 0
    Page page(std::size_t rows, std::size_t rowsPerPage);

private:
    std::size_t number_ = 0;
    std::size_t pages_ = 1;
};

struct LiveStyle {
    bool hasColors = true;
    bool hasKeyboard = true;  // pages can be turned
};

// Lines that fit the terminal, at least two rows less than it has: one for the cursor, one for a line that is typed. State
// and age are always seen; tags and values that leave no room for them are cut.
std::vector<std::string> liveTable(const LivePicture& picture, TerminalSize size, LiveStyle style, Pager* pager);

}  // namespace ac500::host

#endif
