#include "tools/guard/handshake_pattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/wire/frame.h"

namespace ac500::guard {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "ac500-handshake";
constexpr int kVersion = 1;
constexpr char kSame = '\0';
constexpr char kVaries = '\1';
// A file of an earlier learning says no more than this.
constexpr int kMostConnections = 1000000;

std::string hexByte(char byte) {
    return fmt::format("{:02x}", static_cast<unsigned>(static_cast<unsigned char>(byte)));
}

std::string hexText(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += hexByte(byte);
    }
    return text;
}

int digitOf(char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    const char* const end = kDigits + 16;
    const char* const found = std::find(kDigits, end, c);
    return found == end ? -1 : static_cast<int>(found - kDigits);
}

// Sets `*text`. False when the key is not there, or holds no text.
bool readText(const Json& json, const char* key, std::string* text) {
    const Json value = json.value(key, Json());
    *text = value.is_string() ? value.get<std::string>() : std::string();
    return value.is_string();
}

bool isSession(const std::string& text) {
    return text.size() == 2 * wire::kSessionBytes &&
           std::all_of(text.begin(), text.end(), [](char c) { return digitOf(c) >= 0; });
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// One reply
// ---------------------------------------------------------------------------------------------------------------------

void BytePattern::add(const std::string& reply) {
    if (isEmpty_) {
        isEmpty_ = false;
        bytes_ = reply;
        varies_.assign(reply.size(), kSame);
        return;
    }
    lengthVaries_ = lengthVaries_ || reply.size() != bytes_.size();
    const std::size_t common = std::min(reply.size(), bytes_.size());
    bytes_.resize(common);
    varies_.resize(common);
    for (std::size_t i = 0; i < common; ++i) {
        if (bytes_[i] != reply[i]) {
            varies_[i] = kVaries;
        }
    }
}

void BytePattern::ignore(std::size_t start, std::size_t count) {
    for (std::size_t i = start; i < std::min(start + count, varies_.size()); ++i) {
        varies_[i] = kVaries;
    }
}

std::optional<BytePattern> BytePattern::parse(const std::string& text) {
    BytePattern pattern;
    pattern.isEmpty_ = false;
    pattern.lengthVaries_ = !text.empty() && text.back() == '*';
    const std::size_t size = text.size() - (pattern.lengthVaries_ ? 1 : 0);
    if (size % 2 != 0) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < size; i += 2) {
        const bool varies = text.compare(i, 2, "..") == 0;
        const int high = digitOf(text[i]);
        const int low = digitOf(text[i + 1]);
        if (!varies && (high < 0 || low < 0)) {
            return std::nullopt;
        }
        pattern.bytes_ += varies ? '\0' : static_cast<char>(high * 16 + low);
        pattern.varies_ += varies ? kVaries : kSame;
    }
    return pattern;
}

std::string BytePattern::text() const {
    std::string text;
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        text += varies_[i] == kVaries ? ".." : hexByte(bytes_[i]);
    }
    return text + (lengthVaries_ ? "*" : "");
}

int BytePattern::constantBytes() const {
    return static_cast<int>(std::count(varies_.begin(), varies_.end(), kSame));
}

std::string BytePattern::difference(const std::string& reply) const {
    if (lengthVaries_ ? reply.size() < bytes_.size() : reply.size() != bytes_.size()) {
        return fmt::format("it has {} bytes, it had {} each time", reply.size(), bytes_.size());
    }
    std::string first;
    int more = 0;
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (varies_[i] == kVaries || bytes_[i] == reply[i]) {
            continue;
        }
        if (first.empty()) {
            first = fmt::format("byte {} is {}, it was {} each time", i, hexByte(reply[i]), hexByte(bytes_[i]));
        } else {
            ++more;
        }
    }
    return more > 0 ? fmt::format("{}; {} more differ", first, more) : first;
}

// ---------------------------------------------------------------------------------------------------------------------
// Both
// ---------------------------------------------------------------------------------------------------------------------

