#include "tools/selection/catalog.h"

#include <utility>

#include "tools/selection/tag_range.h"
#include "tools/text/near_names.h"

namespace ac500::selection {

using symbol_file::Element;
using symbol_file::Leaf;
using symbol_file::SymbolFile;
using symbol_file::TagProblem;

namespace {

constexpr std::size_t kMostNearNames = 3;

}  // namespace

Catalog::Catalog(SymbolFile file) : file_(std::move(file)), index_(file_), leaves_(listLeaves(file_)) {
    leafByTag_.reserve(leaves_.size());
    for (std::size_t i = 0; i < leaves_.size(); ++i) {
        leafByTag_.emplace(leaves_[i].tag, i);
    }
}

const Leaf* Catalog::leafNamed(std::string_view tag) const {
    const auto found = leafByTag_.find(tag);
    return found == leafByTag_.end() ? nullptr : &leaves_[found->second];
}

const Leaf* Catalog::leafHolding(const std::string& tag) const {
    const std::string::size_type member = tag.find_last_of('.', tag.find_last_of('['));
    for (const std::string& name : {tag, withoutIndices(tag), tag.substr(0, member)}) {
        if (const Leaf* leaf = leafNamed(name)) {
            return leaf;
        }
    }
    return nullptr;
}

std::optional<Element> Catalog::element(const std::string& tag, std::string* reason) const {
    TagProblem problem;
    std::optional<Element> found = findElement(file_, index_, tag, &problem);
    if (!found) {
        *reason = problem.reason;
    }
    return found;
}

bool Catalog::isTag(const std::string& text, std::string* reason) const {
    if (leafNamed(text) != nullptr) {
        return true;
    }
    std::string error;
    const std::optional<TagRange> range = rangeAtEnd(text, &error);
    if (!error.empty()) {
        *reason = error;
        return false;
    }
    return range ? element(range->first, reason) && element(range->last, reason) : element(text, reason).has_value();
}

bool Catalog::isOutOfBounds(const std::string& tag) const {
    TagProblem problem;
    return !findElement(file_, index_, tag, &problem) && problem.isOutOfBounds;
}

std::string Catalog::explain(const std::string& text) const {
    std::string error;
    const std::optional<TagRange> range = rangeAtEnd(text, &error);
    if (!error.empty()) {
        return error;
    }
    TagProblem problem;
    for (const std::string& tag : {range ? range->first : text, range ? range->last : text}) {
        if (!findElement(file_, index_, tag, &problem)) {
            return problem.reason + (problem.remedy.empty() ? std::string() : remedyFor(tag, text));
        }
    }
    return std::string();
}

// Whole tags, or else the one component that is near.
std::string Catalog::remedyFor(const std::string& tag, const std::string& text) const {
    text::NearestNames nearest(withoutIndices(text), kMostNearNames);
    for (const Leaf& leaf : leaves_) {
        nearest.offer(leaf.tag);
    }
    std::string near;
    for (const std::string& name : nearest.names()) {
        near += (near.empty() ? "; near names: " : ", ") + name;
    }
    if (near.empty()) {
        TagProblem problem;
        findElement(file_, tag, &problem);
        near = problem.remedy;
    }
    return near;
}

std::string withoutIndices(const std::string& tag) {
    return tag.empty() || tag.back() != ']' ? tag : tag.substr(0, tag.rfind('['));
}

}  // namespace ac500::selection
