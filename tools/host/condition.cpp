#include "tools/host/condition.h"

#include <fmt/format.h>

#include <cstring>

#include "tools/host/plant_values.h"

namespace ac500::host {

// Longer ones first, so that "<=" is not taken for "<".
const Condition::Operator Condition::kOperators[] = {
    {"==", Relation::Equal},          {"!=", Relation::NotEqual}, {"<=", Relation::LessOrEqual},
    {">=", Relation::GreaterOrEqual}, {"<", Relation::Less},      {">", Relation::Greater},
};

namespace {

constexpr char kHowToWrite[] = "write TAG OPERATOR VALUE, as in 'Main.fault == 1'; operators are == != < <= > >=";

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? std::string() : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

}  // namespace

std::optional<Condition> Condition::parse(const TagTable& tags, const std::string& text, Failure* failure,
                                          const char* option) {
    const std::size_t begin = text.find_first_of("=!<>");
    Condition condition;
    const Operator* found = nullptr;
    for (const Operator& one : kOperators) {
        if (found == nullptr && begin != std::string::npos &&
            text.compare(begin, std::strlen(one.text), one.text) == 0) {
            found = &one;
        }
    }
    if (found == nullptr) {
        *failure = {FailureKind::Usage, fmt::format("{} \"{}\": there is no operator; {}", option, text, kHowToWrite)};
        return std::nullopt;
    }
    condition.relation_ = found->relation;
    const std::string name = trimmed(text.substr(0, begin));
    const std::string value = trimmed(text.substr(begin + std::strlen(found->text)));
    if (name.empty() || value.empty()) {
        *failure = {FailureKind::Usage, fmt::format("{} \"{}\": there is no {}; {}", option, text,
                                                    name.empty() ? "tag" : "value", kHowToWrite)};
        return std::nullopt;
    }
    std::string error;
    const std::optional<Tag> tag = tags.find(name, &error);
    if (!tag) {
        *failure = {FailureKind::Name, error};
        return std::nullopt;
    }
    condition.tag_ = *tag;
    if (tag->isList) {
        *failure = {FailureKind::Usage,
                    fmt::format("{}: {} has {} values; name one of them", option, name, tag->elements)};
        return std::nullopt;
    }
    if (condition.isOrdering() && (isBoolean(tag->form) || isString(tag->form))) {
        *failure = {FailureKind::Usage, fmt::format("{}: {} has no order; compare it with == or !=", option, name)};
        return std::nullopt;
    }
    const std::optional<HostValue> plant = parsePlantValue(*tag, value, &error);
    if (!plant) {
        *failure = {FailureKind::Usage, fmt::format("{}: {}: {}", option, name, error)};
        return std::nullopt;
    }
    condition.value_ = *plant;
    return condition;
}

bool Condition::holds(const HostValues& inPlc) const {
    const HostValues values = plantValues(tag_, inPlc);
    if (values.empty() || values.front().index() != value_.index()) {
        return false;
    }
    return std::visit(
        [this](const auto& left) { return compare(left, std::get<std::decay_t<decltype(left)>>(value_)); },
        values.front());
}

template <typename Value>
bool Condition::compare(const Value& left, const Value& right) const {
    switch (relation_) {
        case Relation::Equal:
            return left == right;
        case Relation::NotEqual:
            return left != right;
        case Relation::Less:
            return left < right;
        case Relation::LessOrEqual:
            return left <= right;
        case Relation::Greater:
            return left > right;
        case Relation::GreaterOrEqual:
            return left >= right;
    }
    return false;
}

}  // namespace ac500::host
