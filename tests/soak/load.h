// Load orders writes and one-shot reads as hosts do, from threads of its own, and follows each to its end: exactly one,
// within kPatience, and the same in the host's book as in the driver's reports.
//
// Each thread deals the tags out like cards: all of them in random order, then again, so that what the host remembers
// of the last thousand orders stays about the same size.
#ifndef AC500_TESTS_SOAK_LOAD_H
#define AC500_TESTS_SOAK_LOAD_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/soak/findings.h"
#include "tests/soak/memory_watch.h"
#include "tests/soak/report_book.h"
#include "tests/soak/value_check.h"
#include "tests/soak/write_ledger.h"
#include "tools/host/host_session.h"

namespace ac500::soak {

enum class Pace {
    Rest,    // nothing is ordered
    Steady,  // some sixty writes and ten reads a second
    Rush,    // as fast as they come to their ends
};

class Load {
public:
    // All must outlive the load.
    struct Parts {
        const std::vector<WatchedTag>& tags;
        host::HostSession& session;
        const host::Clock& clock;
        const ReportBook& book;
        WriteLedger& ledger;
        Findings& findings;
    };
    Load(const Parts& parts, std::uint64_t seed);
    ~Load();
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    void setPace(Pace pace) { pace_ = pace; }
    // Looks which orders have ended. To be called often, from one thread.
    void follow();
    // Is nothing under way? Counts orders of a thread that has not noticed the rest yet.
    bool isDrained() const;
    // Heap that the host uses for the texts of the failures among the last thousand writes and reads.
    std::int64_t rememberedBytes() const { return writeTexts_.bytes() + readTexts_.bytes(); }
    // Writes that the driver reported done, and the host failed all the same: the line was not in step, or was lost before
    // that was known.
    std::int64_t writesDoubted() const { return writesDoubted_; }
    std::int64_t readsOrdered() const { return readsOrdered_; }
    std::int64_t readsDone() const { return readsDone_; }
    std::int64_t readsFailed() const { return readsFailed_; }

private:
    struct OpenRead {
        std::size_t tag = 0;
        std::int32_t serial = 0;
        host::Time ordered{0};
    };

    void keepWriting(std::uint64_t seed);
    void keepReading(std::uint64_t seed);
    void write(std::size_t tag);
    void followWrites();
    void followReads();
    void checkFate(const WriteLedger::OpenWrite& write, const host::Order& record);
    bool wait(int steadyMs, std::size_t open);

    const Parts parts_;
    std::atomic<Pace> pace_{Pace::Rest};
    std::atomic<bool> stopping_{false};
    std::atomic<int> ordering_{0};  // threads that are about to order something
    std::atomic<std::int64_t> writesDoubted_{0};
    std::atomic<std::int64_t> readsOrdered_{0};
    std::atomic<std::int64_t> readsDone_{0};
    std::atomic<std::int64_t> readsFailed_{0};
    TextTally writeTexts_;
    TextTally readTexts_;
    mutable std::mutex mutex_;
    std::vector<OpenRead> openReads_;
    std::vector<std::thread> threads_;
};

}  // namespace ac500::soak

#endif
