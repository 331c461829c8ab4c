// ReceptionLog knows which bytes of which PLC memory area were received, and when. The driver's byte image cannot tell:
// bytes that never came read as 0 there, and written values appear in it before the PLC has them.
//
// Fed from the read requests whose replies the driver accepted. Not thread-safe; the session's lock guards it.
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

class ReceptionLog {
public:
    // The bytes of `items` were received at `now`.
    void record(const std::vector<ByteRun>& items, Time now);

    // When the byte of these runs that has waited longest was received; nothing when one never was. Empty runs count as
    // never received.
    std::optional<Time> oldest(const std::vector<ByteRun>& runs) const;

private:
    // Bytes arrive in runs, so they are kept in pages: one look-up per 256 bytes instead of one per byte.
    static constexpr std::int64_t kPageBytes = 256;
    static constexpr Time kNever{-1};
    struct Page {
        std::array<Time, kPageBytes> receivedAt;
        Page() { receivedAt.fill(kNever); }
    };

    Time receivedAt(int area, std::int64_t address) const;

    std::unordered_map<std::uint64_t, Page> pages_;
};

}  // namespace ac500::host

#endif
