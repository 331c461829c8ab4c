#include <fmt/format.h>

#include <algorithm>

#include "tools/desk/memory_layout.h"
#include "tools/desk/plan_picture.h"

namespace ac500::desk {

namespace {

constexpr std::size_t kTerminalColumns = 80;
constexpr int kMapCells = 64;
constexpr std::size_t kMapRows = 32;

char characterOf(const MemoryCell& cell) {
    if (cell.along > 0) {
        return cell.wanted > 0 ? '+' : '-';
    }
    return cell.wanted > 0 ? '#' : '.';
}

// "3", "3-5", or as much of it as there is room for.
std::string requestsText(const RequestSpan& requests, std::size_t room) {
    const std::string first = std::to_string(requests.first);
    const std::string both = requests.first == requests.last ? first : fmt::format("{}-{}", first, requests.last);
    const std::string shorter = first + "+";
    return both.size() <= room ? both : shorter.size() <= room ? shorter : std::string();
}

}  // namespace

std::vector<std::string> characterMapOf(const ObservedPass& pass, const std::vector<WantedTag>& wanted) {
    const MemoryLayout layout = layOutMemory(pass, wanted, kMapCells, kMapRows);
    std::size_t addressWidth = 5;
    for (const MemoryRow& row : layout.rows) {
        addressWidth = std::max(addressWidth, std::to_string(row.address).size());
    }
    const std::size_t room = kTerminalColumns - std::min(kTerminalColumns, addressWidth + kMapCells + 4);
    std::vector<std::string> lines;
    lines.push_back(fmt::format("{} a character: # wanted - read along + both . not read | requests",
                                layout.bytesPerCell == 1 ? "1 byte" : fmt::format("{} bytes", layout.bytesPerCell)));
    for (std::size_t i = 0; i < layout.rows.size(); ++i) {
        const MemoryRow& row = layout.rows[i];
        if (i == 0 || row.area != layout.rows[i - 1].area) {
            lines.push_back(fmt::format("Area {}", row.area));
        } else if (layout.beginsSection(i)) {
            lines.push_back(fmt::format("{:>{}}", "...", addressWidth));
        }
        std::string cells;
        for (const MemoryCell& cell : row.cells) {
            cells += characterOf(cell);
        }
        lines.push_back(
            fmt::format("{:>{}} |{}| {}", row.address, addressWidth, cells, requestsText(requestsOf(row), room)));
    }
    return lines;
}

}  // namespace ac500::desk
