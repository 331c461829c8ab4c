// WriteLedger knows what every written tag may hold. Each write of a tag has a generation, counted from 1 in the order
// of the orders; 0 is the memory before the first write, all zeros. From the ends of the writes follows which
// generations can be seen: the newest one that was reported done, or any later one, since a failed write may have
// arrived all the same. An earlier one would be a lost or a late write.
// Every function may be called from any thread.
#ifndef AC500_TESTS_SOAK_WRITE_LEDGER_H
#define AC500_TESTS_SOAK_WRITE_LEDGER_H

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "tools/host/clock.h"

namespace ac500::soak {

class WriteLedger {
public:
    struct Counts {
        std::int64_t ordered = 0;
        std::int64_t done = 0;
        std::int64_t failed = 0;
        std::int64_t confirmed = 0;  // done, and seen in the PLC as written
        std::int64_t overtaken = 0;  // done, and a later write was there before anybody looked
        std::int64_t open() const { return ordered - done - failed; }
    };
    struct OpenWrite {
        std::size_t tag = 0;
        std::uint64_t generation = 0;
        std::int32_t serial = 0;
        host::Time ordered{0};
    };

    explicit WriteLedger(std::size_t tags) : tags_(tags) {}

    // Gives the write the tag's next generation and lets `order` order it; `order` returns its serial number.
    void order(std::size_t tag, host::Time now, const std::function<std::int32_t(std::uint64_t generation)>& order);
    // A write has ended. REQUIRES: it is open.
    void ended(const OpenWrite& write, bool done, host::Time at);

    std::vector<OpenWrite> open() const;
    // The generations that may be seen in what was read from the PLC at `since` or later. Oldest first, never empty.
    std::vector<std::uint64_t> possible(std::size_t tag, host::Time since) const;
    // The PLC was looked at after `since` and shows `generation` in the whole tag (or, with kMixed, several).
    void seenInPlc(std::size_t tag, std::uint64_t generation, host::Time since);
    Counts counts() const;

    static constexpr std::uint64_t kMixed = ~std::uint64_t{0};
    static constexpr std::size_t kKept = 64;

private:
    enum class State { Open, Done, Failed };
    struct Attempt {
        std::uint64_t generation = 0;
        std::int32_t serial = 0;
        State state = State::Done;  // of generation 0, which nobody ordered
        host::Time ordered{0};
        host::Time ended{0};
        bool isLookedAt = true;
    };
    struct TagHistory {
        std::array<Attempt, kKept> attempts;  // by generation, modulo kKept: memory that does not grow
        std::uint64_t newest = 0;
        std::uint64_t oldest() const { return newest < kKept ? 0 : newest - kKept + 1; }
        Attempt& at(std::uint64_t generation) { return attempts[static_cast<std::size_t>(generation % kKept)]; }
        const Attempt& at(std::uint64_t generation) const {
            return attempts[static_cast<std::size_t>(generation % kKept)];
        }
    };

    static std::uint64_t newestDone(const TagHistory& tag, host::Time since);

    mutable std::mutex mutex_;
    std::vector<TagHistory> tags_;
    Counts counts_;
};

}  // namespace ac500::soak

#endif
