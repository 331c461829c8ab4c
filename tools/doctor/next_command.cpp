#include "tools/doctor/next_command.h"

#include <algorithm>

#include "tools/text/shell_word.h"

namespace ac500::doctor {

namespace {

// The one that stands behind the command.
constexpr char kWithin[] = "--within";

std::string optionText(const std::string& name, const std::string& value) {
    return " " + name + (value.empty() ? "" : " " + text::shellWord(value));
}

}  // namespace

NextCommand NextCommand::with(const std::string& option, const std::string& value) const {
    NextCommand other = *this;
    const auto known = std::find_if(other.options_.begin(), other.options_.end(),
                                    [&](const auto& one) { return one.first == option; });
    if (known == other.options_.end()) {
        other.options_.emplace_back(option, value);
    } else {
        known->second = value;
    }
    return other;
}

std::string NextCommand::doctor() const {
    std::string words = "doctor";
    for (const auto& [name, value] : options_) {
        words += name == kWithin ? optionText(name, value) : "";
    }
    for (const std::string& tag : tags_) {
        // With a value behind it, it is no tag.
        words += tag.find('=') == std::string::npos ? " " + text::shellWord(tag) : "";
    }
    return line({kWithin}, words);
}

std::string NextCommand::ofPlc(const std::string& words) const {
    return line({kWithin, "--handshake", "--max"}, words);
}

std::string NextCommand::ofSymbols(const std::string& words) const {
    return line({kWithin, "--handshake", "--max", "--plc", "--timeout", "--max-request-words"}, words);
}

std::string NextCommand::line(const std::vector<std::string>& leftOut, const std::string& words) const {
    std::string text = "ac500-host";
    for (const auto& [name, value] : options_) {
        const bool isLeftOut = std::find(leftOut.begin(), leftOut.end(), name) != leftOut.end();
        text += isLeftOut ? "" : optionText(name, value);
    }
    return text + " " + words;
}

}  // namespace ac500::doctor
