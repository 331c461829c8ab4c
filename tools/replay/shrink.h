// Shrinks a record: leaves out calls as long as the same failure happens.
//
// What "the same failure" is, in this order:
//   - the driver ends with a signal: it ends with the same signal in a call of the same entry point;
//   - an answer differs from the record: every call before it that is left answers as recorded, and the same call differs in
//     the same field, with the same two answers. The record that comes out keeps the recorded answers;
//   - the driver reports a failure, that is a status of DataCom other than 0, 1 and 100: it reports the same status for a
//     request of the same service. What a host would then have been told depends on what was left out, so the record that
//     comes out holds the answers that this driver gives to what is left.
#ifndef AC500_TOOLS_REPLAY_SHRINK_H
#define AC500_TOOLS_REPLAY_SHRINK_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/record/event.h"
#include "tools/replay/replay_run.h"

namespace ac500::replay {

struct ShrinkSettings {
    std::chrono::milliseconds limit{60000};  // for all trials together; one may end so much later as it takes
    std::function<bool()> isCancelled;       // asked before each trial; may be empty
};

struct ShrunkRecord {
    std::vector<record::Event> events;  // as RecordWriter takes them
    std::string failure;                // in words
    std::size_t callsBefore = 0;
    std::size_t callsAfter = 0;
    int trials = 0;
    // No call that is left can be left out alone; each was tried. False: the time was over before.
    bool isOneMinimal = false;
};

// Nothing when no failure happens, or when it does not happen again; *error then says which.
// REQUIRES: this process has one thread, and `freshDriver` hands out a driver that was never called in it.
std::optional<ShrunkRecord> shrink(const std::vector<record::Event>& events, const FreshDriver& freshDriver,
                                   const ShrinkSettings& settings, std::string* error);

}  // namespace ac500::replay

#endif