void HandshakePattern::add(const HandshakeReplies& replies, const HandshakeOrigin& origin, const std::string& time) {
    origin_ = origin;
    first_ = first_.empty() ? time : first_;
    last_ = time;
    connections_ = std::min(connections_ + 1, kMostConnections);
    hello_.add(replies.hello);
    symbols_.add(replies.symbols);
    // They are known to change, but some of them may by chance be the same in the few runs that were seen.
    symbols_.ignore(wire::kSessionAt, wire::kSessionBytes);
    if (sessions_.size() < kMostRuns && replies.symbols.size() >= wire::kSessionAt + wire::kSessionBytes) {
        sessions_.insert(hexText(replies.symbols.substr(wire::kSessionAt, wire::kSessionBytes)));
    }
}

std::optional<std::string> HandshakePattern::difference(const HandshakeReplies& replies) const {
    if (!isUsable()) {
        return std::nullopt;
    }
    const std::string hello = hello_.difference(replies.hello);
    const std::string symbols = symbols_.difference(replies.symbols);
    if (hello.empty() && symbols.empty()) {
        return std::nullopt;
    }
    return hello.empty()     ? "the reply to symbols: " + symbols
           : symbols.empty() ? "the reply to hello: " + hello
                             : fmt::format("the reply to hello: {}; the reply to symbols: {}", hello, symbols);
}

std::string HandshakePattern::toJson() const {
    Json json;
    json["format"] = kFormat;
    json["version"] = kVersion;
    json["plc"] = origin_.plc;
    json["symbols"] = origin_.symbols;
    json["program"] = origin_.program;
    json["first"] = first_;
    json["last"] = last_;
    json["connections"] = connections_;
    json["sessions"] = sessions_;
    json["replies"] = {{"hello", hello_.text()}, {"symbols", symbols_.text()}};
    // The name of a file may be no UTF-8.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::optional<HandshakePattern> HandshakePattern::fromJson(const std::string& text, std::string* error) {
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object() || json.value("format", Json()) != Json(kFormat)) {
        *error = "is no file of handshake replies; \"ac500-host guard learn\" writes one";
        return std::nullopt;
    }
    if (json.value("version", Json()) != Json(kVersion)) {
        *error = fmt::format("has a version that is not known; this program knows {}", kVersion);
        return std::nullopt;
    }
    HandshakePattern pattern;
    const Json connections = json.value("connections", Json());
    const Json sessions = json.value("sessions", Json());
    const Json replies = json.value("replies", Json::object());
    std::string hello;
    std::string symbols;
    const bool isWhole =
        readText(json, "plc", &pattern.origin_.plc) && readText(json, "symbols", &pattern.origin_.symbols) &&
        readText(json, "program", &pattern.origin_.program) && readText(json, "first", &pattern.first_) &&
        readText(json, "last", &pattern.last_) && connections.is_number_integer() && sessions.is_array() &&
        sessions.size() <= kMostRuns && replies.is_object() && readText(replies, "hello", &hello) &&
        readText(replies, "symbols", &symbols);
    const std::optional<BytePattern> helloBytes = isWhole ? BytePattern::parse(hello) : std::nullopt;
    const std::optional<BytePattern> symbolBytes = isWhole ? BytePattern::parse(symbols) : std::nullopt;
    bool isGood = helloBytes && symbolBytes && connections >= 1 && connections <= kMostConnections;
    for (const Json& session : isGood ? sessions : Json::array()) {
        isGood = isGood && session.is_string() && isSession(session.get<std::string>());
        if (isGood) {
            pattern.sessions_.insert(session.get<std::string>());
        }
    }
    if (!isGood) {
        *error = "is damaged; remove it, and learn again";
        return std::nullopt;
    }
    pattern.connections_ = connections.get<int>();
    pattern.hello_ = *helloBytes;
    pattern.symbols_ = *symbolBytes;
    return pattern;
}

}  // namespace ac500::guard
