#include "tools/desk/plan_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/desk/memory_layout.h"
#include "tools/text/text.h"

namespace ac500::desk {

namespace {

// All in pixels.
constexpr double kWidth = 1120;
constexpr double kLeft = 104;  // room for addresses
constexpr double kMapWidth = 960;
constexpr double kBandHeight = 16;
constexpr double kRowPitch = 38;    // band, the requests above it, and some air
constexpr double kSectionGap = 14;  // where memory is left out
constexpr double kAreaTitle = 34;
constexpr double kChartHeight = 90;
constexpr double kDigitWidth = 6.2;  // of the small text

constexpr int kCellsPerRow = 256;
constexpr std::size_t kMostRows = 36;
constexpr std::size_t kMostBars = 240;
constexpr std::size_t kShownGaps = 5;
constexpr double kCellWidth = kMapWidth / kCellsPerRow;

constexpr char kStyle[] =
    "<style>\n"
    "text{font-family:Helvetica,Arial,sans-serif;font-size:12px;fill:#1a1a1a}\n"
    ".title{font-size:18px;font-weight:bold}.area{font-size:14px;font-weight:bold}.small{font-size:11px}\n"
    ".right{text-anchor:end}.middle{text-anchor:middle}\n"
    ".wanted{fill:#1f5a8a}.along{fill:url(#along)}.unread{fill:#ffffff;stroke:#b5b5b5;stroke-width:0.7}\n"
    ".one{stroke:#1a1a1a;stroke-width:1.6;fill:none}.many{stroke:#1a1a1a;stroke-width:3;stroke-dasharray:2 "
    "2;fill:none}\n"
    ".axis{stroke:#b5b5b5;stroke-width:0.7}\n"
    "</style>\n"
    "<defs><pattern id=\"along\" width=\"5\" height=\"5\" patternUnits=\"userSpaceOnUse\" "
    "patternTransform=\"rotate(45)\"><rect width=\"5\" height=\"5\" fill=\"#fde3c4\"/>"
    "<rect width=\"2\" height=\"5\" fill=\"#b34a00\"/></pattern></defs>\n";

std::string escaped(const std::string& text) {
    std::string safe;
    for (const char c : text::withoutControls(text)) {
        switch (c) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            default:
                safe += c;
        }
    }
    return safe;
}

// Draws from top to bottom; `y` is where the next thing goes.
class Sheet {
public:
    double y = 0;

    void text(double x, double atY, const std::string& cssClass, const std::string& content) {
        body_ +=
            fmt::format("<text class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", cssClass, x, atY, escaped(content));
    }
    void box(const char* cssClass, double x, double atY, double width, double height) {
        body_ += fmt::format("<rect class=\"{}\" x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" height=\"{:.2f}\"/>\n",
                             cssClass, x, atY, width, height);
    }
    void path(const char* cssClass, const std::string& data) {
        body_ += fmt::format("<path class=\"{}\" d=\"{}\"/>\n", cssClass, data);
    }

    std::string document() const {
        return fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.0f}\" height=\"{1:.0f}\" viewBox=\"0 0 {0:.0f} "
            "{1:.0f}\">\n{2}<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n{3}</svg>\n",
            kWidth, y + 16, kStyle, body_);
    }

private:
    std::string body_;
};

// ---------------------------------------------------------------------------------------------------------------------
// Title and legend
// ---------------------------------------------------------------------------------------------------------------------

void drawHead(Sheet& sheet, const PlanPicture& picture) {
    sheet.text(24, 32, "title", picture.title);
    sheet.text(24, 54, "", picture.summary);
    sheet.y = 68;
}

void drawLegend(Sheet& sheet, const MemoryLayout& layout) {
    const double y = sheet.y;
    sheet.box("wanted", 24, y, 26, 13);
    sheet.text(56, y + 11, "", "wanted by a tag");
    sheet.box("along", 166, y, 26, 13);
    sheet.text(198, y + 11, "", "read along");
    sheet.box("unread", 280, y, 26, 13);
    sheet.text(312, y + 11, "", "not read");
    sheet.path("one", fmt::format("M384 {0:.1f}v-4h40v4", y + 10));
    sheet.text(430, y + 11, "", "read by one request, with its number");
    sheet.path("many", fmt::format("M706 {0:.1f}h40", y + 7));
    sheet.text(752, y + 11, "", "several requests, closer than can be drawn");
    sheet.y += 34;
    sheet.text(24, sheet.y, "small",
               layout.bytesPerCell == 1
                   ? fmt::format("A row is {} bytes. Rows in which nothing is read are left out.", layout.bytesPerRow())
                   : fmt::format("A row is {} bytes, {} bytes a step; a step is filled as far as its bytes are read. "
                                 "Rows in which nothing is read are left out.",
                                 layout.bytesPerRow(), layout.bytesPerCell));
}

