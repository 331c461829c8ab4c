// Tokens by which people sign in. A file names each, with its right and a slow, salted hash of its secret, so that who
// reads the file cannot sign in. It is read again when it has changed: a line that is taken out ends what its token began.
//
// A line: NAME RIGHT HASH, with RIGHT "view" or "write". Empty lines and lines that begin with # are skipped. A token:
// NAME.SECRET, the secret 64 hexadecimal digits made of 32 random bytes.
#ifndef AC500_TOOLS_HTTP_TOKEN_FILE_H
#define AC500_TOOLS_HTTP_TOKEN_FILE_H

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/http/file_stamp.h"

namespace ac500::http {

enum class Right { View, Write };
// "view", "write".
const char* rightName(Right right);
std::optional<Right> rightOf(const std::string& name);

struct TokenLine {
    std::string name;  // 1 to 32 letters, digits, "-" and "_"
    Right right = Right::View;
    std::string hash;  // "pbkdf2-sha256:ROUNDS:SALT:HASH", the last two hexadecimal
};

inline bool operator==(const TokenLine& a, const TokenLine& b) {
    return a.name == b.name && a.right == b.right && a.hash == b.hash;
}

struct NewToken {
    std::string token;  // for the one who is to sign in; nobody else has it
    std::string line;   // for the file, without a line end
};
// Nothing for a name that is none, or without random bytes of the system.
std::optional<NewToken> makeToken(const std::string& name, Right right);

// Nothing, and *problem names line and reason, unless every line is good and every name stands there once.
std::optional<std::vector<TokenLine>> parseTokens(const std::string& text, std::string* problem);

// All functions may be called from any thread.
class TokenFile {
public:
    static constexpr std::size_t kMaxBytes = 256 * 1024;

    explicit TokenFile(std::string path) : path_(std::move(path)) {}

    // Why the file cannot be used now: nobody can sign in, and nobody is. Empty when it can. It must be its owner's alone.
    std::string problem();
    // The line of the token; nothing when there is none. Takes as long as the slow hash, whether there is one or not.
    std::optional<TokenLine> lineOf(const std::string& token);
    // What is in the file now; nothing when it cannot be used.
    using Lines = std::vector<TokenLine>;
    std::shared_ptr<const Lines> current();

private:
    const std::string path_;
    std::mutex mutex_;
    FileStamp stamp_;                     // mutex_, as the next two
    std::shared_ptr<const Lines> lines_;  // null before the first look
    std::string problem_;
};

}  // namespace ac500::http

#endif
