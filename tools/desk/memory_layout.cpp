#include "tools/desk/memory_layout.h"

#include <algorithm>

namespace ac500::desk {

namespace {

// An entry of the driver's list, with the request that reads it first.
struct NumberedItem {
    ByteRun bytes;
    int request;
};

std::vector<NumberedItem> itemsOf(const ObservedPass& pass) {
    std::vector<NumberedItem> items;
    for (std::size_t request = 0; request < pass.requests.size(); ++request) {
        for (const ByteRun& item : pass.requests[request].items) {
            if (items.size() < static_cast<std::size_t>(pass.listItems)) {
                items.push_back({item, static_cast<int>(request) + 1});
            }
        }
    }
    return items;
}

std::vector<ByteRun> allBytesOf(const std::vector<NumberedItem>& items) {
    std::vector<ByteRun> bytes;
    for (const NumberedItem& item : items) {
        bytes.push_back(item.bytes);
    }
    return united(std::move(bytes));
}

std::vector<ByteRun> allBytesOf(const std::vector<WantedTag>& wanted) {
    std::vector<ByteRun> bytes;
    for (const WantedTag& tag : wanted) {
        bytes.insert(bytes.end(), tag.runs.begin(), tag.runs.end());
    }
    return united(std::move(bytes));
}

// The empty rows that hold the set, for this size of a row.
std::vector<MemoryRow> rowsOf(const std::vector<ByteRun>& set, std::int64_t bytesPerRow, int cellsPerRow) {
    std::vector<MemoryRow> rows;
    for (const ByteRun& run : set) {
        const std::int64_t last = (endOf(run) - 1) / bytesPerRow;
        for (std::int64_t number = run.address / bytesPerRow; number <= last; ++number) {
            const std::int64_t address = number * bytesPerRow;
            if (rows.empty() || rows.back().area != run.area || rows.back().address != address) {
                rows.push_back({run.area, address, {}});
            }
        }
    }
    for (MemoryRow& row : rows) {
        row.cells.resize(static_cast<std::size_t>(cellsPerRow));
    }
    return rows;
}

std::size_t countRows(const std::vector<ByteRun>& set, std::int64_t bytesPerRow) {
    std::size_t rows = 0;
    int area = 0;
    std::int64_t last = -1;
    for (const ByteRun& run : set) {
        const std::int64_t first = run.address / bytesPerRow;
        const bool isShared = rows > 0 && run.area == area && first == last;
        area = run.area;
        last = (endOf(run) - 1) / bytesPerRow;
        rows += static_cast<std::size_t>(last - first + (isShared ? 0 : 1));
    }
    return rows;
}

std::size_t countAreas(const std::vector<ByteRun>& set) {
    std::size_t areas = 0;
    for (std::size_t i = 0; i < set.size(); ++i) {
        areas += i == 0 || set[i].area != set[i - 1].area ? 1 : 0;
    }
    return areas;
}

// Calls visit(cell, bytes) for every cell that the run has bytes in. REQUIRES: the layout has the rows.
template <typename Visitor>
void forEachCell(MemoryLayout& layout, const ByteRun& run, Visitor visit) {
    const std::int64_t firstRow = run.address / layout.bytesPerRow() * layout.bytesPerRow();
    auto row = std::lower_bound(
        layout.rows.begin(), layout.rows.end(), firstRow, [&run](const MemoryRow& candidate, std::int64_t address) {
            return candidate.area != run.area ? candidate.area < run.area : candidate.address < address;
        });
    for (std::int64_t from = run.address; from < endOf(run);) {
        if (from >= row->address + layout.bytesPerRow()) {
            ++row;
        }
        const std::int64_t cell = (from - row->address) / layout.bytesPerCell;
        const std::int64_t end = std::min(endOf(run), row->address + (cell + 1) * layout.bytesPerCell);
        visit(row->cells[static_cast<std::size_t>(cell)], end - from);
        from = end;
    }
}

}  // namespace

bool MemoryLayout::beginsSection(std::size_t row) const {
    return row == 0 || rows[row].area != rows[row - 1].area ||
           rows[row].address != rows[row - 1].address + bytesPerRow();
}

MemoryLayout layOutMemory(const ObservedPass& pass, const std::vector<WantedTag>& wanted, int cellsPerRow,
                          std::size_t mostRows) {
    const std::vector<NumberedItem> items = itemsOf(pass);
    const std::vector<ByteRun> read = allBytesOf(items);
    const std::vector<ByteRun> along = without(read, allBytesOf(wanted));
    MemoryLayout layout;
    layout.cellsPerRow = cellsPerRow;
    const std::size_t limit = std::max(mostRows, countAreas(read));
    while (countRows(read, layout.bytesPerRow()) > limit) {
        layout.bytesPerCell *= 2;
    }
    layout.rows = rowsOf(read, layout.bytesPerRow(), cellsPerRow);
    for (const ByteRun& run : along) {
        forEachCell(layout, run, [](MemoryCell& cell, std::int64_t bytes) { cell.along += bytes; });
    }
    for (const ByteRun& run : without(read, along)) {
        forEachCell(layout, run, [](MemoryCell& cell, std::int64_t bytes) { cell.wanted += bytes; });
    }
    for (const NumberedItem& item : items) {
        forEachCell(layout, item.bytes, [&item](MemoryCell& cell, std::int64_t) {
            cell.firstRequest = cell.firstRequest == 0 ? item.request : std::min(cell.firstRequest, item.request);
            cell.lastRequest = std::max(cell.lastRequest, item.request);
        });
    }
    return layout;
}

RequestSpan requestsOf(const MemoryRow& row) {
    RequestSpan span;
    for (const MemoryCell& cell : row.cells) {
        if (cell.firstRequest > 0) {
            span.first = span.first == 0 ? cell.firstRequest : std::min(span.first, cell.firstRequest);
            span.last = std::max(span.last, cell.lastRequest);
        }
    }
    return span;
}

}  // namespace ac500::desk
