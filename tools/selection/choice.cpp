#include "tools/selection/choice.h"

#include <unordered_set>
#include <utility>

#include "tools/selection/pattern.h"
#include "tools/selection/tag_range.h"

namespace ac500::selection {

using symbol_file::ArrayDimension;
using symbol_file::Leaf;

namespace {

// Names compared with wrong ones, altogether: about a quarter of a second's work.
constexpr std::size_t kMostComparisons = 1000000;

// [first, last) in the list of leaves.
struct LeafRange {
    std::size_t first;
    std::size_t last;
};

// The leaves of each scope, structure and array of structures, by its name. They stand next to each other.
class Holders {
public:
    explicit Holders(const std::vector<Leaf>& leaves) {
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            const std::string_view tag = leaves[i].tag;
            for (std::size_t end = tag.find_first_of(".["); end != std::string_view::npos;
                 end = tag.find_first_of(".[", end + 1)) {
                ranges_.emplace(tag.substr(0, end), LeafRange{i, i}).first->second.last = i + 1;
            }
        }
    }

    const LeafRange* find(std::string_view name) const {
        const auto found = ranges_.find(name);
        return found == ranges_.end() ? nullptr : &found->second;
    }

private:
    std::unordered_map<std::string_view, LeafRange> ranges_;
};

// Calls visit("[1,2") for every choice of the first `depth` indices, without a closing bracket; once with "[" for none.
template <typename Visitor>
void forEachIndex(const std::vector<ArrayDimension>& dimensions, std::size_t depth, const std::string& begin,
                  const Visitor& visit) {
    if (depth == 0) {
        visit(begin);
        return;
    }
    const ArrayDimension& dimension = dimensions[dimensions.size() - depth];
    for (int i = dimension.lower; i <= dimension.upper; ++i) {
        const std::string separator = begin.size() > 1 ? "," : "";
        forEachIndex(dimensions, depth - 1, begin + separator + std::to_string(i), visit);
    }
}

class Chooser {
public:
    Chooser(const Catalog& catalog, const ChoiceLimits& limits) : catalog_(catalog), limits_(limits) {}

    Choice choose(const std::vector<Entry>& entries) {
        for (const Entry& entry : entries) {
            take(entry);
        }
        if (count_ > limits_.mostTags) {
            complain(ProblemKind::TooMany, "the selection names " + std::to_string(count_) + " tags, more than the " +
                                               std::to_string(limits_.mostTags) +
                                               " allowed; narrow it, or raise the limit with --max");
        }
        return std::move(choice_);
    }

private:
    void complain(ProblemKind kind, const std::string& text) {
        if (told_.insert(text).second) {
            choice_.problems.push_back({kind, text});
        }
    }

    void take(const Entry& entry) {
        if (Pattern::isPattern(entry.text)) {
            takePattern(entry);
        } else if (const Leaf* leaf = catalog_.leafNamed(entry.text)) {
            takeNamedLeaf(entry, *leaf);
        } else if (const LeafRange* range = holders().find(entry.text)) {
            takeHolder(entry, *range);
        } else {
            takeTag(entry);
        }
    }

    void takeTag(const Entry& entry) {
        std::string reason;
        if (catalog_.isTag(entry.text, &reason)) {
            add(entry, entry.text);
            return;
        }
        comparisons_ += catalog_.leaves().size();
        const bool isAffordable = comparisons_ <= kMostComparisons || !wasExplained_;
        wasExplained_ = true;
        complain(ProblemKind::Name, entry.origin.text() + (isAffordable ? catalog_.explain(entry.text) : reason) +
                                        (entry.origin.list.empty() ? fileRemedy(entry.text) : std::string()));
    }

    void takeNamedLeaf(const Entry& entry, const Leaf& leaf) {
        if (!isInRows(leaf)) {
            add(entry, leaf.tag);
        } else if (!isRefused(entry, "is an array of " + std::to_string(leaf.dimensions.size()) + " dimensions")) {
            addRows(entry, leaf);
        }
    }

