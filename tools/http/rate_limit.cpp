#include "tools/http/rate_limit.h"

#include <algorithm>

namespace ac500::http {

void RateLimit::fill(const Allowance& allowance, Time now, Account* account) {
    const auto more = (now - account->since) / allowance.interval;
    if (more <= 0) {
        return;
    }
    account->since += more * allowance.interval;
    account->left = static_cast<int>(std::min<std::int64_t>(allowance.atOnce, account->left + more));
}

void RateLimit::forgetFullAccounts(Time now) {
    for (auto at = clients_.begin(); at != clients_.end();) {
        fill(settings_.ofOne, now, &at->second);
        at = at->second.left >= settings_.ofOne.atOnce ? clients_.erase(at) : std::next(at);
    }
}

bool RateLimit::take(const std::string& client, Time now) {
    fill(settings_.ofAll, now, &all_);
    if (all_.left <= 0) {
        return false;
    }
    if (clients_.size() >= settings_.clients && clients_.count(client) == 0) {
        forgetFullAccounts(now);
        if (clients_.size() >= settings_.clients) {
            return false;  // so many have tried: nobody else may until one of them is forgotten
        }
    }
    Account& account = clients_.try_emplace(client, Account{settings_.ofOne.atOnce, now}).first->second;
    fill(settings_.ofOne, now, &account);
    if (account.left <= 0) {
        return false;
    }
    --account.left;
    --all_.left;
    return true;
}

void RateLimit::giveBack(const std::string& client) {
    all_.left = std::min(all_.left + 1, settings_.ofAll.atOnce);
    const auto found = clients_.find(client);
    if (found != clients_.end()) {
        found->second.left = std::min(found->second.left + 1, settings_.ofOne.atOnce);
    }
}

}  // namespace ac500::http
