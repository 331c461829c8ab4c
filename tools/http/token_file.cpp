#include "tools/http/token_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <sstream>
#include <utility>

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <sys/stat.h>

#include "tools/text/file_text.h"

namespace ac500::http {

namespace {

constexpr unsigned kRounds = 100000;  // a twentieth of a second on a small processor of today
constexpr unsigned kMostRounds = 10000000;
constexpr std::size_t kLongestName = 32;
constexpr const char* kMethod = "pbkdf2-sha256";

using Salt = std::array<unsigned char, 16>;
using Hash = std::array<unsigned char, 32>;
using Secret = std::array<unsigned char, 32>;

struct StoredHash {
    unsigned rounds = kRounds;
    Salt salt{};
    Hash hash{};
};

template <std::size_t size>
std::string hexText(const std::array<unsigned char, size>& bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

int hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

template <std::size_t size>
bool parseHex(const std::string& text, std::array<unsigned char, size>* bytes) {
    if (text.size() != 2 * size) {
        return false;
    }
    for (std::size_t at = 0; at < size; ++at) {
        const int high = hexDigit(text[2 * at]);
        const int low = hexDigit(text[2 * at + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        (*bytes)[at] = static_cast<unsigned char>(high * 16 + low);
    }
    return true;
}

std::optional<unsigned> parseRounds(const std::string& text) {
    if (text.empty() || text.size() > 8 || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long rounds = std::stoul(text);
    return rounds >= 1 && rounds <= kMostRounds ? std::optional<unsigned>(rounds) : std::nullopt;
}

std::optional<StoredHash> parseHash(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ':');) {
        parts.push_back(part);
    }
    StoredHash stored;
    if (parts.size() != 4 || parts[0] != kMethod || !parseHex(parts[2], &stored.salt) ||
        !parseHex(parts[3], &stored.hash)) {
        return std::nullopt;
    }
    const std::optional<unsigned> rounds = parseRounds(parts[1]);
    if (!rounds) {
        return std::nullopt;
    }
    stored.rounds = *rounds;
    return stored;
}

bool computeHash(const std::string& secret, const Salt& salt, unsigned rounds, Hash* hash) {
    const gnutls_datum_t key{reinterpret_cast<unsigned char*>(const_cast<char*>(secret.data())),
                             static_cast<unsigned>(secret.size())};
    const gnutls_datum_t saltDatum{const_cast<unsigned char*>(salt.data()), static_cast<unsigned>(salt.size())};
    return gnutls_pbkdf2(GNUTLS_MAC_SHA256, &key, &saltDatum, rounds, hash->data(), hash->size()) == 0;
}

bool isName(const std::string& name) {
    return !name.empty() && name.size() <= kLongestName &&
           name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_") ==
               std::string::npos;
}

std::optional<TokenLine> parseTokenLine(const std::string& text, std::string* problem) {
    std::istringstream words(text);
    TokenLine line;
    std::string right;
    std::string rest;
    words >> line.name >> right >> line.hash;
    const std::optional<Right> known = rightOf(right);
    if (!isName(line.name)) {
        *problem = "a name is 1 to 32 letters, digits, - and _";
    } else if (!known) {
        *problem = "the right is view or write";
    } else if (!parseHash(line.hash) || words >> rest) {
        *problem = "the hash is not one; make a new token";
    } else {
        line.right = *known;
        return line;
    }
    return std::nullopt;
}

}  // namespace

const char* rightName(Right right) {
    return right == Right::Write ? "write" : "view";
}

std::optional<Right> rightOf(const std::string& name) {
    if (name == "view") {
        return Right::View;
    }
    return name == "write" ? std::optional<Right>(Right::Write) : std::nullopt;
}

std::optional<NewToken> makeToken(const std::string& name, Right right) {
    Secret secretBytes{};
    StoredHash stored;
    if (!isName(name) || gnutls_rnd(GNUTLS_RND_KEY, secretBytes.data(), secretBytes.size()) != 0 ||
        gnutls_rnd(GNUTLS_RND_NONCE, stored.salt.data(), stored.salt.size()) != 0) {
        return std::nullopt;
    }
    const std::string secret = hexText(secretBytes);
    if (!computeHash(secret, stored.salt, stored.rounds, &stored.hash)) {
        return std::nullopt;
    }
    return NewToken{name + "." + secret, name + " " + rightName(right) + " " + kMethod + ":" +
                                             std::to_string(stored.rounds) + ":" + hexText(stored.salt) + ":" +
                                             hexText(stored.hash)};
}

std::optional<std::vector<TokenLine>> parseTokens(const std::string& text, std::string* problem) {
    std::vector<TokenLine> lines;
    std::set<std::string> names;
    std::istringstream stream(text);
    int number = 0;
    for (std::string row; std::getline(stream, row);) {
        ++number;
        if (row.find_first_not_of(" \t\r") == std::string::npos || row.front() == '#') {
            continue;
        }
        std::string reason;
        const std::optional<TokenLine> line = parseTokenLine(row, &reason);
        if (line && !names.insert(line->name).second) {
            reason = "there is a token " + line->name + " above";
        }
        if (!reason.empty()) {
            *problem = "line " + std::to_string(number) + ": " + reason;
            return std::nullopt;
        }
        lines.push_back(*line);
    }
    return lines;
}

std::shared_ptr<const TokenFile::Lines> TokenFile::current() {
    const FileStamp stamp = stampOf(path_);
    const std::lock_guard<std::mutex> guard(mutex_);
    if (lines_ && stamp == stamp_) {
        return lines_;
    }
    stamp_ = stamp;
    problem_.clear();
    lines_ = std::make_shared<const Lines>();
    struct stat status {};
    std::string text;
    std::string reason;
    if (stat(path_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        problem_ = path_ + ": is no regular file";  // reading a pipe would wait for whoever writes into it
    } else if (stat(path_.c_str(), &status) != 0 || !text::readUpTo(path_, kMaxBytes, &text)) {
        problem_ = path_ + ": " + std::strerror(errno);
        stamp_ = {};  // the same file may be readable the next time
    } else if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        problem_ = path_ + ": others than its owner may use it; chmod 600 changes that";
    } else if (const auto parsed = parseTokens(text, &reason)) {
        lines_ = std::make_shared<const Lines>(*parsed);
    } else {
        problem_ = path_ + ": " + reason;
    }
    return lines_;
}

std::string TokenFile::problem() {
    current();
    const std::lock_guard<std::mutex> guard(mutex_);
    return problem_;
}

std::optional<TokenLine> TokenFile::lineOf(const std::string& token) {
    const std::shared_ptr<const Lines> lines = current();
    const std::size_t dot = token.find('.');
    const std::string name = token.substr(0, dot);
    const std::string secret = dot == std::string::npos ? "" : token.substr(dot + 1);
    std::optional<TokenLine> found;
    for (const TokenLine& line : *lines) {
        if (line.name == name) {
            found = line;
        }
    }
    // A name that is not there costs as much.
    const std::optional<StoredHash> stored = found ? parseHash(found->hash) : StoredHash();
    Hash hash{};
    if (!stored || !computeHash(secret, stored->salt, stored->rounds, &hash) ||
        gnutls_memcmp(hash.data(), stored->hash.data(), hash.size()) != 0) {
        return std::nullopt;
    }
    return found;
}

}  // namespace ac500::http
