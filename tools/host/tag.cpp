#include "tools/host/tag.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "tools/text/near_names.h"
#include "tools/text/text.h"

namespace ac500::host {

using symbol_file::Element;
using symbol_file::kStringBytes;
using symbol_file::TagProblem;

namespace {

constexpr int kBitsPerWord = 16;

std::optional<int> parseIndex(const std::string& text) {
    int index = 0;
    const char* end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, index);
    return problem == std::errc() && rest == end ? std::optional<int>(index) : std::nullopt;
}

// "Main.grid[2,3]" is "Main.grid[2," and "3"; nothing when the text does not end with an index.
struct LastIndex {
    std::string prefix;
    std::string index;
};

std::optional<LastIndex> splitLastIndex(const std::string& text) {
    if (text.empty() || text.back() != ']') {
        return std::nullopt;
    }
    const std::string::size_type opening = text.find_last_of("[,");
    if (opening == std::string::npos) {
        return std::nullopt;
    }
    return LastIndex{text.substr(0, opening + 1), text.substr(opening + 1, text.size() - opening - 2)};
}

std::string withoutIndices(const std::string& tag) {
    return tag.empty() || tag.back() != ']' ? tag : tag.substr(0, tag.rfind('['));
}

void place(const Element& element, Tag* tag) {
    tag->form = {element.code, element.bit >= 0, element.stringCharacters};
    tag->isReadOnly = element.isReadOnly;
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

TagTable::TagTable(SymbolFile file) : file_(std::move(file)), leaves_(listLeaves(file_)) {
    for (std::size_t i = 0; i < leaves_.size(); ++i) {
        leafByTag_.emplace(leaves_[i].tag, i);
    }
}

std::optional<Tag> TagTable::find(const std::string& text, std::string* error) const {
    const Leaf* leaf = leafNamed(text);
    if (leaf != nullptr && !leaf->dimensions.empty()) {
        return wholeArray(text, *leaf, error);
    }
    const std::optional<LastIndex> last = splitLastIndex(text);
    const std::string::size_type dots = last ? last->index.find("..") : std::string::npos;
    if (dots == std::string::npos) {
        return single(text, error);
    }
    const std::string lower = last->index.substr(0, dots);
    const std::string upper = last->index.substr(dots + 2);
    const std::optional<int> lowerIndex = parseIndex(lower);
    const std::optional<int> upperIndex = parseIndex(upper);
    if (!lowerIndex || !upperIndex || *lowerIndex > *upperIndex) {
        *error = fmt::format("{}: \"{}\" is no range; write it as [1..5], the lower index first", text, last->index);
        return std::nullopt;
    }
    return range(text, {last->prefix + lower + "]", last->prefix + upper + "]", last->prefix, *lowerIndex, *upperIndex},
                 error);
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
    TagProblem problem;
    const std::optional<Element> element = findElement(file_, text, &problem);
    if (!element) {
        *error = problem.reason + remedyFor(problem, text);
        return std::nullopt;
    }
    Tag tag;
    tag.text = text;
    tag.prefix = text;
    place(*element, &tag);
    const bool endsWithIndex = text.back() == ']' && element->bit < 0;
    tag.rowExtent = endsWithIndex ? rowExtentOf(text) : 0;
    placeInArray(text, &tag);
    return tag;
}

std::optional<Tag> TagTable::range(const std::string& text, const Range& range, std::string* error) const {
    TagProblem problem;
    const std::optional<Element> first = findElement(file_, range.first, &problem);
    const std::optional<Element> last = first ? findElement(file_, range.last, &problem) : std::nullopt;
    if (!last) {
        *error = problem.reason + remedyFor(problem, text);
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

const Leaf* TagTable::leafNamed(const std::string& tag) const {
    const auto found = leafByTag_.find(tag);
    return found == leafByTag_.end() ? nullptr : &leaves_[found->second];
}

int TagTable::rowExtentOf(const std::string& elementTag) const {
    const Leaf* leaf = leafNamed(withoutIndices(elementTag));
    return leaf == nullptr || leaf->dimensions.empty() ? 0 : leaf->dimensions.back().count();
}

void TagTable::placeInArray(const std::string& elementTag, Tag* tag) const {
    const Leaf* leaf = tag->isStringInArray() ? leafNamed(withoutIndices(elementTag)) : nullptr;
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

// Whole tags in place of the one component that is near, when there are any.
std::string TagTable::remedyFor(const TagProblem& problem, const std::string& text) const {
    if (problem.remedy.empty()) {
        return std::string();
    }
    std::vector<std::string> names;
    for (const Leaf& leaf : leaves_) {
        names.push_back(leaf.tag);
    }
    const std::vector<std::string> near = text::nearNames(withoutIndices(text), names, 3);
    return near.empty() ? problem.remedy : fmt::format("; near names: {}", fmt::join(near, ", "));
}

bool matchesPattern(const std::string& pattern, const std::string& text) {
    // The last "*" is retried with one more character each time what follows it does not fit.
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string::npos;
    std::size_t retry = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = t;
        } else if (p < pattern.size() &&
                   (pattern[p] == '?' || text::lowerCase(pattern[p]) == text::lowerCase(text[t]))) {
            ++p;
            ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++retry;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') {
        ++p;
    }
    return p == pattern.size();
}

}  // namespace ac500::host