// ---------------------------------------------------------------------------------------------------------------------
// Memory
// ---------------------------------------------------------------------------------------------------------------------

bool looksLike(const MemoryCell& a, const MemoryCell& b) {
    return a.wanted == b.wanted && a.along == b.along;
}

bool isOfSameRequests(const MemoryCell& a, const MemoryCell& b) {
    const bool bothOne = a.firstRequest == a.lastRequest && b.firstRequest == b.lastRequest;
    const bool bothMany = a.firstRequest != a.lastRequest && b.firstRequest != b.lastRequest;
    return (bothOne && a.firstRequest == b.firstRequest) || bothMany;
}

// Calls visit(first, end) for every run of cells that are alike.
template <typename Alike, typename Visitor>
void forEachRun(const std::vector<MemoryCell>& cells, Alike alike, Visitor visit) {
    for (std::size_t first = 0; first < cells.size();) {
        std::size_t end = first + 1;
        while (end < cells.size() && alike(cells[first], cells[end])) {
            ++end;
        }
        visit(first, end);
        first = end;
    }
}

void drawBand(Sheet& sheet, const MemoryLayout& layout, const MemoryRow& row) {
    sheet.box("unread", kLeft, sheet.y, kMapWidth, kBandHeight);
    forEachRun(row.cells, looksLike, [&](std::size_t first, std::size_t end) {
        const MemoryCell& cell = row.cells[first];
        const double x = kLeft + static_cast<double>(first) * kCellWidth;
        const double width = static_cast<double>(end - first) * kCellWidth;
        const double perByte = kBandHeight / static_cast<double>(layout.bytesPerCell);
        const double wanted = static_cast<double>(cell.wanted) * perByte;
        const double along = static_cast<double>(cell.along) * perByte;
        if (wanted > 0) {
            sheet.box("wanted", x, sheet.y + kBandHeight - wanted, width, wanted);
        }
        if (along > 0) {
            sheet.box("along", x, sheet.y + kBandHeight - wanted - along, width, along);
        }
    });
}

void drawRequests(Sheet& sheet, const MemoryRow& row) {
    const double y = sheet.y - 3;
    forEachRun(row.cells, isOfSameRequests, [&](std::size_t first, std::size_t end) {
        const MemoryCell& cell = row.cells[first];
        if (cell.firstRequest == 0) {
            return;
        }
        const double x = kLeft + static_cast<double>(first) * kCellWidth;
        const double width = static_cast<double>(end - first) * kCellWidth;
        const bool isOne = cell.firstRequest == cell.lastRequest;
        if (isOne && width > 3) {
            sheet.path("one", fmt::format("M{:.2f} {:.1f}v-4h{:.2f}v4", x + 0.8, y, width - 1.6));
        } else {
            sheet.path(isOne ? "one" : "many", fmt::format("M{:.2f} {:.1f}h{:.2f}", x, y - 3, width));
        }
        const int last = row.cells[end - 1].lastRequest;
        const std::string label =
            isOne ? std::to_string(cell.firstRequest) : fmt::format("{} to {}", cell.firstRequest, last);
        if (width >= kDigitWidth * static_cast<double>(label.size()) + 3) {
            sheet.text(x + width / 2, y - 6, "small middle", label);
        }
    });
}

