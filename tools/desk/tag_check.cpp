#include "tools/desk/tag_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "core/codes.h"

namespace ac500::desk {

namespace {

// Tags that share bytes stand next to each other.
bool liesBefore(const WrittenTag& a, const WrittenTag& b) {
    return a.variable.area != b.variable.area ? a.variable.area < b.variable.area
                                              : a.variable.address < b.variable.address;
}

bool sharesBytes(const ByteRun& a, const ByteRun& b) {
    return a.area == b.area && a.address < endOf(b) && b.address < endOf(a);
}

bool isConflict(const WrittenTag& a, const WrittenTag& b) {
    return a.panel != b.panel && (a.isBit || b.isBit) && sharesBytes(a.variable, b.variable);
}

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
    switch (code) {
        case kResolved:
            return "resolved";
        case kNotFound:
            return "the variable does not exist, the name is incomplete, or the number of indices is wrong";
        case kUnknownScope:
            return "there is no such scope";
        case kBadIndex:
            return "an index is missing, is no number, or lies below the lower bound";
        case kEmptyTag:
            return "the tag is empty";
        case kUnknownMember:
            return "the structure has no such member";
        case kNoElementType:
            return "the symbol record has no element type";
        case kTooFewComponents:
            return "a tag needs a scope and a variable";
        case kNoArea:
            return "the symbol record names no memory area";
        default:
            return "a code that has no meaning";
    }
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
    std::vector<const WrittenTag*> byAddress;
    for (const WrittenTag& tag : tags) {
        byAddress.push_back(&tag);
    }
    std::stable_sort(byAddress.begin(), byAddress.end(),
                     [](const WrittenTag* a, const WrittenTag* b) { return liesBefore(*a, *b); });
    // Of several the first is told: one is enough to act on. It begins at most as far before as the widest is wide.
    std::int64_t widest = 0;
    for (const WrittenTag& tag : tags) {
        widest = std::max(widest, tag.variable.size);
    }
    std::vector<Finding> findings;
    for (const WrittenTag& tag : tags) {
        WrittenTag from = tag;
        from.variable.address -= widest;
        for (auto other = std::lower_bound(byAddress.begin(), byAddress.end(), &from,
                                           [](const WrittenTag*a, const WrittenTag*b) { return liesBefore(*a, *b); });
             other != byAddress.end() && (*other)->variable.area == tag.variable.area &&
             (*other)->variable.address < endOf(tag.variable);
             ++other) {
            if (isConflict(tag, **other)) {
                findings.push_back(sharedWord(tag, **other, panels));
                break;
            }
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
