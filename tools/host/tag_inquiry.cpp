#include "tools/host/tag_inquiry.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/codes.h"
#include "tools/host/output.h"
#include "tools/host/plant_values.h"
#include "tools/selection/pattern.h"
#include "tools/selection/tag_range.h"

namespace ac500::host {

using desk::Finding;
using desk::FindingKind;
using desk::Place;
using desk::Severity;
using selection::ChosenTag;
using selection::Entry;

namespace {

// Names that are near a wrong one are looked for so often: it takes its time in a large file.
constexpr int kMostExplained = 20;

constexpr int kBytesPerWord = 2;

Place placeOf(const selection::Origin& origin) {
    return {origin.list, origin.row};
}

// Other texts begin with where a tag stands, or with its name, which a finding tells by itself.
std::string withoutBegin(const std::string& text, const std::string& begin) {
    return text.compare(0, begin.size(), begin) == 0 ? text.substr(begin.size()) : text;
}

std::string withoutName(const std::string& text, const std::string& name) {
    return withoutBegin(withoutBegin(text, "\"" + name + "\": "), name + ": ");
}

// In bits, from the start of the area.
struct BitRange {
    std::int64_t begin;
    std::int64_t end;
};

BitRange bitsOf(const Leaf& leaf) {
    const bool isBit = leaf.code == TypeCode::Bit;
    const std::int64_t begin = isBit ? leaf.address : 8 * leaf.address;
    return {begin, begin + std::int64_t{leaf.elementCount()} *
                               (isBit ? 1 : 8 * elementBytes(leaf.code, leaf.stringCharacters))};
}

bool standsBefore(const Leaf* a, const Leaf* b) {
    return a->area != b->area ? a->area < b->area : bitsOf(*a).begin < bitsOf(*b).begin;
}

std::int64_t addressOf(const Tag& tag, int element) {
    return isString(tag.form) ? tag.address + std::int64_t{element} * (tag.form.stringCharacters + 1) : tag.address;
}

// By name the driver moves no more words of a string in an array than a row has elements.
std::optional<Finding> cutText(const Tag& tag, const std::optional<HostValues>& values, Finding finding) {
    const int moved = kBytesPerWord * tag.rowExtent;
    const auto isLonger = [moved](const HostValue& value) {
        return displayWidth(std::get<std::string>(value)) > moved;
    };
    const bool isCut =
        values ? std::any_of(values->begin(), values->end(), isLonger) : moved < tag.form.stringCharacters;
    if (!isCut) {
        return std::nullopt;
    }
    finding.severity = Severity::Warning;
    finding.kind = FindingKind::TextCut;
    finding.text = fmt::format(
        "by name the driver moves {} characters of a string in an array of {}; longer text is cut, unless the panel "
        "moves "
        "the string by its address",
        moved, tag.rowExtent);
    return finding;
}

}  // namespace

int TagInquiry::ask(const Entry& entry, TagUse use, std::vector<GoodTag>* good, std::vector<Finding>* findings) {
    const Leaf* leaf = tags_.catalog().leafNamed(entry.text);
    const bool isInRows = leaf != nullptr && leaf->dimensions.size() > 1;
    if (!selection::Pattern::isPattern(entry.text) && !isInRows) {
        askTag(entry.text, {entry, use, true}, good, findings);
        return 1;
    }
    const selection::Choice choice = selection::choose(
        tags_.catalog(), {entry}, {static_cast<std::size_t>(mostTags_), selection::Expansion::Allowed});
    const bool isTooMany = std::any_of(
        choice.problems.begin(), choice.problems.end(),
        [](const selection::SelectionProblem& problem) { return problem.kind == selection::ProblemKind::TooMany; });
    if (isTooMany) {
        return mostTags_ + 1;
    }
    for (const selection::SelectionProblem& problem : choice.problems) {
        findings->push_back({Severity::Error, FindingKind::Unknown, placeOf(entry.origin), entry.text, std::nullopt,
                             withoutBegin(problem.text, entry.origin.text())});
    }
    for (const ChosenTag& chosen : choice.tags) {
        askTag(chosen.tag, {entry, use, false}, good, findings);
    }
    return static_cast<int>(choice.tags.size());
}

void TagInquiry::askTag(const std::string& text, const Question& question, std::vector<GoodTag>* good,
                        std::vector<Finding>* findings) {
    const auto& [entry, use, isNamed] = question;
    const Finding frame{Severity::Error, FindingKind::Unknown, placeOf(entry.origin), text, std::nullopt, ""};
    std::string reason;
    if (!tags_.catalog().isTag(text, &reason)) {
        findings->push_back(wrongName(text, reason, frame));
        return;
    }
    std::optional<Tag> tag = tags_.find(text, &reason);
    if (!tag) {
        Finding finding = frame;
        finding.text = reason;
        findings->push_back(finding);
        return;
    }
    if (const std::optional<Finding> problem = problemOf(*tag, frame)) {
        findings->push_back(*problem);
        return;
    }
    if (use == TagUse::Write && tag->isReadOnly) {
        Finding finding = frame;
        finding.kind = FindingKind::ReadOnly;
        finding.text = "the symbol file has it as read-only; leave it out, or correct the symbol file";
        findings->push_back(finding);
        return;
    }
    std::optional<HostValues> values;
    if (entry.value) {
        values = checkValue(*tag, *entry.value, frame, findings);
    }
    if (const std::optional<Finding> cut =
            tag->isStringInArray() && (values || !entry.value) ? cutText(*tag, values, frame) : std::nullopt) {
        findings->push_back(*cut);
    }
    good->push_back({std::move(*tag), frame.place, isNamed});
}

// Nothing for a value that the tag cannot have.
std::optional<HostValues> TagInquiry::checkValue(const Tag& tag, const std::string& text, Finding finding,
                                                 std::vector<Finding>* findings) {
    finding.kind = isString(tag.form) ? FindingKind::TextCut : FindingKind::Value;
    Tag written = tag;  // a list of what is read may tell the value that is expected of a read-only one
    written.isReadOnly = false;
    const std::optional<HostValues> values = parsePlantValues(written, text, &finding.text);
    if (!values) {
        findings->push_back(finding);
    } else if (!areFinite(*values)) {
        finding.severity = Severity::Warning;
        finding.text = fmt::format("{} is no finite number, which few PLC programs expect", text);
        findings->push_back(finding);
    }
    return values;
}

// Does the driver have it where the symbol file has it, from the first to the last element, and does it read it?
std::optional<Finding> TagInquiry::problemOf(const Tag& tag, const Finding& frame) {
    Finding finding = frame;
    for (int element = 0; element < tag.elements; element += std::max(1, tag.elements - 1)) {
        const std::string name = tag.elementName(element);
        const OfflineDriver::Answer answer = driver_.resolve(name);
        finding.driverCode = answer.code;
        if (answer.code != kResolved) {
            finding.text = fmt::format("the symbol file has it, but the driver does not resolve {}: {}", name,
                                       desk::codeText(answer.code));
            return finding;
        }
        const std::int64_t address = addressOf(tag, element);
        const bool hasPlace = element == 0 || isString(tag.form);
        if (hasPlace && (answer.info.area != tag.area || answer.info.address != address)) {
            finding.kind = FindingKind::Elsewhere;
            finding.text = fmt::format("the symbol file has {} in area {} at {}, the driver in area {} at {}{}", name,
                                       tag.area, address, answer.info.area, answer.info.address,
                                       tag.isStringInArray()
                                           ? ": it counts strings in arrays by 81 bytes; the panel has to move them by "
                                             "their addresses"
                                           : "");
            return finding;
        }
    }
    if (!driver_.transfers(tag)) {
        finding.kind = FindingKind::NotTransferred;
        finding.text = "the driver resolves it, but does not transfer its type";
        return finding;
    }
    return std::nullopt;
}

// Of a range the end that is wrong is what the driver is asked for.
Finding TagInquiry::wrongName(const std::string& text, const std::string& reason, Finding finding) {
    std::string name = text;
    std::string ignored;
    if (const std::optional<selection::TagRange> range = selection::rangeAtEnd(text, &ignored)) {
        name = tags_.catalog().element(range->first, &ignored) ? range->last : range->first;
    }
    const OfflineDriver::Answer answer = driver_.resolve(name);
    finding.driverCode = answer.code;
    if (answer.code == kResolved) {
        const bool isOutside = tags_.catalog().isOutOfBounds(name);
        finding.kind = isOutside ? FindingKind::OutOfBounds : FindingKind::Elsewhere;
        finding.text = fmt::format("{}; {} and would take {}", withoutName(reason, name),
                                   isOutside ? "the driver does not look at upper bounds" : "the driver resolves it",
                                   whatLiesAt(answer.info));
        return finding;
    }
    if (isStructure(text)) {
        finding.kind = FindingKind::NotTransferred;
        finding.text = fmt::format(
            "a structure or scope is not transferred as a whole; name its members, or all of them as {}.**", text);
        return finding;
    }
    finding.text =
        fmt::format("{}; the driver's code is {}: {}", withoutName(withoutName(explanation(text, reason), name), text),
                    answer.code, desk::codeText(answer.code));
    if (finding.place.list.empty()) {
        finding.text += selection::fileRemedy(text);
    }
    return finding;
}

std::string TagInquiry::explanation(const std::string& text, const std::string& reason) {
    return ++explained_ <= kMostExplained ? tags_.catalog().explain(text) : reason;
}

bool TagInquiry::isStructure(const std::string& text) {
    if (!structures_) {
        structures_.emplace();
        for (const Leaf& leaf : tags_.leaves()) {
            for (std::size_t end = leaf.tag.find_first_of(".["); end != std::string::npos;
                 end = leaf.tag.find_first_of(".[", end + 1)) {
                structures_->insert(leaf.tag.substr(0, end));
            }
        }
    }
    return structures_->count(text) > 0;
}

// Where the driver would look: "area 1 at 112, where Main.flags lies".
std::string TagInquiry::whatLiesAt(const ControlInformationM& info) {
    if (leavesByAddress_.empty()) {
        for (const Leaf& leaf : tags_.leaves()) {
            leavesByAddress_.push_back(&leaf);
        }
        std::sort(leavesByAddress_.begin(), leavesByAddress_.end(), standsBefore);
    }
    Leaf place;
    place.area = info.area;
    place.code = info.dataType == kBitAddressedType ? TypeCode::Bit : TypeCode::Byte;
    place.address = info.address;
    const std::string bit = info.isBit != 0 ? fmt::format("bit {} of ", info.bitIndex) : std::string();
    const std::string where = place.code == TypeCode::Bit
                                  ? fmt::format("bit {} of area {}", info.address, info.area)
                                  : fmt::format("{}area {} at {}", bit, info.area, info.address);
    auto leaf = std::upper_bound(leavesByAddress_.begin(), leavesByAddress_.end(), &place, standsBefore);
    const bool isThere =
        leaf != leavesByAddress_.begin() && (*--leaf)->area == info.area && bitsOf(place).begin < bitsOf(**leaf).end;
    return where + (isThere ? fmt::format(", where {} lies", (*leaf)->tag) : ", where no variable lies");
}

}  // namespace ac500::host
