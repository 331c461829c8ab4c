#include "tools/desk/symbols_diff.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "tools/selection/choice.h"
#include "tools/selection/tag_range.h"
#include "tools/text/iec_literal.h"

namespace ac500::desk {

using selection::Catalog;
using selection::Choice;
using selection::ChosenTag;
using selection::Entry;
using symbol_file::Element;
using symbol_file::Leaf;
using symbol_file::TypeCode;

namespace {

constexpr int kBitsPerByte = 8;
constexpr int kBitsPerWord = 16;

// Bits of an area, [begin, end), counted byte by byte.
struct BitSpan {
    std::int64_t begin;
    std::int64_t end;
};

struct Placed {
    PlacedTag shown;
    std::vector<BitSpan> spans;
};

// What elements of a type, one behind the other, take. The lower half of the word of a BIT is its second byte.
std::vector<BitSpan> spansOf(TypeCode code, int elementBytes, std::int64_t address, std::int64_t elements) {
    if (code != TypeCode::Bit) {
        return {{address * kBitsPerByte, (address + elements * elementBytes) * kBitsPerByte}};
    }
    std::vector<BitSpan> spans;
    const std::int64_t end = address + elements;
    for (std::int64_t bit = address; bit < end;) {
        const std::int64_t byteEnd = std::min((bit / kBitsPerByte + 1) * kBitsPerByte, end);
        const std::int64_t byte = bit / kBitsPerWord * 2 + (bit % kBitsPerWord < kBitsPerByte ? 1 : 0);
        const std::int64_t begin = byte * kBitsPerByte + bit % kBitsPerByte;
        spans.push_back({begin, begin + byteEnd - bit});
        bit = byteEnd;
    }
    return spans;
}

// The bits that are in both; neither list has a bit twice.
std::vector<BitSpan> sharedSpans(std::vector<BitSpan> a, std::vector<BitSpan> b) {
    const auto liesBefore = [](const BitSpan& one, const BitSpan& other) { return one.begin < other.begin; };
    std::sort(a.begin(), a.end(), liesBefore);
    std::sort(b.begin(), b.end(), liesBefore);
    std::vector<BitSpan> shared;
    for (auto one = a.cbegin(), other = b.cbegin(); one != a.cend() && other != b.cend();) {
        const BitSpan both{std::max(one->begin, other->begin), std::min(one->end, other->end)};
        if (both.begin < both.end) {
            shared.push_back(both);
        }
        (one->end < other->end ? one : other)++;
    }
    return shared;
}

// The element of a variable that has a bit of the memory, counted from 0. REQUIRES: it has it
std::int64_t elementAt(const Leaf& leaf, std::int64_t bit) {
    if (leaf.code != TypeCode::Bit) {
        return (bit - leaf.address * kBitsPerByte) / (elementBytes(leaf.code, leaf.stringCharacters) * kBitsPerByte);
    }
    const std::int64_t byte = bit / kBitsPerByte;
    const std::int64_t half = byte % 2 == 1 ? 0 : kBitsPerByte;
    return byte / 2 * kBitsPerWord + half + bit % kBitsPerByte - leaf.address;
}

std::string boundsText(const std::vector<symbol_file::ArrayDimension>& dimensions) {
    std::string text;
    for (const symbol_file::ArrayDimension& dimension : dimensions) {
        text += (text.empty() ? "[" : ",") + std::to_string(dimension.lower) + ".." + std::to_string(dimension.upper);
    }
    return text.empty() ? text : text + "]";
}

Placed placed(const Leaf& leaf) {
    const int bytes = elementBytes(leaf.code, leaf.stringCharacters);
    return {{leaf.tag, typeName(leaf.code, leaf.stringCharacters) + boundsText(leaf.dimensions), leaf.area,
             leaf.address, leaf.code == TypeCode::Bit},
            spansOf(leaf.code, bytes, leaf.address, leaf.elementCount())};
}

// A bit is written as the variable that holds it.
Placed placed(const std::string& tag, const Element& first, int elements) {
    const bool isBit = first.bit >= 0;
    const int bytes = elementBytes(first.code, first.stringCharacters);
    std::string type = typeName(first.code, first.stringCharacters);
    type = isBit ? "bit of " + type : type;
    return {{tag, elements == 1 ? type : std::to_string(elements) + " x " + type, first.area, first.address,
             first.code == TypeCode::Bit},
            spansOf(first.code, bytes, first.address, isBit ? 1 : elements)};
}

std::optional<Placed> findPlaced(const Catalog& catalog, const std::string& tag) {
    if (const Leaf* leaf = catalog.leafNamed(tag)) {
        return placed(*leaf);
    }
    std::string reason;
    const std::optional<selection::TagRange> range = selection::rangeAtEnd(tag, &reason);
    const std::optional<Element> first = catalog.element(range ? range->first : tag, &reason);
    if (!first || (range && !catalog.element(range->last, &reason))) {
        return std::nullopt;
    }
    return placed(tag, *first, range ? range->upper - range->lower + 1 : 1);
}

bool isSamePlace(const PlacedTag& a, const PlacedTag& b) {
    return a.area == b.area && a.address == b.address && a.isBitAddress == b.isBitAddress;
}

// ---------------------------------------------------------------------------------------------------------------------
// Who lies where
// ---------------------------------------------------------------------------------------------------------------------

// The values of a file by the memory they take. A tree over the spans in the order of their beginnings, each node with the
// farthest end below it, so that a search passes over what ends too early.
class MemoryIndex {
public:
    explicit MemoryIndex(const Catalog& catalog) {
        const std::vector<Leaf>& leaves = catalog.leaves();
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            for (const BitSpan& span : placed(leaves[i]).spans) {
                entries_.push_back({leaves[i].area, span.begin, span.end, i});
            }
        }
        std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
            return std::tie(a.area, a.begin, a.leaf) < std::tie(b.area, b.begin, b.leaf);
        });
        while (width_ < entries_.size()) {
            width_ *= 2;
        }
        farthest_.assign(2 * width_, {std::numeric_limits<int>::min(), 0});
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            farthest_[width_ + i] = {entries_[i].area, entries_[i].end};
        }
        for (std::size_t node = width_ - 1; node >= 1; --node) {
            farthest_[node] = std::max(farthest_[2 * node], farthest_[2 * node + 1]);
        }
    }

    // Calls visit(leaf) for the values that share memory with the span, in its order, until one call answers false.
    template <typename Visitor>
    void forEachIn(int area, const BitSpan& span, Visitor visit) const {
        const auto end = std::lower_bound(entries_.begin(), entries_.end(), std::make_pair(area, span.end),
                                          [](const Entry& entry, const std::pair<int, std::int64_t>& key) {
                                              return std::make_pair(entry.area, entry.begin) < key;
                                          });
        search(1, 0, width_, static_cast<std::size_t>(end - entries_.begin()), {area, span.begin}, visit);
    }

