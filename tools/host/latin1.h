// PLC strings are Latin-1 bytes, terminals speak UTF-8. Pure functions.
#ifndef AC500_TOOLS_HOST_LATIN1_H
#define AC500_TOOLS_HOST_LATIN1_H

#include <QtCore/QByteArray>
#include <optional>
#include <string>

namespace ac500::host {

// UTF-8 to Latin-1; nothing when the text is no UTF-8 or holds characters above U+00FF.
std::optional<std::string> toLatin1(const std::string& utf8);

// The bytes up to the first zero, as UTF-8.
std::string fromLatin1(const QByteArray& bytes);

// In double quotes; quotes, backslashes and control characters become \" \\ \xNN.
std::string quote(const std::string& text);

// The reverse. A text that does not begin with a quote is returned as it is; nothing when the closing quote is missing or
// something follows it, or an escape is unknown: *error then says so.
std::optional<std::string> unquote(const std::string& text, std::string* error);

}  // namespace ac500::host

#endif
