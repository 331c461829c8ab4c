// SignIns knows who has signed in. A sign-in is a random number that a browser keeps as a cookie; it ends when its user
// signs out, twelve hours after it began, when 256 others began after it, and when its token is taken out of the file.
// All functions may be called from any thread.
#ifndef AC500_TOOLS_HTTP_SIGN_INS_H
#define AC500_TOOLS_HTTP_SIGN_INS_H

#include <chrono>
#include <list>
#include <mutex>
#include <optional>
#include <string>

#include "tools/http/rate_limit.h"
#include "tools/http/token_file.h"

namespace ac500::http {

// 64 hexadecimal digits that nobody can guess; empty without random bytes of the system.
std::string randomId();

class SignIns {
public:
    using Time = RateLimit::Time;
    static constexpr std::size_t kMost = 256;
    static constexpr Time kLongest = std::chrono::hours(12);

    // `tokens` must outlive it.
    explicit SignIns(TokenFile& tokens, const RateLimit::Settings& limits = {}) : tokens_(tokens), limit_(limits) {}

    enum class Outcome { SignedIn, WrongToken, TooMany };
    struct Result {
        Outcome outcome;
        std::string id;  // SignedIn
        std::optional<TokenLine> token;
    };
    // Slow, on purpose. TooMany: tried too often, from this address or by all together; the token was not looked at.
    Result signIn(const std::string& token, const std::string& address, Time now);
    // Whose token it is, without a sign-in; bounded in the same way.
    Result check(const std::string& token, const std::string& address, Time now);

    // Who that is now; nothing when the sign-in has ended, and for what is none.
    std::optional<TokenLine> find(const std::string& id, Time now);
    void signOut(const std::string& id);

private:
    struct SignIn {
        std::string id;
        TokenLine token;
        Time since;
    };

    TokenFile& tokens_;
    std::mutex mutex_;
    RateLimit limit_;            // mutex_
    std::list<SignIn> signIns_;  // mutex_; the oldest first
};

}  // namespace ac500::http

#endif