private:
    struct Entry {
        int area;
        std::int64_t begin;
        std::int64_t end;
        std::size_t leaf;
    };
    using End = std::pair<int, std::int64_t>;  // area, bit

    // Below `node`, which stands for [first, last) of the entries, those before `end` that end behind `begin`.
    template <typename Visitor>
    bool search(std::size_t node, std::size_t first, std::size_t last, std::size_t end, const End& begin,
                Visitor& visit) const {
        if (first >= end || farthest_[node] <= begin) {
            return true;
        }
        if (last - first == 1) {
            const Entry& entry = entries_[first];
            return entry.area != begin.first || visit(entry.leaf);
        }
        const std::size_t middle = first + (last - first) / 2;
        return search(2 * node, first, middle, end, begin, visit) &&
               search(2 * node + 1, middle, last, end, begin, visit);
    }

    std::vector<Entry> entries_;
    std::size_t width_ = 1;      // leaves of the tree, a power of two
    std::vector<End> farthest_;  // by node; node 1 is the root, below node n are 2n and 2n + 1
};

// ---------------------------------------------------------------------------------------------------------------------
// The comparison
// ---------------------------------------------------------------------------------------------------------------------

class Comparison {
public:
    Comparison(const Catalog& before, const Catalog& after) : before_(before), after_(after), memory_(after) {
        findRenamed();
    }

