#include "tools/desk/read_plan.h"

#include <algorithm>

namespace ac500::desk {

namespace {

// A run, and the tag that wants it.
struct TagRun {
    ByteRun run;
    std::size_t tag;
};

std::vector<TagRun> runsOf(const std::vector<WantedTag>& wanted) {
    std::vector<TagRun> runs;
    for (std::size_t tag = 0; tag < wanted.size(); ++tag) {
        for (const ByteRun& run : wanted[tag].runs) {
            runs.push_back({run, tag});
        }
    }
    return runs;
}

std::vector<ByteRun> bytesAlone(const std::vector<TagRun>& runs) {
    std::vector<ByteRun> bytes;
    bytes.reserve(runs.size());
    for (const TagRun& run : runs) {
        bytes.push_back(run.run);
    }
    return bytes;
}

// Names of the tags with a run that begins, or ends, at a place: of several the first of the list.
class TagsAt {
public:
    enum class Edge { Begin, End };

    TagsAt(std::vector<TagRun> runs, const std::vector<WantedTag>& wanted, Edge edge)
        : runs_(std::move(runs)), wanted_(wanted), edge_(edge) {
        std::sort(runs_.begin(), runs_.end(), [this](const TagRun& a, const TagRun& b) {
            return a.run.area != b.run.area           ? a.run.area < b.run.area
                   : placeOf(a.run) != placeOf(b.run) ? placeOf(a.run) < placeOf(b.run)
                                                      : a.tag < b.tag;
        });
    }

    std::string at(int area, std::int64_t place) const {
        const auto found = std::lower_bound(
            runs_.begin(), runs_.end(), place, [this, area](const TagRun& run, std::int64_t wantedPlace) {
                return run.run.area != area ? run.run.area < area : placeOf(run.run) < wantedPlace;
            });
        const bool isThere = found != runs_.end() && found->run.area == area && placeOf(found->run) == place;
        return isThere ? wanted_[found->tag].tag : std::string();
    }

private:
    std::int64_t placeOf(const ByteRun& run) const { return edge_ == Edge::Begin ? run.address : endOf(run); }

    std::vector<TagRun> runs_;
    const std::vector<WantedTag>& wanted_;
    Edge edge_;
};

std::vector<Gap> gapsOf(const std::vector<ByteRun>& along, const std::vector<TagRun>& runs,
                        const std::vector<WantedTag>& wanted) {
    const TagsAt endings(runs, wanted, TagsAt::Edge::End);
    const TagsAt beginnings(runs, wanted, TagsAt::Edge::Begin);
    std::vector<Gap> gaps;
    for (const ByteRun& gap : along) {
        gaps.push_back({gap, endings.at(gap.area, gap.address), beginnings.at(gap.area, endOf(gap))});
    }
    return gaps;
}

}  // namespace

double ReadPlan::fill() const {
    return bytesAsked == 0 ? 1 : static_cast<double>(bytesWanted) / static_cast<double>(bytesAsked);
}

ReadPlan makeReadPlan(const ObservedPass& pass, const std::vector<WantedTag>& wanted) {
    const std::vector<TagRun> tagRuns = runsOf(wanted);
    const std::vector<ByteRun> wantedBytes = united(bytesAlone(tagRuns));
    ReadPlan plan;
    plan.tags = static_cast<int>(wanted.size());
    plan.items = pass.listItems;
    plan.bytesWanted = bytesOf(wantedBytes);
    std::vector<ByteRun> asked;
    for (const Request& request : pass.requests) {
        RequestFigures figures;
        figures.requestBytes = request.requestBytes;
        figures.replyBytes = request.replyBytes;
        for (const ByteRun& item : request.items) {
            ++figures.items;
            figures.bytesAsked += item.size;
            figures.bytesWanted += bytesWithin(item, wantedBytes);
            if (asked.size() == static_cast<std::size_t>(pass.listItems)) {
                ++figures.itemsAgain;
            } else {
                asked.push_back(item);
                plan.bytesAsked += item.size;
            }
        }
        plan.bytesSent += figures.requestBytes;
        plan.bytesReceived += figures.replyBytes;
        plan.requests.push_back(figures);
    }
    const std::vector<ByteRun> along = without(united(std::move(asked)), wantedBytes);
    plan.bytesReadAlong = bytesOf(along);
    plan.gaps = gapsOf(along, tagRuns, wanted);
    return plan;
}

double passMs(std::size_t requests, const RequestTime& time) {
    return static_cast<double>(requests) * time.totalMs();
}

double passWithLookMs(std::size_t requests, const RequestTime& time) {
    constexpr double kShortestLookMs = 5;
    if (requests == 0) {
        return 0;
    }
    return passMs(requests - 1, time) + std::max(2 * time.totalMs(), kShortestLookMs);
}

}  // namespace ac500::desk
