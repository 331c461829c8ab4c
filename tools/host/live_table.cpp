#include "tools/host/live_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "tools/host/output.h"

namespace ac500::host {

namespace {

constexpr char kBold[] = "\x1b[1m";
constexpr char kPlain[] = "\x1b[0m";

constexpr int kStateWidth = 14;  // "never received"
constexpr int kAgeWidth = 9;     // "12345 min"
constexpr int kGap = 2;
constexpr int kNarrowest = 3;  // of tags and values

constexpr int kSpareLines = 2;
constexpr int kFixedLines = 3;  // head, titles, failure

const char* colorOf(ValueState state) {
    switch (state) {
        case ValueState::Fresh:
            return "\x1b[32m";
        case ValueState::Suspect:
        case ValueState::Stale:
        case ValueState::WritePending:
            return "\x1b[33m";
        case ValueState::WriteFailed:
            return "\x1b[31m";
        case ValueState::NeverReceived:
            return "\x1b[2m";
    }
    return kPlain;
}

std::string styled(const std::string& line, const char* begin, LiveStyle style) {
    return style.hasColors ? begin + line + kPlain : line;
}

struct Widths {
    int tag;
    int value;
};

int widest(const std::vector<LiveRow>& rows, std::string LiveRow::*column, int title) {
    int width = title;
    for (const LiveRow& row : rows) {
        width = std::max(width, displayWidth(row.*column));
    }
    return width;
}

// A column that needs less than half of the room leaves the rest to the other.
Widths widthsFor(const std::vector<LiveRow>& rows, int columns) {
    const int room = columns - kStateWidth - kAgeWidth - 3 * kGap;
    const int tag = widest(rows, &LiveRow::tag, 3);
    const int value = widest(rows, &LiveRow::value, 5);
    const int tagWidth = std::max(kNarrowest, std::min(tag, std::max(room / 2, room - value)));
    return {tagWidth, std::max(kNarrowest, std::min(value, room - tagWidth))};
}

std::string cell(const std::string& text, int width) {
    const std::string cut = fitWidth(text, width);
    return cut + std::string(static_cast<std::size_t>(std::max(0, width - displayWidth(cut)) + kGap), ' ');
}

std::string tableLine(const Widths& widths, const std::string& tag, const std::string& value, const std::string& state,
                      const std::string& age) {
    return cell(tag, widths.tag) + cell(value, widths.value) + cell(state, kStateWidth) + age;
}

std::string footer(const Pager::Page& page, std::size_t rows, int columns, LiveStyle style) {
    std::vector<std::string> parts{
        fmt::format("page {} of {}, rows {} to {} of {}", page.number + 1, page.pages, page.first + 1, page.end, rows)};
    if (style.hasKeyboard) {
        parts.insert(parts.end(), {"Enter: next page", "NUMBER Enter: that page"});
    }
    return fitParts(parts, columns);
}

}  // namespace

void Pager::turn(const std::string& line) {
    std::size_t number = 0;
    const char* end = line.data() + line.size();
    const auto [rest, problem] = std::from_chars(line.data(), end, number);
    if (line.empty()) {
        number_ = (number_ + 1) % pages_;
    } else if (problem == std::errc() && rest == end && number >= 1 && number <= pages_) {
        number_ = number - 1;
    }
}

Pager::Page Pager::page(std::size_t rows, std::size_t rowsPerPage) {
    pages_ = std::max<std::size_t>(1, (rows + rowsPerPage - 1) / rowsPerPage);
    number_ = std::min(number_, pages_ - 1);
    return {number_, pages_, number_ * rowsPerPage, std::min(rows, (number_ + 1) * rowsPerPage)};
}

std::vector<std::string> liveTable(const LivePicture& picture, TerminalSize size, LiveStyle style, Pager* pager) {
    const int room = std::max(1, size.rows - kSpareLines - kFixedLines);
    const bool fits = picture.rows.size() <= static_cast<std::size_t>(room);
    const Pager::Page page =
        pager->page(picture.rows.size(), static_cast<std::size_t>(fits ? room : std::max(1, room - 1)));
    const Widths widths = widthsFor(picture.rows, size.columns);
    std::vector<std::string> lines;
    lines.push_back(styled(fitParts(picture.head, size.columns), kBold, style));
    lines.push_back(styled(fitWidth(tableLine(widths, "TAG", "VALUE", "STATE", "AGE"), size.columns), kBold, style));
    for (std::size_t i = page.first; i < page.end; ++i) {
        const LiveRow& row = picture.rows[i];
        const std::string line = tableLine(widths, row.tag, row.value, valueStateName(row.state), row.age);
        lines.push_back(styled(fitWidth(line, size.columns), colorOf(row.state), style));
    }
    if (!fits) {
        lines.push_back(footer(page, picture.rows.size(), size.columns, style));
    }
    lines.push_back(fitWidth(picture.failure, size.columns));
    return lines;
}

}  // namespace ac500::host