    // Of a tag of the old file.
    SymbolChange changeOf(const Placed& old) const {
        SymbolChange change;
        change.before = old.shown;
        if (const std::optional<Placed> now = findPlaced(after_, old.shown.tag)) {
            change.after = now->shown;
            change.isMoved = !isSamePlace(old.shown, now->shown);
        } else if (const std::optional<Placed> renamed = findRenamedTag(old.shown.tag)) {
            change.after = renamed->shown;
            change.isRenamed = true;
        }
        change.isRetyped = change.after && change.after->type != old.shown.type;
        const Leaf* then = before_.leafHolding(old.shown.tag);
        const Leaf* now = then == nullptr ? nullptr : successorOf(*then);
        const bool isWhole = then != nullptr && then->tag == old.shown.tag;
        if (now != nullptr && isWhole) {
            change.shifted = elementsStay(*then, *now) ? std::nullopt : firstShifted(*then, *now);
            change.meaning = meaningChanges(*then, *now);
            compareGuards(*then, *now, &change.meaning);
        } else if (now != nullptr && isBit(old.shown.tag)) {
            change.meaning = bitMeaningChanges(*then, *now);
        } else if (now != nullptr && change.after) {
            change.meaning = meaningChanges(*then, *now);
        }
        const bool isItsOwnPlace = now != nullptr && elementsStay(*then, *now);
        const bool isUnmovedPart = !isWhole && change.after && !change.isMoved;
        findHits(old, isItsOwnPlace || isUnmovedPart ? now : nullptr, &change);
        return change;
    }

    static SymbolChange newTag(const Placed& now) {
        SymbolChange change;
        change.after = now.shown;
        return change;
    }

    bool isNewName(const std::string& leaf) const { return newNames_.count(leaf) > 0; }

private:
    using PlaceKey = std::tuple<int, bool, std::int64_t, std::string>;

    static PlaceKey keyOf(const PlacedTag& shown) {
        return {shown.area, shown.isBitAddress, shown.address, shown.type};
    }

    // The number that a program of the file holds in the variable to be known by; empty when it is no guard.
    static std::string guardNumber(const Catalog& file, const Leaf& leaf) {
        for (const symbol_file::GuardTag& guard : file.file().guards) {
            if (guard.tag == leaf.tag) {
                return text::toText(guard.value);
            }
        }
        return {};
    }

    void compareGuards(const Leaf& then, const Leaf& now, std::vector<MeaningChange>* changes) const {
        const std::string before = guardNumber(before_, then);
        const std::string after = guardNumber(after_, now);
        if (before != after) {
            changes->push_back({"guard", before, after});
        }
    }

    // Of several new names at one place each is given once, in the order of the files.
    void findRenamed() {
        std::multimap<PlaceKey, const Leaf*> appeared;
        for (const Leaf& leaf : after_.leaves()) {
            if (before_.leafNamed(leaf.tag) == nullptr) {
                appeared.emplace(keyOf(placed(leaf).shown), &leaf);
            }
        }
        for (const Leaf& leaf : before_.leaves()) {
            const bool isGone = after_.leafNamed(leaf.tag) == nullptr;
            const auto found = isGone ? appeared.lower_bound(keyOf(placed(leaf).shown)) : appeared.end();
            if (found != appeared.end() && found->first == keyOf(placed(leaf).shown)) {
                newNameOf_.emplace(leaf.tag, found->second->tag);
                newNames_.insert(found->second->tag);
                appeared.erase(found);
            }
        }
    }

