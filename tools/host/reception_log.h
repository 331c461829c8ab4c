// ReceptionLog knows which bytes of which PLC memory area were received, and when. The driver's byte image cannot tell:
// bytes that never came read as 0 there, written values appear in it before the PLC has them, and a reply that was taken
// for the answer to another request stays in it.
//
// Fed from the read requests whose replies the driver accepted. What was recorded since confirm() counts, but may be
// discarded yet. A plain value; used by the loop thread.
#ifndef AC500_TOOLS_HOST_RECEPTION_LOG_H
#define AC500_TOOLS_HOST_RECEPTION_LOG_H

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/request_frame.h"

namespace ac500::host {

// When the bytes of some runs were received.
struct Reception {
    Time oldest{0};
    Time newest{0};
};

class ReceptionLog {
public:
    // The bytes of `items` were received at `now`, which never goes back.
    void record(const std::vector<ByteRun>& items, Time now);

    // The image does not hold what was received of these bytes any more.
    void forget(const std::vector<ByteRun>& items);

    // What was recorded since the last confirm() was what was asked for; or that is not known, and it is forgotten.
    void confirm() { unconfirmed_.clear(); }
    void discard();

    // Nothing when a byte of these runs was never received, or forgotten since. Empty runs count as never received.
    std::optional<Reception> reception(const std::vector<ByteRun>& runs) const;
    // Was a byte of these runs recorded since the last confirm()? REQUIRES: `reception` is theirs
    bool isUnconfirmed(const Reception& reception) const {
        return !unconfirmed_.empty() && reception.newest >= firstUnconfirmed_;
    }

private:
    // Bytes arrive in runs, so they are kept in pages: one look-up per 256 bytes instead of one per byte.
    static constexpr std::int64_t kPageBytes = 256;
    static constexpr Time kNever{-1};
    struct Page {
        std::array<Time, kPageBytes> receivedAt;
        Page() { receivedAt.fill(kNever); }
    };

    void note(const std::vector<ByteRun>& items, Time time);

    std::unordered_map<std::uint64_t, Page> pages_;
    std::vector<ByteRun> unconfirmed_;
    Time firstUnconfirmed_{0};
};

}  // namespace ac500::host

#endif
