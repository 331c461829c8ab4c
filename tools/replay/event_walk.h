// All events of a record, one after another: they need not be in memory at once.
#ifndef AC500_TOOLS_REPLAY_EVENT_WALK_H
#define AC500_TOOLS_REPLAY_EVENT_WALK_H

#include <functional>

#include "tools/record/event.h"

namespace ac500::replay {

// Shows each event to `see`, from the first on each time that it is called.
using EventWalk = std::function<void(const std::function<void(const record::Event&)>& see)>;

}  // namespace ac500::replay

#endif
