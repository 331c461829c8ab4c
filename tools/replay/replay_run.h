// ReplayRun makes the calls of a record on a driver, one after another, and holds every answer against the recorded one.
#ifndef AC500_TOOLS_REPLAY_REPLAY_RUN_H
#define AC500_TOOLS_REPLAY_REPLAY_RUN_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/driver/driver_functions.h"
#include "tools/record/event.h"
#include "tools/replay/admission.h"
#include "tools/replay/comparison.h"
#include "tools/replay/driver_caller.h"

namespace ac500::replay {

struct Divergence {
    std::size_t position = 0;  // of the event in the record
    record::Event actual;      // with what this driver answered
    Difference difference;
};

// A driver that nobody has called since it was loaded; null: there is none, and *error says why. The one before is not used
// any more.
using FreshDriver = std::function<const host::DriverFunctions*(std::string* error)>;

// Used by one thread; one at a time in a process.
class ReplayRun {
public:
    // Of events that come one after another, to replay().
    explicit ReplayRun(FreshDriver freshDriver, const AdmissionLimits& limits = {});
    // Of these events; they must outlive the run.
    ReplayRun(const std::vector<record::Event>& events, FreshDriver freshDriver, const AdmissionLimits& limits = {});
    ~ReplayRun();
    ReplayRun(const ReplayRun&) = delete;
    ReplayRun& operator=(const ReplayRun&) = delete;

    // Replays the next event of the record. False: the run cannot go on, which problem() says.
    bool replay(const record::Event& event);
    // The same with the event at position(). False also when there is none.
    bool step();
    // How many were replayed: that of the event which is next.
    std::size_t position() const { return position_; }

    // What the last step made of its event: a call with the answers of this driver.
    const record::Event& answered() const { return answered_; }
    // Has it answered otherwise than recorded?
    bool hasDiverged() const { return hasDiverged_; }

    const std::optional<Divergence>& firstDivergence() const { return first_; }
    std::size_t divergences() const { return divergences_; }  // calls, so far
    std::size_t calls() const { return calls_; }              // made, so far
    // Calls left out, because the record does not say what the driver held before them.
    std::size_t skipped() const { return skipped_; }
    // Why the run ended before its time; empty: it did not.
    const std::string& problem() const { return problem_; }

private:
    bool beginSegment(const record::SegmentStart& segment);
    bool takeFreshDriver();
    bool restore(const record::Checkpoint& checkpoint);
    bool makeCall(const record::Event& event);

    const std::vector<record::Event>* const events_;
    const FreshDriver freshDriver_;
    Admission admission_;
    std::unique_ptr<DriverCaller> caller_;  // null: no driver yet, or its state is not that of the record
    bool isUsed_ = false;                   // has the driver been called?
    std::size_t position_ = 0;
    record::Event answered_;
    bool hasDiverged_ = false;
    std::optional<Divergence> first_;
    std::size_t divergences_ = 0;
    std::size_t calls_ = 0;
    std::size_t skipped_ = 0;
    std::string problem_;
};

}  // namespace ac500::replay

#endif
