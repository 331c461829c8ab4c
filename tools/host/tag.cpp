#include "tools/host/tag.h"

#include <fmt/format.h>

#include <algorithm>

namespace ac500::host {

using selection::rangeAtEnd;
using selection::TagRange;
using symbol_file::Element;
using symbol_file::kStringBytes;

namespace {

constexpr int kBitsPerWord = 16;

void place(const Element& element, Tag* tag) {
    tag->form = {element.code, element.bit >= 0, element.stringCharacters};
    tag->isReadOnly = element.isReadOnly;
    tag->isOnlyWrittenHere = element.isOnlyWrittenHere;
    tag->notes = element.notes;
    tag->area = element.area;
    tag->address = element.address;
    tag->firstBit = std::max(element.bit, 0);
}

// Names the elements of a tag that ends with one index.
void nameByIndex(const std::string& prefix, int first, Tag* tag) {
    tag->prefix = prefix;
    tag->isIndexed = true;
    tag->firstIndex = first;
}

// The only way in which the driver knows a bit: "Main.flags.b[3]", also of "Main.flags.3".
std::string bitInBrackets(const std::string& text, int bit) {
    return text.back() == ']' ? text : fmt::format("{}.b[{}]", text.substr(0, text.rfind('.')), bit);
}

bool samePosition(const Element& a, const Element& b) {
    return a.area == b.area && a.address == b.address;
}

}  // namespace

std::string Tag::elementName(int element) const {
    return isIndexed ? fmt::format("{}{}]", prefix, firstIndex + element) : prefix;
}

std::vector<ByteRun> Tag::byteRuns() const {
    if (form.isBit) {
        return {{area, address, typeTraits(form.code)->widthBytes}};
    }
    if (form.code == TypeCode::Bit) {
        const std::int64_t firstWord = address / kBitsPerWord;
        const std::int64_t lastWord = (address + elements - 1) / kBitsPerWord;
        return {{area, firstWord * 2, (lastWord - firstWord + 1) * 2}};
    }
    if (!isString(form)) {
        return {{area, address, std::int64_t{elements} * typeTraits(form.code)->widthBytes}};
    }
    std::vector<ByteRun> runs;
    const int step = elementBytes(form.code, form.stringCharacters);
    for (int i = 0; i < elements; ++i) {
        runs.push_back({area, address + std::int64_t{i} * step, 2 * countPerElement(form)});
    }
    return runs;
}

// The driver takes any index (quirk 16) and 81 bytes for each element (quirk 21).
Tag::NearName Tag::nearName(int element) const {
    if (!isStringInArray() || form.stringCharacters == symbol_file::kStringCharacters) {
        return {elementName(element), 0};
    }
    const std::int64_t step = elementBytes(form.code, form.stringCharacters);
    const std::int64_t fromFirst = address + element * step - arrayAddress;
    return {fmt::format("{}{}]", arrayPrefix, arrayLower + fromFirst / kStringBytes),
            static_cast<int>(fromFirst % kStringBytes)};
}

std::vector<RunChunk> Tag::readPlan() const {
    if (form.isBit) {
        return {{0, 1, countPerElement({form.code, false})}};
    }
    return planRun({elements, countPerElement(form), rowExtent});
}

std::vector<RunChunk> Tag::writePlan() const {
    if (form.isBit) {
        return {{0, elements, elements}};
    }
    return planRun({elements, countPerElement(form), rowExtent});
}

std::string boundsText(const std::vector<ArrayDimension>& dimensions) {
    std::string text;
    for (const ArrayDimension& dimension : dimensions) {
        text += fmt::format("{}{}..{}", text.empty() ? "" : ",", dimension.lower, dimension.upper);
    }
    return text.empty() ? text : "[" + text + "]";
}

bool overlap(const std::vector<ByteRun>& a, const std::vector<ByteRun>& b) {
    for (const ByteRun& left : a) {
        for (const ByteRun& right : b) {
            if (left.area == right.area && left.address < right.address + right.size &&
                right.address < left.address + left.size) {
                return true;
            }
        }
    }
    return false;
}

std::optional<Tag> TagTable::find(const std::string& text, std::string* error) const {
    const Leaf* leaf = catalog_.leafNamed(text);
    if (leaf != nullptr && !leaf->dimensions.empty()) {
        return wholeArray(text, *leaf, error);
    }
    std::string badRange;
    const std::optional<TagRange> rangeOfText = rangeAtEnd(text, &badRange);
    if (!badRange.empty()) {
        *error = badRange;
        return std::nullopt;
    }
    return rangeOfText ? range(text, *rangeOfText, error) : single(text, error);
}

std::optional<Tag> TagTable::wholeArray(const std::string& text, const Leaf& leaf, std::string* error) const {
    if (leaf.dimensions.size() > 1) {
        *error = fmt::format("{} is an array of {} dimensions {}; name one row, e.g. {}[{},{}..{}]", text,
                             leaf.dimensions.size(), boundsText(leaf.dimensions), text, leaf.dimensions[0].lower,
                             leaf.dimensions.back().lower, leaf.dimensions.back().upper);
        return std::nullopt;
    }
    Tag tag;
    tag.text = text;
    tag.form = {leaf.code, false, leaf.stringCharacters};
    tag.isReadOnly = leaf.isReadOnly;
    tag.isOnlyWrittenHere = leaf.isOnlyWrittenHere;
    tag.notes = leaf.notes;
    tag.isList = true;
    nameByIndex(text + "[", leaf.dimensions[0].lower, &tag);
    tag.elements = leaf.dimensions[0].count();
    tag.rowExtent = tag.elements;
    tag.area = leaf.area;
    tag.address = leaf.address;
    placeInArray(tag.elementName(0), &tag);
    return tag;
}

std::optional<Tag> TagTable::single(const std::string& text, std::string* error) const {
    const std::optional<Element> element = catalog_.element(text, error);
    if (!element) {
        *error = catalog_.explain(text);
        return std::nullopt;
    }
    Tag tag;
    tag.text = text;
    place(*element, &tag);
    tag.prefix = tag.form.isBit ? bitInBrackets(text, element->bit) : text;
    const bool endsWithIndex = text.back() == ']' && element->bit < 0;
    tag.rowExtent = endsWithIndex ? rowExtentOf(text) : 0;
    placeInArray(text, &tag);
    return tag;
}

std::optional<Tag> TagTable::range(const std::string& text, const TagRange& range, std::string* error) const {
    const std::optional<Element> first = catalog_.element(range.first, error);
    const std::optional<Element> last = first ? catalog_.element(range.last, error) : std::nullopt;
    if (!last) {
        *error = catalog_.explain(text);
        return std::nullopt;
    }
    Tag tag;
    tag.text = text;
    tag.isList = true;
    nameByIndex(range.prefix, range.lower, &tag);
    tag.elements = range.upper - range.lower + 1;
    place(*first, &tag);
    tag.rowExtent = tag.form.isBit ? 0 : rowExtentOf(range.first);
    if (tag.form.isBit && !samePosition(*first, *last)) {
        *error = fmt::format("{}: the bits belong to different variables", text);
        return std::nullopt;
    }
    placeInArray(range.first, &tag);
    return tag;
}

int TagTable::rowExtentOf(const std::string& elementTag) const {
    const Leaf* leaf = catalog_.leafNamed(selection::withoutIndices(elementTag));
    return leaf == nullptr || leaf->dimensions.empty() ? 0 : leaf->dimensions.back().count();
}

void TagTable::placeInArray(const std::string& elementTag, Tag* tag) const {
    const Leaf* leaf = tag->isStringInArray() ? catalog_.leafNamed(selection::withoutIndices(elementTag)) : nullptr;
    if (leaf == nullptr) {
        return;
    }
    tag->arrayPrefix = leaf->tag + "[";
    for (std::size_t d = 0; d + 1 < leaf->dimensions.size(); ++d) {
        tag->arrayPrefix += std::to_string(leaf->dimensions[d].lower) + ",";
    }
    tag->arrayLower = leaf->dimensions.back().lower;
    tag->arrayAddress = leaf->address;
}

}  // namespace ac500::host
