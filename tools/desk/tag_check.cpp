#include "tools/desk/tag_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

#include "tools/explain/code_table.h"

namespace ac500::desk {

namespace {

// The written tags in the order of their beginnings, and a tree over them: each node with the farthest end below it, so that
// a search passes over what ends too early and what is no conflict. It takes the logarithm of the number of tags, however
// wide some are and however many lie over each other.
class WrittenMemory {
public:
    explicit WrittenMemory(const std::vector<WrittenTag>& tags) {
        for (const WrittenTag& tag : tags) {
            byAddress_.push_back(&tag);
        }
        std::stable_sort(byAddress_.begin(), byAddress_.end(), [](const WrittenTag* a, const WrittenTag* b) {
            return beginOf(a->variable) < beginOf(b->variable);
        });
        while (width_ < byAddress_.size()) {
            width_ *= 2;
        }
        all_ = treeOver([](const WrittenTag&) { return true; });
        bits_ = treeOver([](const WrittenTag& tag) { return tag.isBit; });
    }

    // The first that another panel writes, that shares bytes with the tag, and of which or of the tag it is a bit that is
    // written; null when there is none.
    const WrittenTag* firstConflict(const WrittenTag& tag) const {
        const auto end = std::lower_bound(
            byAddress_.begin(), byAddress_.end(), Position{tag.variable.area, endOf(tag.variable)},
            [](const WrittenTag* other, const Position& position) { return beginOf(other->variable) < position; });
        const auto behind = static_cast<std::size_t>(end - byAddress_.begin());
        return firstBefore(behind, tag, tag.isBit ? all_ : bits_, {1, 0, width_});
    }

private:
    using Position = std::pair<int, std::int64_t>;  // area, byte

    static Position beginOf(const ByteRun& run) { return {run.area, run.address}; }

    struct PanelEnd {
        Position end{std::numeric_limits<int>::min(), 0};
        std::size_t panel = 0;
    };

    // The farthest end of all, and the farthest of the panels but that one.
    struct Farthest {
        PanelEnd first;
        PanelEnd second;

        void add(const PanelEnd& other) {
            if (other.panel == first.panel) {
                first.end = std::max(first.end, other.end);
            } else if (other.end > first.end) {
                second = first;
                first = other;
            } else if (other.end > second.end) {
                second = other;
            }
        }
        const Position& endBesides(std::size_t panel) const { return first.panel == panel ? second.end : first.end; }
    };
    using Tree = std::vector<Farthest>;  // node 1 is the root, below node n are 2n and 2n + 1

    // What a node stands for: [first, last) of the tags.
    struct Node {
        std::size_t number;
        std::size_t first;
        std::size_t last;
    };

    template <typename Predicate>
    Tree treeOver(Predicate counts) const {
        Tree tree(2 * width_);
        for (std::size_t i = 0; i < byAddress_.size(); ++i) {
            const WrittenTag& tag = *byAddress_[i];
            if (counts(tag)) {
                tree[width_ + i].add({{tag.variable.area, endOf(tag.variable)}, tag.panel});
            }
        }
        for (std::size_t node = width_ - 1; node >= 1; --node) {
            for (const std::size_t below : {2 * node, 2 * node + 1}) {
                tree[node].add(tree[below].first);
                tree[node].add(tree[below].second);
            }
        }
        return tree;
    }

    // Tags of lower areas end before the tag begins, those of higher ones begin behind its end.
    const WrittenTag* firstBefore(std::size_t behind, const WrittenTag& tag, const Tree& tree, const Node& node) const {
        if (node.first >= behind || tree[node.number].endBesides(tag.panel) <= beginOf(tag.variable)) {
            return nullptr;
        }
        if (node.last - node.first == 1) {
            return byAddress_[node.first];
        }
        const std::size_t middle = node.first + (node.last - node.first) / 2;
        const WrittenTag* found = firstBefore(behind, tag, tree, {2 * node.number, node.first, middle});
        return found != nullptr ? found : firstBefore(behind, tag, tree, {2 * node.number + 1, middle, node.last});
    }

    std::vector<const WrittenTag*> byAddress_;
    std::size_t width_ = 1;  // leaves of a tree, a power of two
    Tree all_;
    Tree bits_;
};

Finding sharedWord(const WrittenTag& tag, const WrittenTag& other, const std::vector<std::string>& panels) {
    const std::string who =
        fmt::format("{} ({}, {})", other.named.tag, panels[other.panel], placeText(other.named.place));
    const std::string why =
        tag.isBit ? "a bit is written as the whole variable, so each of the two may take back what the other wrote"
                  : "there a bit is written as the whole variable, so that may take back what is written here";
    return {Severity::Warning,
            FindingKind::SharedWord,
            tag.named.place,
            tag.named.tag,
            std::nullopt,
            fmt::format("shares a variable with {}: {}; let one panel write it, or use a BIT for each", who, why)};
}

}  // namespace

const char* severityName(Severity severity) {
    return severity == Severity::Error ? "error" : "warning";
}

const char* kindName(FindingKind kind) {
    switch (kind) {
        case FindingKind::Unknown:
            return "unknown";
        case FindingKind::OutOfBounds:
            return "out_of_bounds";
        case FindingKind::NotTransferred:
            return "not_transferred";
        case FindingKind::Elsewhere:
            return "elsewhere";
        case FindingKind::GivenTwice:
            return "given_twice";
        case FindingKind::Value:
            return "value";
        case FindingKind::TextCut:
            return "text_cut";
        case FindingKind::ReadOnly:
            return "read_only";
        case FindingKind::SharedWord:
            return "shared_word";
    }
    return "?";
}

std::string placeText(const Place& place) {
    return place.list.empty() ? "command line" : fmt::format("{}:{}", place.list, place.row);
}

std::string codeText(int code) {
    return explain::briefOf(explain::Group::Resolution, code);
}

std::vector<Finding> givenTwice(const std::vector<NamedTag>& tags) {
    std::unordered_map<std::string, const NamedTag*> first;
    std::vector<Finding> findings;
    for (const NamedTag& tag : tags) {
        const auto [seen, isNew] = first.emplace(tag.tag, &tag);
        if (!isNew) {
            findings.push_back(
                {Severity::Warning, FindingKind::GivenTwice, tag.place, tag.tag, std::nullopt,
                 fmt::format("is given twice, first at {}; remove one", placeText(seen->second->place))});
        }
    }
    return findings;
}

std::vector<Finding> sharedWords(const std::vector<WrittenTag>& tags, const std::vector<std::string>& panels) {
    const WrittenMemory memory(tags);
    std::vector<Finding> findings;
    for (const WrittenTag& tag : tags) {
        // Of several the first is told: one is enough to act on.
        if (const WrittenTag* other = memory.firstConflict(tag)) {
            findings.push_back(sharedWord(tag, *other, panels));
        }
    }
    return findings;
}

Tally countFindings(const std::vector<Finding>& findings) {
    Tally tally;
    for (const Finding& finding : findings) {
        (finding.severity == Severity::Error ? tally.errors : tally.warnings) += 1;
    }
    return tally;
}

}  // namespace ac500::desk
