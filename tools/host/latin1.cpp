#include "tools/host/latin1.h"

#include <QtCore/QString>
#include <charconv>

#include <fmt/format.h>

#include "tools/text/text.h"

namespace ac500::host {

namespace {

// Reads one escape behind the backslash at `position` and moves on to its last character.
bool readEscape(const std::string& text, std::size_t* position, std::string* to) {
    const std::size_t at = *position + 1;
    if (at >= text.size()) {
        return false;
    }
    if (text[at] == '"' || text[at] == '\\') {
        *to += text[at];
        *position = at;
        return true;
    }
    unsigned char byte = 0;
    const char* digits = text.data() + at + 1;
    if (text[at] != 'x' || at + 3 > text.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
        return false;
    }
    *to += QString(QChar::fromLatin1(static_cast<char>(byte))).toStdString();
    *position = at + 2;
    return true;
}

}  // namespace

std::optional<std::string> toLatin1(const std::string& utf8) {
    std::string latin1;
    for (const QChar character : QString::fromStdString(utf8)) {
        if (character.unicode() > 0xFF) {
            return std::nullopt;
        }
        latin1 += static_cast<char>(character.unicode());
    }
    return latin1;
}

std::string fromLatin1(const QByteArray& bytes) {
    const int end = bytes.indexOf('\0');
    return QString::fromLatin1(end < 0 ? bytes : bytes.left(end)).toStdString();
}

std::string quote(const std::string& text) {
    std::string quoted = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t controlBytes = text::controlBytesAt(text, i);
        if (controlBytes > 0) {
            i += controlBytes - 1;  // the last byte is the character's code
            quoted += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[i]));
            continue;
        }
        const char c = text[i];
        quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return quoted + "\"";
}

std::optional<std::string> unquote(const std::string& text, std::string* error) {
    if (text.empty() || text[0] != '"') {
        return text;
    }
    std::string content;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            if (i + 1 == text.size()) {
                return content;
            }
            *error = fmt::format("{}: something follows the closing quote", text);
            return std::nullopt;
        }
        if (text[i] != '\\') {
            content += text[i];
        } else if (!readEscape(text, &i, &content)) {
            *error = fmt::format("{}: a backslash stands before \", another backslash, or x and two digits", text);
            return std::nullopt;
        }
    }
    *error = fmt::format("{}: the closing quote is missing", text);
    return std::nullopt;
}

}  // namespace ac500::host
