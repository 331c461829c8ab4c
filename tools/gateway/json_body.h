// JsonBody takes what a request's body has to say out of its JSON, or says what is wrong with it. Used by one thread.
#ifndef AC500_TOOLS_GATEWAY_JSON_BODY_H
#define AC500_TOOLS_GATEWAY_JSON_BODY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/symbol_file/json_reader.h"

namespace ac500::gateway {

class JsonBody {
public:
    // The body is to be an object of these keys, and of no others.
    JsonBody(const std::string& body, const std::vector<std::string>& keys);

    // Each is to be there; an empty value, and a problem, when it is not what it should be.
    std::string text(const char* key, std::size_t mostBytes);
    std::int64_t integer(const char* key, std::int64_t least, std::int64_t largest);
    std::vector<std::string> texts(const char* key, std::size_t most, std::size_t mostBytes);
    std::vector<std::size_t> numbers(const char* key, std::size_t most, std::size_t below);

    // Empty when nothing is wrong so far.
    std::string problem() const;

private:
    std::optional<symbol_file::JsonNode> find(const char* key);
    void complain(const std::string& what);

    symbol_file::ParsedJson document_;
    symbol_file::ProblemList problems_;
    std::optional<symbol_file::ObjectReader> object_;  // nothing when the text is no JSON
    std::string complaint_;
};

}  // namespace ac500::gateway

#endif
