#include "tools/replay/admission.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <variant>

namespace ac500::replay {

namespace {

using namespace record;

// What a call makes the driver keep or take in its hands, in elements of a value, bytes of a request or bytes of a reply.
struct ElementsOf {
    std::int64_t operator()(const RebuildReadList& call) const {
        std::int64_t most = 0;
        if (call.tags) {
            for (const TagRecord& tag : *call.tags) {
                most += std::max<std::int64_t>(tag.count, 1);
            }
        }
        return most;
    }
    std::int64_t operator()(const AddCyclicRead& call) const { return call.var.size; }
    std::int64_t operator()(const AddOnceRead& call) const { return call.var.size; }
    std::int64_t operator()(const AddWrite& call) const { return call.var.size; }
    std::int64_t operator()(const TakeReply& call) const { return static_cast<std::int64_t>(call.reply.size()); }
    std::int64_t operator()(const GetValue& call) const { return call.count; }
    std::int64_t operator()(const SetValue& call) const { return call.count; }
    template <typename Other>
    std::int64_t operator()(const Other&) const {
        return 0;
    }
};

bool needsSettings(const What& what) {
    return std::holds_alternative<RebuildReadList>(what) || std::holds_alternative<AddOnceRead>(what) ||
           std::holds_alternative<SetValue>(what) || std::holds_alternative<NextRequest>(what) ||
           std::holds_alternative<TakeReply>(what);
}

bool needsCallbacks(const What& what) {
    return std::holds_alternative<NextRequest>(what) || std::holds_alternative<TakeReply>(what);
}

bool hasNullArgument(const What& what) {
    const auto* get = std::get_if<GetValue>(&what);
    const auto* set = std::get_if<SetValue>(&what);
    return (get != nullptr && !get->argument) || (set != nullptr && !set->argument);
}

}  // namespace

std::string Admission::problemOf(const Event& event) {
    if (needsSettings(event.what) && !hasSettings_) {
        return "the driver has no settings record: SetComInfo was not called";
    }
    if (needsCallbacks(event.what) && !hasCallbacks_) {
        return "the driver has no callbacks: RegistCallBackFuncIntf was not called, or with null";
    }
    if (hasNullArgument(event.what)) {
        return "the argument is null, which the driver does not take";
    }
    if (std::string problem = elementsProblem(std::visit(ElementsOf(), event.what)); !problem.empty()) {
        return problem;
    }
    if (std::holds_alternative<SetComInfo>(event.what)) {
        hasSettings_ = true;
    } else if (const auto* callbacks = std::get_if<RegisterCallbacks>(&event.what)) {
        hasCallbacks_ = callbacks->varDone && callbacks->commFailed;
    }
    return {};
}

std::string Admission::problemOf(const record::Checkpoint& checkpoint) {
    for (const VarRecord& read : checkpoint.readList) {
        if (std::string problem = elementsProblem(read.size); !problem.empty()) {
            return problem;
        }
    }
    for (const ImageRun& run : checkpoint.image) {
        if (std::string problem = elementsProblem(static_cast<std::int64_t>(run.bytes.size())); !problem.empty()) {
            return problem;
        }
    }
    hasSettings_ = true;
    hasCallbacks_ = true;
    return {};
}

std::string Admission::elementsProblem(std::int64_t elements) {
    if (elements > limits_.mostElements) {
        return fmt::format("{} elements at once; at most {} are replayed", elements, limits_.mostElements);
    }
    elements_ += std::max<std::int64_t>(elements, 0);
    if (elements_ > limits_.mostElementsInAll) {
        return fmt::format("more than {} elements in all", limits_.mostElementsInAll);
    }
    return {};
}

}  // namespace ac500::replay
