#include "tools/selection/tag_range.h"

#include <charconv>

namespace ac500::selection {

namespace {

std::optional<int> parseIndex(const std::string& text) {
    int index = 0;
    const char* end = text.data() + text.size();
    const auto [rest, problem] = std::from_chars(text.data(), end, index);
    return problem == std::errc() && rest == end ? std::optional<int>(index) : std::nullopt;
}

}  // namespace

std::optional<TagRange> rangeAtEnd(const std::string& tag, std::string* error) {
    const std::string::size_type opening = tag.find_last_of("[,");
    if (tag.empty() || tag.back() != ']' || opening == std::string::npos) {
        return std::nullopt;
    }
    const std::string range = tag.substr(opening + 1, tag.size() - opening - 2);
    const std::string::size_type dots = range.find("..");
    if (dots == std::string::npos) {
        return std::nullopt;
    }
    const std::string lower = range.substr(0, dots);
    const std::string upper = range.substr(dots + 2);
    const std::optional<int> lowerIndex = parseIndex(lower);
    const std::optional<int> upperIndex = parseIndex(upper);
    if (!lowerIndex || !upperIndex || *lowerIndex > *upperIndex) {
        *error = tag + ": \"" + range + "\" is no range; write it as [1..5], the lower index first";
        return std::nullopt;
    }
    const std::string prefix = tag.substr(0, opening + 1);
    return TagRange{prefix, prefix + lower + "]", prefix + upper + "]", *lowerIndex, *upperIndex};
}

}  // namespace ac500::selection
