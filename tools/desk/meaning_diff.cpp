#include "tools/desk/meaning_diff.h"

#include <optional>
#include <set>
#include <utility>

namespace ac500::desk {

using symbol_file::Leaf;
using symbol_file::Limit;
using symbol_file::NamedValue;
using symbol_file::Scale;
using symbol_file::ValueNotes;

namespace {

// How the numbers are written counts: it says how many decimals people see.
bool isSame(const std::optional<Scale>& a, const std::optional<Scale>& b) {
    const Scale one = a.value_or(Scale());
    const Scale other = b.value_or(Scale());
    return one.factor.text == other.factor.text && one.offset.text == other.offset.text;
}

std::string textOf(const std::optional<Scale>& scale) {
    return scale ? "x " + scale->factor.text + " + " + scale->offset.text : "";
}

bool isSame(const std::optional<Limit>& a, const std::optional<Limit>& b) {
    if (!a || !b) {
        return !a && !b;
    }
    return a->whole && b->whole ? *a->whole == *b->whole : a->number.value == b->number.value;
}

std::string textOf(const std::optional<Limit>& limit) {
    return limit ? limit->number.text : "";
}

const char* textOf(bool truth) {
    return truth ? "true" : "false";
}

// "1=Run, 2=Stop": the names that the others lack, or have for another value.
std::string namesBesides(const std::vector<NamedValue>& names, const std::vector<NamedValue>& others) {
    std::set<std::pair<text::WholeNumber, std::string>> known;
    for (const NamedValue& other : others) {
        known.emplace(other.value, other.name);
    }
    std::string text;
    for (const NamedValue& one : names) {
        if (known.count({one.value, one.name}) == 0) {
            text += (text.empty() ? "" : ", ") + toText(one.value) + "=" + one.name;
        }
    }
    return text;
}

const ValueNotes& notesOf(const Leaf& leaf) {
    static const ValueNotes kNone;
    return leaf.notes == nullptr ? kNone : *leaf.notes;
}

void addIf(bool isChanged, const char* what, const std::string& before, const std::string& after,
           std::vector<MeaningChange>* changes) {
    if (isChanged) {
        changes->push_back({what, before, after});
    }
}

}  // namespace

std::vector<MeaningChange> meaningChanges(const Leaf& before, const Leaf& after) {
    std::vector<MeaningChange> changes;
    if (before.notes != nullptr || after.notes != nullptr) {
        const ValueNotes& old = notesOf(before);
        const ValueNotes& now = notesOf(after);
        addIf(old.unit != now.unit, "unit", old.unit, now.unit, &changes);
        addIf(!isSame(old.scale, now.scale), "scale", textOf(old.scale), textOf(now.scale), &changes);
        addIf(!isSame(old.minimum, now.minimum), "min", textOf(old.minimum), textOf(now.minimum), &changes);
        addIf(!isSame(old.maximum, now.maximum), "max", textOf(old.maximum), textOf(now.maximum), &changes);
        const std::string oldNames = namesBesides(old.names, now.names);
        const std::string newNames = namesBesides(now.names, old.names);
        addIf(oldNames != newNames, "names", oldNames, newNames, &changes);
    }
    for (MeaningChange& change : bitMeaningChanges(before, after)) {
        changes.push_back(std::move(change));
    }
    return changes;
}

std::vector<MeaningChange> bitMeaningChanges(const Leaf& before, const Leaf& after) {
    std::vector<MeaningChange> changes;
    addIf(before.isReadOnly != after.isReadOnly, "readOnly", textOf(before.isReadOnly), textOf(after.isReadOnly),
          &changes);
    addIf(before.isOnlyWrittenHere != after.isOnlyWrittenHere, "onlyWriter", textOf(before.isOnlyWrittenHere),
          textOf(after.isOnlyWrittenHere), &changes);
    addIf(before.bitAddressable != after.bitAddressable, "bits", textOf(before.bitAddressable),
          textOf(after.bitAddressable), &changes);
    return changes;
}

}  // namespace ac500::desk
