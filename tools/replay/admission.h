// What a record may ask of a driver. The driver checks the bytes of a PLC and trusts its host; a record may come from
// anywhere, so what no host does is found out here, before the driver is called.
#ifndef AC500_TOOLS_REPLAY_ADMISSION_H
#define AC500_TOOLS_REPLAY_ADMISSION_H

#include <cstdint>
#include <string>

#include "tools/record/event.h"

namespace ac500::replay {

struct AdmissionLimits {
    std::int64_t mostElements = 1 << 20;       // of one value, one read, one write
    std::int64_t mostElementsInAll = 1 << 28;  // of all calls of a record together: what they make the driver keep
};

// Knows which calls were made so far. Not thread-safe.
class Admission {
public:
    explicit Admission(const AdmissionLimits& limits) : limits_(limits) {}

    // The driver was loaded anew.
    void restart() { hasSettings_ = hasCallbacks_ = false; }

    // Why the call may not be made, in words; empty: it may, and then counts as made.
    std::string problemOf(const record::Event& event);
    // The same of what a driver is to be brought to; it has settings and callbacks afterwards.
    std::string problemOf(const record::Checkpoint& checkpoint);

private:
    std::string elementsProblem(std::int64_t elements);

    const AdmissionLimits limits_;
    bool hasSettings_ = false;
    bool hasCallbacks_ = false;
    std::int64_t elements_ = 0;
};

}  // namespace ac500::replay

#endif