    // The variable of the new file that a variable of the old one has become.
    const Leaf* successorOf(const Leaf& leaf) const {
        const auto renamed = newNameOf_.find(leaf.tag);
        return after_.leafNamed(renamed == newNameOf_.end() ? leaf.tag : renamed->second);
    }

    // Of a variable of the old file, that is, and not an element or a variable of type BIT.
    bool isBit(const std::string& tag) const {
        std::string reason;
        const std::optional<selection::TagRange> range = selection::rangeAtEnd(tag, &reason);
        const std::optional<Element> element = before_.element(range ? range->first : tag, &reason);
        return element && element->bit >= 0;
    }

    // "Main.new[3]" for "Main.old[3]".
    std::optional<Placed> findRenamedTag(const std::string& tag) const {
        const Leaf* leaf = before_.leafHolding(tag);
        const auto found = leaf == nullptr ? newNameOf_.end() : newNameOf_.find(leaf->tag);
        if (found == newNameOf_.end()) {
            return std::nullopt;
        }
        return findPlaced(after_, found->second + tag.substr(leaf->tag.size()));
    }

    // `itself`: what the tag has become, when that is no hit; or null.
    void findHits(const Placed& old, const Leaf* itself, SymbolChange* change) const {
        std::unordered_set<std::size_t> seen;
        for (const BitSpan& span : old.spans) {
            memory_.forEachIn(old.shown.area, span, [&](std::size_t index) {
                const Leaf& leaf = after_.leaves()[index];
                if (&leaf == itself || wasThere(leaf, old) || !seen.insert(index).second) {
                    return true;
                }
                change->hasMoreHits = change->hits.size() == SymbolChange::kMostHits;
                if (!change->hasMoreHits) {
                    change->hits.push_back(hitName(leaf, old));
                }
                return !change->hasMoreHits;
            });
        }
    }

    // The elements of a variable of the new file that lie where the tag was: "Main.row[3]". Of a variable that is hit from end
    // to end only its own name, unless it is the tag's.
    static std::string hitName(const Leaf& leaf, const Placed& old) {
        std::int64_t first = leaf.elementCount();
        std::int64_t last = -1;
        for (const BitSpan& shared : sharedSpans(placed(leaf).spans, old.spans)) {
            first = std::min(first, elementAt(leaf, shared.begin));
            last = std::max(last, elementAt(leaf, shared.end - 1));
        }
        const bool isAll = first == 0 && last == leaf.elementCount() - 1 && leaf.tag != old.shown.tag;
        return isAll && leaf.elementCount() > 1 ? leaf.tag : elementsName(leaf, first, last);
    }

    // Did the variable share memory with the tag in the old file, too?
    bool wasThere(const Leaf& leaf, const Placed& tag) const {
        const Leaf* then = before_.leafNamed(leaf.tag);
        const Leaf* holding = before_.leafHolding(tag.shown.tag);
        if (then == nullptr || then == holding || then->area != tag.shown.area) {
            return false;
        }
        for (const BitSpan& mine : placed(*then).spans) {
            for (const BitSpan& its : tag.spans) {
                if (mine.begin < its.end && its.begin < mine.end) {
                    return true;
                }
            }
        }
        return false;
    }

    const Catalog& before_;
    const Catalog& after_;
    const MemoryIndex memory_;  // of the new file
    std::unordered_map<std::string, std::string> newNameOf_;
    std::unordered_set<std::string> newNames_;
};

