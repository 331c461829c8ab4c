// HandshakePattern is what the two replies to the handshake had in common each time that was looked: bytes that stay the
// same while a PLC runs one program, and over its restarts, may change with another program. Nobody knows that they do, nor
// that they do not change by themselves: so a difference is a hint, no proof. A plain value.
#ifndef AC500_TOOLS_GUARD_HANDSHAKE_PATTERN_H
#define AC500_TOOLS_GUARD_HANDSHAKE_PATTERN_H

#include <cstddef>
#include <optional>
#include <set>
#include <string>

namespace ac500::guard {

// Whole replies, envelopes included.
struct HandshakeReplies {
    std::string hello;
    std::string symbols;
};

// What the replies belong to, as texts that are compared and shown.
struct HandshakeOrigin {
    std::string plc;      // where it listens
    std::string symbols;  // the symbol file of the program that it ran
    std::string program;  // the fingerprint of that file
};

// The bytes of one of the two replies that were the same each time. Text: two hexadecimal digits for each, ".." for one
// that was not, and "*" at the end when the lengths differed: then only what all replies had is known.
class BytePattern {
public:
    void add(const std::string& reply);
    // These count as not the same, whatever they were: [start, start + count), as far as there are so many.
    void ignore(std::size_t start, std::size_t count);
    // Nothing when it is no such text.
    static std::optional<BytePattern> parse(const std::string& text);
    std::string text() const;

    int bytes() const { return static_cast<int>(bytes_.size()); }
    int constantBytes() const;
    // "byte 16 is 2f, it was 1a each time; 3 more differ"; empty when it is as it was each time.
    std::string difference(const std::string& reply) const;

private:
    bool isEmpty_ = true;  // nothing was added
    bool lengthVaries_ = false;
    std::string bytes_;
    std::string varies_;  // as long; '\1' for a byte that was not the same each time
};

class HandshakePattern {
public:
    // A PLC that was started once, or restarted, has other session bytes each time: so many runs must have been seen before
    // anything is compared. Until then what changes with each start counts as constant.
    static constexpr int kLeastRuns = 2;
    // So many runs are told apart; more count as so many.
    static constexpr std::size_t kMostRuns = 64;

    // The replies of one connection, made to `origin` at `time` (UTC). REQUIRES: they were accepted
    void add(const HandshakeReplies& replies, const HandshakeOrigin& origin, const std::string& time);

    // Of the latest connection.
    const HandshakeOrigin& origin() const { return origin_; }
    // When the first and the latest were made.
    const std::string& first() const { return first_; }
    const std::string& last() const { return last_; }
    int connections() const { return connections_; }
    int runs() const { return static_cast<int>(sessions_.size()); }
    bool isUsable() const { return runs() >= kLeastRuns; }
    const BytePattern& hello() const { return hello_; }
    const BytePattern& symbols() const { return symbols_; }

    // Nothing when the replies are as they were each time, or when too few runs were seen; else what is not.
    std::optional<std::string> difference(const HandshakeReplies& replies) const;

    // A file: JSON. docs/guard.md has its keys. Nothing on failure; *error then says what is wrong.
    std::string toJson() const;
    static std::optional<HandshakePattern> fromJson(const std::string& text, std::string* error);

private:
    HandshakeOrigin origin_;
    std::string first_;
    std::string last_;
    int connections_ = 0;
    std::set<std::string> sessions_;  // session bytes that were seen, in hexadecimal
    BytePattern hello_;
    BytePattern symbols_;
};

}  // namespace ac500::guard

#endif
