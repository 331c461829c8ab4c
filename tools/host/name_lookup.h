// NameLookup asks the system for the addresses of a host name without waiting for it longer than wanted: the system may
// take many seconds and cannot be told to stop. It is asked in a thread of its own; a lookup that nobody waits for any
// more ends by itself. Used by one thread.
#ifndef AC500_TOOLS_HOST_NAME_LOOKUP_H
#define AC500_TOOLS_HOST_NAME_LOOKUP_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/clock.h"

namespace ac500::host {

struct NameAnswer {
    std::vector<std::string> addresses;  // IPv4 or IPv6, in the order in which to try them
    std::string failure;                 // in words; empty when there are addresses
};

// The system's own (getaddrinfo). Blocks; may be called from any thread.
NameAnswer addressesOf(const std::string& name);

class NameLookup {
public:
    // Called in a thread of its own that may outlive the NameLookup: it owns, or shares, whatever it uses.
    using Resolver = std::function<NameAnswer(const std::string& name)>;

    explicit NameLookup(Resolver resolver = addressesOf) : resolver_(std::move(resolver)) {}

    // While an earlier lookup of the same name is under way its answer is waited for instead of asking again.
    void start(const std::string& name);
    // The answer, once it is there; waits for it, at most `timeout`. REQUIRES: started.
    std::optional<NameAnswer> wait(Milliseconds timeout);

private:
    struct Shared;  // with the thread that asks, which may outlive this object

    Resolver resolver_;
    std::shared_ptr<Shared> shared_;
};

}  // namespace ac500::host

#endif
