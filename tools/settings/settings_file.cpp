#include "tools/settings/settings_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/json_reader.h"
#include "tools/text/address.h"
#include "tools/text/file_text.h"

namespace ac500::settings {

using symbol_file::JsonNode;
using symbol_file::ObjectReader;
using symbol_file::ParsedJson;
using symbol_file::ProblemList;

namespace {

constexpr std::size_t kMaxBytes = 1024 * 1024;

class SettingsReader {
public:
    SettingsReader(const symbol_file::JsonValue& document, std::filesystem::path folder)
        : object_({&document, ""},
                  {"$schema", "symbols", "plc", "driver", "timeout", "wait", "cycle", "max-request-words",
                   "retry-limit", "max"},
                  &problems_),
          folder_(std::move(folder)) {}

    LoadedSettings read() {
        Settings settings;
        if (object_.isObject()) {
            readText(object_.find("$schema"), &problems_);
            settings.symbols = path("symbols");
            settings.plc = address("plc");
            settings.driver = path("driver");
            settings.timeoutMs = number("timeout", kWaitRangeMs);
            settings.waitMs = number("wait", kWaitRangeMs);
            settings.cycleMs = number("cycle", kCycleRangeMs);
            settings.maxRequestWords = number("max-request-words", kRequestWordsRange);
            settings.retryLimit = number("retry-limit", kRetryRange);
            settings.mostTags = number("max", kTagsRange);
        }
        return {settings, problems_.inLineOrder()};
    }

private:
    std::optional<std::string> path(const char* key) {
        const std::optional<JsonNode> node = object_.find(key);
        const std::optional<std::string> text = readText(node, &problems_);
        if (text && text->empty()) {
            problems_.add(*node, "is empty; give a path, or remove the key");
            return std::nullopt;
        }
        return text ? std::optional<std::string>((folder_ / *text).string()) : std::nullopt;
    }

    std::optional<std::string> address(const char* key) {
        const std::optional<JsonNode> node = object_.find(key);
        const std::optional<std::string> text = readText(node, &problems_);
        const std::optional<text::Address> parsed = text ? text::parseAddress(*text) : std::nullopt;
        if (text && (!parsed || parsed->port == 0)) {
            problems_.add(*node, symbol_file::inQuotes(*text) +
                                     " is no HOST:PORT; write e.g. \"192.168.0.10:1201\" or \"[::1]:1201\"");
            return std::nullopt;
        }
        return text;
    }

    std::optional<int> number(const char* key, SettingRange range) {
        const std::optional<std::int64_t> value =
            readInteger(object_.find(key), {range.smallest, range.largest}, &problems_);
        return value ? std::optional<int>(static_cast<int>(*value)) : std::nullopt;
    }

    ProblemList problems_;  // before object_, which reports to it
    ObjectReader object_;
    const std::filesystem::path folder_;
};

LoadedSettings unreadable(const std::string& what) {
    LoadedSettings loaded;
    loaded.problems.push_back({0, 0, "", what});
    return loaded;
}

}  // namespace

std::optional<std::string> readSettingsFile(const std::string& fileName, std::vector<symbol_file::Problem>* problems) {
    std::string content;
    if (!text::readUpTo(fileName, kMaxBytes + 1, &content)) {
        problems->push_back(
            {0, 0, "",
             std::string("cannot be read: ") + std::strerror(errno) + "; check the path and its permissions"});
        return std::nullopt;
    }
    if (content.size() > kMaxBytes) {
        problems->push_back({0, 0, "", "is larger than 1 MiB; this is no settings file"});
        return std::nullopt;
    }
    return content;
}

LoadedSettings loadSettings(const std::string& fileName) {
    LoadedSettings loaded;
    const std::optional<std::string> content = readSettingsFile(fileName, &loaded.problems);
    return content ? parseSettings(*content, std::filesystem::path(fileName).parent_path().string()) : loaded;
}

LoadedSettings parseSettings(const std::string& text, const std::string& folder) {
    if (text.find_first_not_of(" \t\r\n", symbol_file::byteOrderMarkBytes(text)) == std::string::npos) {
        return unreadable("is empty; write {} for no settings");
    }
    ParsedJson parsed = symbol_file::parseJson(text);
    if (!parsed.problems.empty()) {
        return {Settings(), std::move(parsed.problems)};
    }
    return SettingsReader(parsed.root, folder).read();
}

}  // namespace ac500::settings