void keep(SymbolChange change, SymbolsDiff* diff) {
    ++diff->compared;
    if (change.isAny()) {
        diff->changes.push_back(std::move(change));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Lists
// ---------------------------------------------------------------------------------------------------------------------

// Tells quickly which entries a file has something for.
class Expander {
public:
    explicit Expander(const Catalog& catalog) : catalog_(catalog) {
        for (const Leaf& leaf : catalog.leaves()) {
            for (std::size_t end = leaf.tag.find_first_of(".["); end != std::string::npos;
                 end = leaf.tag.find_first_of(".[", end + 1)) {
                holders_.insert(std::string_view(leaf.tag).substr(0, end));
            }
        }
    }

    bool knows(const Entry& entry) const {
        std::string reason;
        const bool isPattern = entry.text.find_first_of("*?") != std::string::npos;
        return holders_.count(entry.text) > 0 || catalog_.isTag(entry.text, &reason) ||
               (isPattern && chosen({entry}).problems.empty());
    }

    Choice chosen(const std::vector<Entry>& entries) const {
        return selection::choose(catalog_, entries,
                                 {std::numeric_limits<std::size_t>::max(), selection::Expansion::WholeArrays});
    }

private:
    const Catalog& catalog_;
    std::unordered_set<std::string_view> holders_;  // scopes, structures and arrays of them
};

}  // namespace

SymbolsDiff diffSymbols(const Catalog& before, const Catalog& after) {
    const Comparison comparison(before, after);
    SymbolsDiff diff;
    for (const Leaf& leaf : before.leaves()) {
        keep(comparison.changeOf(placed(leaf)), &diff);
    }
    for (const Leaf& leaf : after.leaves()) {
        if (before.leafNamed(leaf.tag) == nullptr && !comparison.isNewName(leaf.tag)) {
            keep(Comparison::newTag(placed(leaf)), &diff);
        }
    }
    return diff;
}

SymbolsDiff diffSymbols(const Catalog& before, const Catalog& after, const std::vector<Entry>& entries) {
    const Comparison comparison(before, after);
    const Expander oldTags(before);
    const Expander newTags(after);
    std::vector<Entry> known;
    std::vector<Entry> knownNow;
    std::vector<Entry> unknown;
    for (const Entry& entry : entries) {
        const bool isKnown = oldTags.knows(entry);
        const bool isKnownNow = newTags.knows(entry);
        if (isKnown) {
            known.push_back(entry);
        }
        if (isKnownNow) {
            knownNow.push_back(entry);
        }
        if (!isKnown && !isKnownNow) {
            unknown.push_back(entry);
        }
    }
    SymbolsDiff diff;
    std::unordered_set<std::string> seen;
    for (const ChosenTag& chosen : oldTags.chosen(known).tags) {
        const std::optional<Placed> placed = findPlaced(before, chosen.tag);
        if (placed && seen.insert(chosen.tag).second) {
            keep(comparison.changeOf(*placed), &diff);
        }
    }
    for (const ChosenTag& chosen : newTags.chosen(knownNow).tags) {
        const bool isNew = !findPlaced(before, chosen.tag) && !comparison.isNewName(chosen.tag);
        const std::optional<Placed> placed = isNew ? findPlaced(after, chosen.tag) : std::nullopt;
        if (placed && seen.insert(chosen.tag).second) {
            keep(Comparison::newTag(*placed), &diff);
        }
    }
    if (!unknown.empty()) {
        diff.problems = selection::choose(before, unknown, {}).problems;
    }
    return diff;
}

std::vector<std::string> guardsThatStayed(const SymbolsDiff& diff, const Catalog& before, const Catalog& after) {
    const bool isOtherPlace = std::any_of(diff.changes.begin(), diff.changes.end(), [](const SymbolChange& change) {
        return change.isMoved || change.shifted || change.isRetyped || change.isVanished() || !change.hits.empty();
    });
    std::vector<std::string> tags;
    for (const symbol_file::GuardTag& guard : before.file().guards) {
        const std::vector<symbol_file::GuardTag>& others = after.file().guards;
        const bool hasStayed = std::any_of(others.begin(), others.end(), [&](const symbol_file::GuardTag& other) {
            return other.tag == guard.tag && text::toText(other.value) == text::toText(guard.value);
        });
        if (!hasStayed) {
            return {};
        }
        tags.push_back(guard.tag);
    }
    return isOtherPlace ? tags : std::vector<std::string>();
}

}  // namespace ac500::desk