void drawMemory(Sheet& sheet, const MemoryLayout& layout) {
    for (std::size_t i = 0; i < layout.rows.size(); ++i) {
        const MemoryRow& row = layout.rows[i];
        if (i == 0 || row.area != layout.rows[i - 1].area) {
            sheet.y += kAreaTitle;
            sheet.text(24, sheet.y, "area", fmt::format("Area {}", row.area));
        } else if (layout.beginsSection(i)) {
            sheet.y += kSectionGap;
            sheet.path("axis", fmt::format("M{:.1f} {:.1f}h{:.1f}", kLeft, sheet.y + 7, kMapWidth));
        }
        sheet.y += kRowPitch - kBandHeight;
        sheet.text(kLeft - 8, sheet.y + 12, "right", std::to_string(row.address));
        drawBand(sheet, layout, row);
        drawRequests(sheet, row);
        sheet.y += kBandHeight;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Requests
// ---------------------------------------------------------------------------------------------------------------------

struct Bar {
    double asked = 0;
    double wanted = 0;
};

// One a request, or of several the mean.
std::vector<Bar> barsOf(const std::vector<RequestFigures>& requests) {
    const std::size_t count = std::min(requests.size(), kMostBars);
    std::vector<Bar> bars(count);
    for (std::size_t bar = 0; bar < count; ++bar) {
        const std::size_t first = bar * requests.size() / count;
        const std::size_t end = (bar + 1) * requests.size() / count;
        for (std::size_t i = first; i < end; ++i) {
            bars[bar].asked += static_cast<double>(requests[i].bytesAsked) / static_cast<double>(end - first);
            bars[bar].wanted += static_cast<double>(requests[i].bytesWanted) / static_cast<double>(end - first);
        }
    }
    return bars;
}

void drawChart(Sheet& sheet, const std::vector<RequestFigures>& requests) {
    const std::vector<Bar> bars = barsOf(requests);
    double largest = 1;
    for (const Bar& bar : bars) {
        largest = std::max(largest, bar.asked);
    }
    sheet.y += kAreaTitle + 6;
    sheet.text(24, sheet.y, "area", "Bytes asked for, request by request");
    if (bars.size() < requests.size()) {
        sheet.text(380, sheet.y, "small",
                   fmt::format("{} requests in {} bars, each the mean of some", requests.size(), bars.size()));
    }
    sheet.y += 14 + kChartHeight;
    const double step = std::min(kMapWidth / static_cast<double>(std::max<std::size_t>(bars.size(), 1)), 48.0);
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double x = kLeft + static_cast<double>(i) * step;
        const double width = std::max(step - 2, step * 0.75);
        const double asked = bars[i].asked / largest * kChartHeight;
        const double wanted = bars[i].wanted / largest * kChartHeight;
        sheet.box("wanted", x, sheet.y - wanted, width, wanted);
        sheet.box("along", x, sheet.y - asked, width, asked - wanted);
        const bool hasOwnLabel = bars.size() == requests.size() && step >= kDigitWidth * 3 + 3;
        if (hasOwnLabel) {
            sheet.text(x + width / 2, sheet.y + 13, "small middle", std::to_string(i + 1));
        }
    }
    if (!bars.empty() && !(bars.size() == requests.size() && step >= kDigitWidth * 3 + 3)) {
        sheet.text(kLeft, sheet.y + 13, "small", "1");
        sheet.text(kLeft + step * static_cast<double>(bars.size()), sheet.y + 13, "small right",
                   std::to_string(requests.size()));
    }
    sheet.path("axis", fmt::format("M{0:.1f} {1:.1f}h{2:.1f}M{0:.1f} {3:.1f}h{2:.1f}", kLeft, sheet.y, kMapWidth,
                                   sheet.y - kChartHeight));
    sheet.text(kLeft - 8, sheet.y - kChartHeight + 4, "small right", fmt::format("{:.0f}", largest));
    sheet.text(kLeft - 8, sheet.y + 4, "small right", "0");
    sheet.y += 16;
}

void drawGaps(Sheet& sheet, std::vector<Gap> gaps) {
    if (gaps.empty()) {
        return;
    }
    std::stable_sort(gaps.begin(), gaps.end(), [](const Gap& a, const Gap& b) { return a.bytes.size > b.bytes.size; });
    sheet.y += kAreaTitle;
    sheet.text(24, sheet.y, "area", fmt::format("The widest of {} gaps that are read along", gaps.size()));
    for (std::size_t i = 0; i < std::min(gaps.size(), kShownGaps); ++i) {
        const Gap& gap = gaps[i];
        sheet.y += 18;
        sheet.text(kLeft - 8, sheet.y, "right", fmt::format("{}", gap.bytes.size));
        sheet.text(kLeft, sheet.y, "",
                   fmt::format("bytes from {} on in area {}, between {} and {}", gap.bytes.address, gap.bytes.area,
                               gap.tagBefore, gap.tagBehind));
    }
}

}  // namespace

std::string svgOf(const PlanPicture& picture) {
    const MemoryLayout layout = layOutMemory(picture.pass, picture.wanted, kCellsPerRow, kMostRows);
    Sheet sheet;
    drawHead(sheet, picture);
    drawLegend(sheet, layout);
    drawMemory(sheet, layout);
    drawChart(sheet, picture.plan.requests);
    drawGaps(sheet, picture.plan.gaps);
    return sheet.document();
}

}  // namespace ac500::desk
