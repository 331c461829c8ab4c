#include "tools/http/message.h"

#include <nlohmann/json.hpp>

namespace ac500::http {

namespace {

std::vector<std::string> valuesOf(const Fields& fields, const std::string& name) {
    std::vector<std::string> values;
    for (const auto& field : fields) {
        if (field.first == name) {
            values.push_back(field.second);
        }
    }
    return values;
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::vector<std::string> Request::header(const std::string& lowerCaseName) const {
    return valuesOf(headers, lowerCaseName);
}

std::vector<std::string> Request::parameter(const std::string& name) const {
    return valuesOf(query, name);
}

std::string Request::cookie(const std::string& name) const {
    std::vector<std::string> found;
    for (const std::string& line : header("cookie")) {
        for (std::size_t begin = 0; begin < line.size();) {
            const std::size_t end = std::min(line.find(';', begin), line.size());
            const std::string pair = trimmed(line.substr(begin, end - begin));
            if (pair.compare(0, name.size() + 1, name + "=") == 0) {
                found.push_back(pair.substr(name.size() + 1));
            }
            begin = end + 1;
        }
    }
    return found.size() == 1 ? found.front() : "";
}

std::string jsonText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Response errorAnswer(int status, const std::string& what, const std::string& next) {
    Response response;
    response.status = status;
    response.contentType = "application/json";
    response.body = "{\"error\":{\"what\":" + jsonText(what) + ",\"next\":" + jsonText(next) + "}}\n";
    return response;
}

}  // namespace ac500::http
