// What a driver answered, held against what a record says that it answered: byte by byte.
//
// Compared is everything that the host got back: results, every field of the frame that was offered and of the record that
// DataCom returned, the host's own records that the driver filled, values, names that were overwritten, the callbacks in
// their order, and what the driver changed in the settings record. Not compared: times, threads, and whether a frame is the
// same object as the one before, because memory that was given back is used again as chance has it.
#ifndef AC500_TOOLS_REPLAY_COMPARISON_H
#define AC500_TOOLS_REPLAY_COMPARISON_H

#include <optional>
#include <string>

#include "tools/record/event.h"

namespace ac500::replay {

struct Difference {
    std::string field;     // "result", "frame, byte 24", "callbacks", "settings word 8 (retryCount)"
    std::string expected;  // in words, of the record
    std::string actual;    // likewise
};

// The first of them, in the order above; nothing when the answers are the same. REQUIRES: both events hold the same call
// with the same arguments.
std::optional<Difference> firstDifference(const record::Event& expected, const record::Event& actual);

}  // namespace ac500::replay

#endif
