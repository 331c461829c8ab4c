#include "tools/gateway/json_body.h"

#include <fmt/format.h>

namespace ac500::gateway {

using symbol_file::JsonNode;

JsonBody::JsonBody(const std::string& body, const std::vector<std::string>& keys)
    : document_(symbol_file::parseJson(body)) {
    if (!document_.problems.empty()) {
        complain(document_.problems.front().what);
        return;
    }
    object_.emplace(JsonNode{&document_.root, ""}, keys, &problems_);
}

std::string JsonBody::problem() const {
    const std::vector<symbol_file::Problem> problems = problems_.inLineOrder();
    if (!complaint_.empty() || problems.empty()) {
        return complaint_;
    }
    const symbol_file::Problem& first = problems.front();
    return first.where.empty() ? first.what : first.where + ": " + first.what;
}

void JsonBody::complain(const std::string& what) {
    if (complaint_.empty()) {
        complaint_ = what;
    }
}

std::optional<JsonNode> JsonBody::find(const char* key) {
    return object_ && object_->isObject() ? object_->require(key, "give it") : std::nullopt;
}

std::string JsonBody::text(const char* key, std::size_t mostBytes) {
    const std::string text = symbol_file::readText(find(key), &problems_).value_or("");
    if (text.size() > mostBytes) {
        complain(fmt::format("\"{}\" is longer than {} bytes", key, mostBytes));
        return "";
    }
    return text;
}

std::int64_t JsonBody::integer(const char* key, std::int64_t least, std::int64_t largest) {
    return symbol_file::readInteger(find(key), {least, largest}, &problems_).value_or(least);
}

std::vector<std::string> JsonBody::texts(const char* key, std::size_t most, std::size_t mostBytes) {
    std::vector<std::string> texts;
    const std::vector<JsonNode> nodes = symbol_file::readArray(find(key), &problems_);
    if (nodes.size() > most) {
        complain(fmt::format("\"{}\" has more than {} entries", key, most));
        return {};
    }
    std::size_t bytes = 0;
    for (const JsonNode& node : nodes) {
        texts.push_back(symbol_file::readText(node, &problems_).value_or(""));
        bytes += texts.back().size();
    }
    if (bytes > mostBytes) {
        complain(fmt::format("\"{}\" has more than {} bytes", key, mostBytes));
        return {};
    }
    return texts;
}

std::vector<std::size_t> JsonBody::numbers(const char* key, std::size_t most, std::size_t below) {
    std::vector<std::size_t> numbers;
    const std::vector<JsonNode> nodes = symbol_file::readArray(find(key), &problems_);
    if (nodes.size() > most) {
        complain(fmt::format("\"{}\" has more than {} entries", key, most));
        return {};
    }
    for (const JsonNode& node : nodes) {
        const std::optional<std::int64_t> number =
            symbol_file::readInteger(node, {0, static_cast<std::int64_t>(below) - 1}, &problems_);
        numbers.push_back(static_cast<std::size_t>(number.value_or(0)));
    }
    return numbers;
}

}  // namespace ac500::gateway
