// What the broker is to get: a message and, where messages were lost, the gap that is told in their place.
#ifndef AC500_TOOLS_BROKER_MESSAGE_H
#define AC500_TOOLS_BROKER_MESSAGE_H

#include <cstdint>
#include <string>

namespace ac500::broker {

struct Message {
    std::string topic;
    std::string payload;
    std::int64_t sequence = 0;  // unique for ever, ascending; from Outbox::takeSequence()
    std::int64_t atMs = 0;      // of its latest value, by the clock of the wall: ms since 1970, UTC
};

// What a message costs beside its texts, in memory and in its bounds.
constexpr std::uint64_t kMessageOverhead = 128;

// Why messages were dropped, as gap records say it.
constexpr const char* kGapStoreFull = "store full";                  // the bound in bytes of the store
constexpr const char* kGapTooOld = "too old";                        // the bound of age
constexpr const char* kGapMemoryFull = "memory full";                // and the store cannot be written
constexpr const char* kGapStoreDamaged = "store damaged";            // it was set aside
constexpr const char* kGapNotStored = "ended without being stored";  // a kill, a power cut

// Of the messages with the numbers [first, last], those that have not come will not come.
struct Gap {
    std::int64_t first = 0;
    std::int64_t last = 0;
    // Message::atMs of the first and of the last that were dropped. Where nothing is left of them: from when the numbers
    // were noted last, 0 when not even that is known, until the gateway began again or noticed.
    std::int64_t fromMs = 0;
    std::int64_t toMs = 0;
    std::string reason;  // for people, one of those above or the door's own
};

}  // namespace ac500::broker

#endif
