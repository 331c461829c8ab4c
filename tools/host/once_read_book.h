// OnceReadBook keeps account of one-shot reads as WriteBook does of writes: the driver drops all pending ones when one of
// them fails, and silently those beyond its limit of queued requests (quirk 12).
// Not thread-safe; the session's lock guards it.
#ifndef AC500_TOOLS_HOST_ONCE_READ_BOOK_H
#define AC500_TOOLS_HOST_ONCE_READ_BOOK_H

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

enum class ReadStep { Waiting, WithDriver, Succeeded, Failed };

struct OnceReadRecord {
    std::int32_t serial = 0;  // second identity word of the read
    Tag tag;
    ReadStep step = ReadStep::Waiting;
    std::int32_t forWrite = 0;  // serial of the bit write that needs it; 0: none
    int requests = 0;           // at most so many in the driver's queue; 0: read by address in the cyclic list
    Time handedOver{0};
    Failure failure;  // of a failed one
};

class OnceReadBook {
public:
    // The driver queues so many one-shot requests and drops what comes on top.
    static constexpr int kDriverQueue = 1024;

    // `requestBytes`: the driver cuts reads into requests of at most so many bytes.
    std::int32_t order(const Tag& tag, int requestBytes, std::int32_t forWrite);

    // The oldest waiting read, if the driver's queue has room for it, or never will; else null.
    const OnceReadRecord* next() const;

    void withDriver(std::int32_t serial, Time now);
    // Both return the record, or null when there is no such read underway. It stays valid until the next call of order().
    const OnceReadRecord* succeeded(std::int32_t serial);
    const OnceReadRecord* failed(std::int32_t serial, const Failure& failure);

    std::vector<std::int32_t> underway() const;  // waiting ones included
    std::vector<std::int32_t> withDriver() const;
    bool anyWithDriver() const { return requestsWithDriver_ > 0; }

    // Null when the serial does not exist or was forgotten: ended reads are kept for the latest kKeptEnded.
    const OnceReadRecord* find(std::int32_t serial) const;

    static constexpr std::size_t kKeptEnded = 1000;

private:
    const OnceReadRecord* end(std::int32_t serial, ReadStep step);

    std::map<std::int32_t, OnceReadRecord> records_;
    std::deque<std::int32_t> waiting_;
    std::deque<std::int32_t> ended_;
    int requestsWithDriver_ = 0;
    std::int32_t lastSerial_ = 0;
};

}  // namespace ac500::host

#endif
