#include "tools/client/exit_guard.h"

#include <memory>
#include <new>
#include <utility>

// What std::atexit and static objects are made of (Itanium C++ ABI, 3.3.5). Unlike std::atexit, an entry can be taken back:
// __cxa_finalize runs and removes those of one key.
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* key) noexcept;
extern "C" void __cxa_finalize(void* key);

namespace ac500::client {

struct ExitGuard::Entry {
    std::function<void()> atExit;

    static void run(void* argument) noexcept {
        const std::unique_ptr<Entry> entry(static_cast<Entry*>(argument));
        entry->atExit();
    }
};

ExitGuard::ExitGuard(std::function<void()> atExit) {
    auto entry = std::make_unique<Entry>();
    entry->atExit = std::move(atExit);
    if (__cxa_atexit(&Entry::run, entry.get(), entry.get()) != 0) {
        throw std::bad_alloc();
    }
    entry_ = entry.release();
}

ExitGuard::~ExitGuard() {
    __cxa_finalize(entry_);
}

}  // namespace ac500::client