    void takeHolder(const Entry& entry, const LeafRange& range) {
        if (isRefused(entry, "is a structure")) {
            return;
        }
        for (std::size_t i = range.first; i < range.last; ++i) {
            addLeaf(entry, catalog_.leaves()[i]);
        }
    }

    void takePattern(const Entry& entry) {
        const std::string shown = entry.origin.text() + "\"" + entry.text + "\"";
        if (entry.text.size() > Pattern::kLongest) {
            complain(ProblemKind::Name, entry.origin.text() + "a pattern has at most " +
                                            std::to_string(Pattern::kLongest) + " characters; this one has " +
                                            std::to_string(entry.text.size()));
            return;
        }
        if (isRefused(entry, "is a pattern")) {
            return;
        }
        const Pattern pattern(entry.text);
        const bool namesElements = entry.text.find('[') != std::string::npos;
        bool isAny = false;
        for (const Leaf& leaf : catalog_.leaves()) {
            if (pattern.matchesWhole(leaf.tag)) {
                addLeaf(entry, leaf);
                isAny = true;
            } else if (namesElements && !leaf.dimensions.empty() && pattern.matchesBeginning(leaf.tag + "[")) {
                isAny = addMatchingElements(entry, pattern, leaf) || isAny;
            }
        }
        if (!isAny) {
            complain(ProblemKind::Name, shown +
                                            ": matches no tag; * stands for characters of one component, ** for any; " +
                                            "list the tags to see what there is");
        }
    }

    bool isRefused(const Entry& entry, const std::string& what) {
        if (limits_.expansion != Expansion::None) {
            return false;
        }
        complain(ProblemKind::Name,
                 entry.origin.text() + "\"" + entry.text + "\" " + what + "; name each tag that is to be written");
        return true;
    }

    bool isInRows(const Leaf& leaf) const {
        return leaf.dimensions.size() > 1 && limits_.expansion != Expansion::WholeArrays;
    }

    bool addMatchingElements(const Entry& entry, const Pattern& pattern, const Leaf& leaf) {
        bool isAny = false;
        forEachIndex(leaf.dimensions, leaf.dimensions.size(), "[", [&](const std::string& indices) {
            const std::string tag = leaf.tag + indices + "]";
            if (pattern.matches(tag)) {
                addOnce(entry, tag);
                isAny = true;
            }
        });
        return isAny;
    }

    void addLeaf(const Entry& entry, const Leaf& leaf) {
        if (isInRows(leaf)) {
            addRows(entry, leaf);
        } else {
            addOnce(entry, leaf.tag);
        }
    }

    void addRows(const Entry& entry, const Leaf& leaf) {
        const ArrayDimension& row = leaf.dimensions.back();
        const std::string range = "," + std::to_string(row.lower) + ".." + std::to_string(row.upper) + "]";
        const std::vector<ArrayDimension> outer(leaf.dimensions.begin(), leaf.dimensions.end() - 1);
        forEachIndex(outer, outer.size(), "[",
                     [&](const std::string& indices) { addOnce(entry, leaf.tag + indices + range); });
    }

    void addOnce(const Entry& entry, const std::string& tag) {
        if (named_.count(tag) == 0) {
            add(entry, tag);
        }
    }

    // Beyond the limit tags are counted and not kept.
    void add(const Entry& entry, const std::string& tag) {
        ++count_;
        named_.insert(tag);
        if (count_ <= limits_.mostTags) {
            choice_.tags.push_back({tag, entry.origin, entry.intervalMs, entry.value});
        }
    }

    // Made when it is first needed: no single tag needs it.
    const Holders& holders() {
        if (!holders_) {
            holders_.emplace(catalog_.leaves());
        }
        return *holders_;
    }

    const Catalog& catalog_;
    const ChoiceLimits limits_;
    std::optional<Holders> holders_;
    std::unordered_set<std::string> named_;
    std::unordered_set<std::string> told_;
    std::size_t count_ = 0;
    std::size_t comparisons_ = 0;
    bool wasExplained_ = false;
    Choice choice_;
};

}  // namespace

Choice choose(const Catalog& catalog, const std::vector<Entry>& entries, const ChoiceLimits& limits) {
    return Chooser(catalog, limits).choose(entries);
}

}  // namespace ac500::selection
