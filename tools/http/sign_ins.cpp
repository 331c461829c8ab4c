#include "tools/http/sign_ins.h"

#include <algorithm>

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

namespace ac500::http {

namespace {

// Takes as long wherever they differ.
bool isSame(const std::string& a, const std::string& b) {
    return a.size() == b.size() && gnutls_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

std::string randomId() {
    unsigned char bytes[32];
    if (gnutls_rnd(GNUTLS_RND_KEY, bytes, sizeof bytes) != 0) {
        return "";
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

SignIns::Result SignIns::check(const std::string& token, const std::string& address, Time now) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!limit_.take(address, now)) {
            return {Outcome::TooMany, "", std::nullopt};
        }
    }
    const std::optional<TokenLine> line = tokens_.lineOf(token);
    if (!line) {
        return {Outcome::WrongToken, "", std::nullopt};
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    limit_.giveBack(address);
    return {Outcome::SignedIn, "", line};
}

SignIns::Result SignIns::signIn(const std::string& token, const std::string& address, Time now) {
    Result result = check(token, address, now);
    if (result.outcome != Outcome::SignedIn) {
        return result;
    }
    result.id = randomId();
    if (result.id.empty()) {
        return {Outcome::TooMany, "", std::nullopt};
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    if (signIns_.size() >= kMost) {
        signIns_.pop_front();
    }
    signIns_.push_back({result.id, *result.token, now});
    return result;
}

std::optional<TokenLine> SignIns::find(const std::string& id, Time now) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const std::shared_ptr<const TokenFile::Lines> lines = tokens_.current();
    signIns_.remove_if([&](const SignIn& each) {
        return now - each.since >= kLongest || std::find(lines->begin(), lines->end(), each.token) == lines->end();
    });
    std::optional<TokenLine> found;
    for (const SignIn& each : signIns_) {
        if (isSame(each.id, id)) {
            found = each.token;
        }
    }
    return found;
}

void SignIns::signOut(const std::string& id) {
    const std::lock_guard<std::mutex> guard(mutex_);
    signIns_.remove_if([&](const SignIn& each) { return isSame(each.id, id); });
}

}  // namespace ac500::http
