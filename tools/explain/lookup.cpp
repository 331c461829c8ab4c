#include "tools/explain/lookup.h"

#include <cstdlib>
#include <limits>

#include "tools/text/near_names.h"
#include "tools/text/text.h"

namespace ac500::explain {

namespace {

constexpr int kLargestWord = 0xFFFF;
constexpr int kMostExitCode = 255;
constexpr int kFirstSignalExit = 129;
constexpr int kLastSignalExit = 192;
constexpr std::size_t kNamesOffered = 3;

constexpr char kDigits[] = "0123456789";
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";

bool consistsOf(const std::string& text, const char* characters) {
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

// REQUIRES: nothing but digits of the base
std::optional<int> valueOf(const std::string& digits, int base) {
    const std::size_t first = digits.find_first_not_of('0');
    const std::string significant = first == std::string::npos ? "0" : digits.substr(first);
    if (significant.size() > 10) {
        return std::nullopt;
    }
    const long long value = std::strtoll(significant.c_str(), nullptr, base);
    return value <= std::numeric_limits<int>::max() ? std::optional<int>(static_cast<int>(value)) : std::nullopt;
}

bool startsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

// As it may be typed: without case, and without the driver's "k".
std::string plainName(const std::string& name) {
    const bool isConstant = name.size() > 1 && name[0] == 'k' && name[1] >= 'A' && name[1] <= 'Z';
    return text::lowerCase(isConstant ? name.substr(1) : name);
}

bool isCalled(const Code& code, const std::string& text) {
    if (code.name[0] == '\0') {
        return false;
    }
    return text::lowerCase(code.name) == text::lowerCase(text) || plainName(code.name) == text::lowerCase(text);
}

}  // namespace

std::optional<int> parseNumber(const std::string& text) {
    const std::string small = text::lowerCase(text);
    if (startsWith(small, "0x") && consistsOf(small.substr(2), kHexDigits)) {
        return valueOf(small.substr(2), 16);
    }
    if (startsWith(small, "16#") && consistsOf(small.substr(3), kHexDigits)) {
        return valueOf(small.substr(3), 16);
    }
    if (small.size() == 5 && small[2] == ' ' && consistsOf(small.substr(0, 2) + small.substr(3), kHexDigits)) {
        return valueOf(small.substr(0, 2) + small.substr(3), 16);
    }
    if (consistsOf(small, kDigits)) {
        return valueOf(small, 10);
    }
    if (startsWith(small, "-") && consistsOf(small.substr(1), kDigits)) {
        const std::optional<int> value = valueOf(small.substr(1), 10);
        return value ? std::optional<int>(-*value) : std::nullopt;
    }
    const bool isWord = small.size() == 4 && consistsOf(small, kHexDigits) && kDigits[0] <= small[0] && small[0] <= '9';
    return isWord ? valueOf(small, 16) : std::nullopt;
}

std::vector<Code> meaningsOf(const std::string& text, std::optional<Group> only) {
    const std::optional<int> number = parseNumber(text);
    std::vector<Code> meanings;
    for (const Code& code : allCodes()) {
        const bool isMeant = number ? code.first <= *number && *number <= code.last : isCalled(code, text);
        if (isMeant && (!only || code.group == *only)) {
            meanings.push_back(code);
        }
    }
    return meanings;
}

std::optional<Group> groupOf(const std::string& key) {
    for (const Group group : allGroups()) {
        if (text::lowerCase(key) == groupKey(group)) {
            return group;
        }
    }
    return std::nullopt;
}

std::vector<std::string> nearNamesOf(const std::string& text) {
    text::NearestNames nearest(plainName(text), kNamesOffered);
    for (const Code& code : allCodes()) {
        if (code.name[0] != '\0') {
            nearest.offer(plainName(code.name));
        }
    }
    for (const Group group : allGroups()) {
        nearest.offer(groupKey(group));
    }
    return nearest.names();
}

std::string familyNote(const Code& code, int number) {
    if (code.first == code.last) {
        return "";
    }
    const int hostId = number - code.first;
    return std::to_string(number) + " says that the variable served first has " +
           (hostId == 0 ? "a hostId of 0, below 0 or above 11" : "hostId " + std::to_string(hostId));
}

std::string unknownNumberHint(int number) {
    if (number > kMostExitCode && number <= kLargestWord) {
        return "as a status word of a reply it is one of the PLC's firmware, which refuses the request: see the manual "
               "of "
               "the PLC, and whether symbols and PLC program are of the same version";
    }
    if (number >= kFirstSignalExit && number <= kLastSignalExit) {
        return "as an exit code it says that signal " + std::to_string(number - kFirstSignalExit + 1) +
               " ended the program; `kill -l` names it";
    }
    if (number >= 0 && number <= kMostExitCode) {
        return "as an exit code it comes from the shell or from another program; as a status of a request, from "
               "another "
               "version of the driver: see `ac500-host --version`";
    }
    return "no code of the driver or of the programs is so large or so small; `ac500-host explain` lists them all";
}

std::string plainText(const std::string& markdown) {
    std::string text;
    for (std::size_t at = 0; at < markdown.size(); ++at) {
        const std::size_t middle = markdown[at] == '[' ? markdown.find("](", at) : std::string::npos;
        const std::size_t end = middle == std::string::npos ? middle : markdown.find(')', middle);
        if (end != std::string::npos) {
            text += markdown.substr(at + 1, middle - at - 1) + " (docs/" +
                    markdown.substr(middle + 2, end - middle - 2) + ")";
            at = end;
        } else if (markdown[at] != '`') {
            text += markdown[at];
        }
    }
    return text;
}

}  // namespace ac500::explain
