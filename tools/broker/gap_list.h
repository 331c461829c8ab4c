// GapList has the gaps that the broker has not acknowledged yet. One that was not told grows by what is dropped next, for
// the same reason, as long as nothing between is held: so a store that is full for a week makes one gap of it. With very many
// it grows over what is held, too: of the numbers of a gap what has not come will not come, and what is held comes. A plain
// value.
#ifndef AC500_TOOLS_BROKER_GAP_LIST_H
#define AC500_TOOLS_BROKER_GAP_LIST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/broker/message.h"

namespace ac500::broker {

struct GapRecord {
    Gap gap;
    std::optional<Message> message;  // once it was told: what is sent again is the same
};

class GapList {
public:
    // So many are kept apart, of one reason.
    static constexpr std::size_t kMostRecords = 256;

    // `heldBelow`: the highest number below gap.first of a message that is held; 0: none.
    void add(const Gap& gap, std::int64_t heldBelow);
    // As the store has it.
    void add(GapRecord record) { records_.push_back(std::move(record)); }
    // False when no gap was told with this number.
    bool remove(std::int64_t sequence);

    const std::vector<GapRecord>& records() const { return records_; }
    // The first that was not told yet and whose first number is none of `except`, for its message; null: none. Valid until the
    // list changes.
    GapRecord* firstUntold(const std::set<std::int64_t>& except);
    // Of what was told with this number, as if it never had been; the number has not come, and becomes part of the gap. Null
    // when no gap was told with it. Valid until the list changes.
    const GapRecord* untell(std::int64_t sequence);

private:
    std::vector<GapRecord>::iterator told(std::int64_t sequence);

    std::vector<GapRecord> records_;
};

}  // namespace ac500::broker

#endif
