// A moment of a record, as a user names it.
#ifndef AC500_TOOLS_REPLAY_MOMENT_H
#define AC500_TOOLS_REPLAY_MOMENT_H

#include <functional>
#include <optional>
#include <string>

#include "tools/record/event.h"

namespace ac500::replay {

// Does an event belong to the time up to and with that moment: "1234", the event of that number; "12.5s" or "300ms", so long
// after `first`; "2026-11-22T14:03:12.5Z" or, on the day of `first`, "14:03:12.5", UTC. Events behind one that does not, do
// not either. Nothing when the text is none of these. `first`: the first event of the record.
std::optional<std::function<bool(const record::Event&)>> untilMoment(const std::string& moment,
                                                                     const record::Event& first);

}  // namespace ac500::replay

#endif
