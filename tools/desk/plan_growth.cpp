#include "tools/desk/plan_growth.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/text/checksum.h"

namespace ac500::desk {

namespace {

class Fingerprint {
public:
    void add(const std::string& text) {
        add(static_cast<std::int64_t>(text.size()));
        hash_.add(text);
    }
    void add(std::int64_t number) {
        for (int shift = 0; shift < 64; shift += 8) {
            const char byte = static_cast<char>(static_cast<std::uint64_t>(number) >> shift & 0xFF);
            hash_.add({&byte, 1});
        }
    }
    std::string text() const { return fmt::format("{:016x}", hash_.value()); }

private:
    ac500::text::Fnv1a hash_;
};

bool isAnother(const std::string& before, const std::string& now) {
    return !before.empty() && !now.empty() && before != now;
}

bool isAnother(const std::optional<std::int64_t>& before, const std::optional<std::int64_t>& now) {
    return before && now && *before != *now;
}

}  // namespace

std::vector<PlanFigure> costsOf(const ReadPlan& plan) {
    return {{"requests", "requests in a pass", static_cast<std::int64_t>(plan.requests.size())},
            {"items", "items", plan.items},
            {"bytes_asked", "bytes asked for", plan.bytesAsked},
            {"bytes_sent", "bytes sent in a pass", plan.bytesSent},
            {"bytes_received", "bytes received in a pass", plan.bytesReceived}};
}

std::vector<FigureChange> changesSince(const std::map<std::string, std::int64_t>& before, const ReadPlan& now) {
    std::vector<FigureChange> changes;
    for (const PlanFigure& figure : costsOf(now)) {
        const auto earlier = before.find(figure.key);
        if (earlier != before.end() && earlier->second != figure.value) {
            changes.push_back({figure.name, earlier->second, figure.value});
        }
    }
    return changes;
}

bool anyGrowth(const std::vector<FigureChange>& changes) {
    return std::any_of(changes.begin(), changes.end(), [](const FigureChange& change) { return change.isGrowth(); });
}

PlanBasis basisOf(const std::vector<WantedTag>& wanted, int maxRequestWords) {
    Fingerprint names;
    Fingerprint places;
    for (const WantedTag& tag : wanted) {
        names.add(tag.tag);
        places.add(static_cast<std::int64_t>(tag.runs.size()));
        for (const ByteRun& run : tag.runs) {
            places.add(run.area);
            places.add(run.address);
            places.add(run.size);
        }
    }
    return {static_cast<std::int64_t>(wanted.size()), names.text(), places.text(), maxRequestWords};
}

std::vector<BasisChange> basisChanges(const PlanBasis& before, const PlanBasis& now) {
    std::vector<BasisChange> changes;
    if (isAnother(before.tags, now.tags)) {
        changes.push_back(
            {"tags", fmt::format("it is not the same list: {} tags before, {} now", *before.tags, *now.tags)});
    } else if (isAnother(before.tagsFingerprint, now.tagsFingerprint)) {
        changes.push_back({"tags", "it is not the same list: as many tags, but others or in another order"});
    } else if (isAnother(before.placesFingerprint, now.placesFingerprint)) {
        changes.push_back({"symbols", "these are not the same symbols: tags of the list lie elsewhere"});
    }
    if (isAnother(before.maxRequestWords, now.maxRequestWords)) {
        changes.push_back({"max_request_words", fmt::format("it is not the same --max-request-words: {} before, {} now",
                                                            *before.maxRequestWords, *now.maxRequestWords)});
    }
    return changes;
}

}  // namespace ac500::desk
