#include "tools/events/log_line.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ac500::events {

namespace {

using Json = nlohmann::ordered_json;  // keys in the order in which they are set

constexpr char kFormatOption[] = "--log-format";

Json jsonOf(const char* program, const LogLine& line) {
    const EventRow& row = rowOf(line.event);
    Json json{{"version", kLogVersion},
              {"time", console::utcText(line.time)},
              {"program", program},
              {"level", levelName(row.level)},
              {"event", row.id}};
    if (line.number) {
        json["number"] = *line.number;
    }
    if (line.client != 0) {
        json["client"] = line.client;
    }
    if (!line.layer.empty()) {
        json["layer"] = line.layer;
    }
    if (line.code != 0) {
        json["code"] = line.code;
    }
    json["text"] = line.text;
    return json;
}

// At most so many bytes of a UTF-8 text, and no part of a character.
std::size_t wholeCharacters(const std::string& text, std::size_t bytes) {
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) {
        --bytes;
    }
    return bytes;
}

std::string textOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string jsonLine(const char* program, const LogLine& line) {
    Json json = jsonOf(program, line);
    std::string text = textOf(json);
    if (text.size() <= kLongestLine) {
        return text;
    }
    const auto cutTo = [&](std::size_t kept) {
        json["text"] = line.text.substr(0, kept);
        json["cut_bytes"] = line.text.size() - kept;
        return textOf(json);
    };
    // The longest beginning that fits: a byte takes one to six in JSON.
    std::size_t fits = 0;
    for (std::size_t tooLong = std::min(line.text.size(), kLongestLine); fits + 1 < tooLong;) {
        const std::size_t middle = (fits + tooLong) / 2;
        (cutTo(middle).size() <= kLongestLine ? fits : tooLong) = middle;
    }
    return cutTo(wholeCharacters(line.text, fits));
}

bool asksForJson(const std::vector<std::string>& arguments) {
    const auto isJson = [&](std::size_t i) {
        return arguments[i] == std::string(kFormatOption) + "=json" ||
               (arguments[i] == kFormatOption && i + 1 < arguments.size() && arguments[i + 1] == "json");
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (isJson(i)) {
            return true;
        }
    }
    return false;
}

}  // namespace ac500::events
