#include "tests/soak/value_check.h"

#include <algorithm>

#include <fmt/format.h>

#include "tests/support/bytes.h"

namespace ac500::soak {

namespace {

using host::Milliseconds;
using host::Time;

constexpr std::size_t kKeptPatterns = 6;
constexpr std::uint64_t kMostGenerations = 1000;  // a value that was kept while the link was down
constexpr std::uint64_t kSearched = 3000;         // generations back, when a wrong value is looked up

// The first bytes of a long value.
std::string shown(const Bytes& bytes) {
    return test::hex(bytes.substr(0, 16)) + (bytes.size() > 16 ? " ..." : "");
}

TagShape::BitPattern bitPatternOf(const WatchedTag& tag) {
    return tag.plant.isWritten ? TagShape::BitPattern::OfItsOwn : TagShape::BitPattern::OfVariable;
}

}  // namespace

ValueCheck::ValueCheck(const Parts& parts) : parts_(parts), memory_(parts.tags.size()) {}

void ValueCheck::checkHost(std::optional<Time> since) {
    for (std::size_t tag = 0; tag < parts_.tags.size(); ++tag) {
        checkTag(tag, since);
    }
}

void ValueCheck::checkTag(std::size_t tag, std::optional<Time> since) {
    const WatchedTag& watched = parts_.tags[tag];
    const Time before = parts_.clock.now();
    const host::TagValue value = parts_.session.value(watched.shape.tag());
    const Time after = parts_.clock.now();
    if (since && (!value.age || value.state == host::ValueState::Stale || after - *value.age < *since)) {
        parts_.findings.add(fmt::format("{} is {} two cycles after the last fault", watched.plant.text,
                                        value.age ? fmt::format("{} ms old", value.age->count()) : "unknown"));
    }
    if (!value.age || !value.isKnown) {
        ++skipped_;
        return;
    }
    refreshSeams();
    // The age is cut to whole milliseconds, and was taken between the two looks at the clock.
    const Sending sending = parts_.log.lastBefore(before - *value.age - Milliseconds(1));
    const std::vector<std::uint64_t> generations = watched.plant.isWritten
                                                       ? parts_.ledger.possible(tag, sending.at)
                                                       : generationsBetween(watched.plant.periodMs, sending.at, after);
    const auto mismatch =
        findMismatch(watched.shape, watched.shape.bytesOf(value.values), memory_[tag].pieces, generations,
                     [this, tag](std::uint64_t generation) -> const Bytes& { return pattern(tag, generation); });
    checked_ += static_cast<std::int64_t>(watched.shape.cells().size());
    if (mismatch) {
        complain(fmt::format("the host shows ({} ms old)", value.age->count()), tag, *mismatch, generations,
                 sending.frame);
    }
}

void ValueCheck::checkPlc(const AreaBytes& areas, Time since) {
    for (std::size_t tag = 0; tag < parts_.tags.size(); ++tag) {
        const WatchedTag& watched = parts_.tags[tag];
        if (!watched.plant.isWritten) {
            continue;
        }
        const Bytes seen = watched.shape.bytesIn(areas.at(watched.shape.tag().area));
        const std::vector<std::uint64_t> generations = parts_.ledger.possible(tag, since);
        const auto patternOf = [this, tag](std::uint64_t generation) -> const Bytes& {
            return pattern(tag, generation);
        };
        const auto mismatch =
            findMismatch(watched.shape, seen, piecesOf(watched.shape, Seams(), true), generations, patternOf);
        checked_ += static_cast<std::int64_t>(watched.shape.cells().size());
        if (mismatch) {
            complain("the PLC holds", tag, *mismatch, generations, parts_.log.frames());
            continue;
        }
        const auto whole = std::find_if(generations.begin(), generations.end(),
                                        [&](std::uint64_t generation) { return pattern(tag, generation) == seen; });
        parts_.ledger.seenInPlc(tag, whole == generations.end() ? WriteLedger::kMixed : *whole, since);
    }
}

std::vector<std::uint64_t> ValueCheck::generationsBetween(int periodMs, Time first, Time last) const {
    const auto generationAt = [&](Time time) {
        const Time since = std::max(time - parts_.epoch, Time(0));
        return static_cast<std::uint64_t>(std::chrono::floor<Milliseconds>(since).count() / periodMs);
    };
    const std::uint64_t newest = generationAt(last);
    const std::uint64_t oldest = std::max(generationAt(first), newest - std::min(newest, kMostGenerations));
    std::vector<std::uint64_t> generations;
    for (std::uint64_t generation = oldest; generation <= newest; ++generation) {
        generations.push_back(generation);
    }
    return generations;
}

const Bytes& ValueCheck::pattern(std::size_t tag, std::uint64_t generation) {
    std::map<std::uint64_t, Bytes>& patterns = memory_[tag].patterns;
    const auto found = patterns.find(generation);
    if (found != patterns.end()) {
        return found->second;
    }
    if (patterns.size() >= kKeptPatterns) {
        patterns.erase(patterns.begin());
    }
    const WatchedTag& watched = parts_.tags[tag];
    const bool isUntouched = watched.plant.isWritten && generation == 0;
    return patterns[generation] = isUntouched ? Bytes(watched.shape.bytes(), '\0')
                                              : watched.shape.pattern(generation, bitPatternOf(watched));
}

void ValueCheck::refreshSeams() {
    if (parts_.log.seamCount() == seams_.count() && !memory_.front().pieces.empty()) {
        return;
    }
    seams_ = parts_.log.seams();
    for (std::size_t tag = 0; tag < memory_.size(); ++tag) {
        memory_[tag].pieces = piecesOf(parts_.tags[tag].shape, seams_, parts_.tags[tag].plant.isWritten);
    }
}

void ValueCheck::complain(const std::string& where, std::size_t tag, const Mismatch& mismatch,
                          const std::vector<std::uint64_t>& generations, std::int64_t frame) {
    const WatchedTag& watched = parts_.tags[tag];
    const Element& element = mismatch.cell->element;
    if (parts_.findings.areEnough()) {
        return;  // looking for the origin takes a while
    }
    parts_.findings.add(fmt::format(
        "{} {} {} in {} (area {}, address {}), expected {} or another of generation {} to {}; asked for by frame {} or "
        "later; bytes {} to {} of the tag come in one piece; what is there {}",
        watched.plant.text, where, shown(mismatch.seen), mismatch.cell->name, element.area, element.address,
        shown(mismatch.expected), generations.front(), generations.back(), frame, mismatch.piece.begin,
        mismatch.piece.end - 1, origin(mismatch, generations.back())));
}

// Whose value is it? Searched among all tags, for values long enough to tell.
std::string ValueCheck::origin(const Mismatch& mismatch, std::uint64_t newest) const {
    if (mismatch.seen.size() < 2) {
        return "is too short to tell its origin";
    }
    const auto matches = [&](const WatchedTag& tag, const Cell& cell, std::uint64_t generation) {
        return cell.size == mismatch.seen.size() &&
               tag.shape.pattern(generation, bitPatternOf(tag)).compare(cell.at, cell.size, mismatch.seen) == 0;
    };
    for (const bool sameCell : {true, false}) {
        for (const WatchedTag& tag : parts_.tags) {
            for (const Cell& cell : tag.shape.cells()) {
                const bool isSame = cell.name == mismatch.cell->name;
                if (isSame != sameCell || (!isSame && tag.shape.cells().size() > 40)) {
                    continue;
                }
                const std::uint64_t back = sameCell ? kSearched : 20;
                for (std::uint64_t g = newest + 2; g + back > newest && g > 0; --g) {
                    if (matches(tag, cell, g)) {
                        return fmt::format("is {} of generation {}", isSame ? "its own value" : cell.name, g);
                    }
                }
            }
        }
    }
    return "is nobody's value of late: torn or changed on the way";
}

}  // namespace ac500::soak
