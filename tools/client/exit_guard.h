// ExitGuard calls a function once: when the program ends, or when the guard is destroyed, whichever comes first. At the end of
// the program that is before anything is destroyed that was there earlier than the guard: so a thread can be ended in time
// that uses a library which was loaded on the way.
#ifndef AC500_TOOLS_CLIENT_EXIT_GUARD_H
#define AC500_TOOLS_CLIENT_EXIT_GUARD_H

#include <functional>

namespace ac500::client {

class ExitGuard {
public:
    // `atExit` must not count on the guard's owner: the thread that ends the program may be running it while the owner is
    // destroyed. Throws std::bad_alloc.
    explicit ExitGuard(std::function<void()> atExit);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;

private:
    struct Entry;
    Entry* entry_;  // deletes itself when it is run
};

}  // namespace ac500::client

#endif
