#include "tools/text/text.h"

#include <algorithm>

namespace ac500::text {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos; end = text.find(separator, begin)) {
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return lowerCase(c); });
    return text;
}

bool isUtf8(const std::string& text) {
    constexpr unsigned kSmallestOf[] = {0, 0x80, 0x800, 0x10000};  // by the number of bytes that follow the first
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto first = static_cast<unsigned char>(text[i]);
        if (first < 0x80) {
            continue;
        }
        const unsigned following = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
        if (first < 0xC0 || first >= 0xF8 || text.size() - i <= following) {
            return false;
        }
        unsigned code = first & (0x3Fu >> following);
        for (unsigned next = 0; next < following; ++next) {
            const auto byte = static_cast<unsigned char>(text[++i]);
            if ((byte & 0xC0) != 0x80) {
                return false;
            }
            code = code << 6 | (byte & 0x3Fu);
        }
        const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
        if (code < kSmallestOf[following] || code > 0x10FFFF || isSurrogate) {
            return false;
        }
    }
    return true;
}

std::size_t controlBytesAt(const std::string& text, std::size_t position) {
    const auto byte = static_cast<unsigned char>(text[position]);
    if (byte < 0x20 || byte == 0x7F) {
        return 1;
    }
    const auto next = static_cast<unsigned char>(position + 1 < text.size() ? text[position + 1] : '\0');
    return byte == 0xC2 && next >= 0x80 && next < 0xA0 ? 2 : 0;
}

std::string withoutControls(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t bytes = controlBytesAt(text, i);
        if (bytes > 0) {
            text.replace(i, bytes, "?");
        }
    }
    return text;
}

}  // namespace ac500::text
