// RateLimit says how often something may be tried: a number of times at once, then one more after each interval; of each
// client and of all together. Keeps account of a bounded number of clients. Not thread-safe.
#ifndef AC500_TOOLS_HTTP_RATE_LIMIT_H
#define AC500_TOOLS_HTTP_RATE_LIMIT_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

namespace ac500::http {

class RateLimit {
public:
    using Time = std::chrono::milliseconds;  // of any clock that does not go back

    struct Allowance {
        int atOnce;
        Time interval;
    };
    struct Settings {
        Allowance ofOne{5, Time(10000)};
        Allowance ofAll{20, Time(1000)};
        std::size_t clients = 1024;
    };

    explicit RateLimit(const Settings& settings) : settings_(settings), all_{settings.ofAll.atOnce, Time(0)} {}

    // May this client try now? If so, it has.
    bool take(const std::string& client, Time now);
    // It was no try after all: a client that succeeded may go on.
    void giveBack(const std::string& client);

private:
    struct Account {
        int left;
        Time since;  // when `left` was last made more
    };
    static void fill(const Allowance& allowance, Time now, Account* account);
    void forgetFullAccounts(Time now);

    const Settings settings_;
    Account all_;
    std::map<std::string, Account> clients_;
};

}  // namespace ac500::http

#endif
