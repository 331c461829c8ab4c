// The capture of what went over the wire while a record was made.
#ifndef AC500_TOOLS_REPLAY_WIRE_CAPTURE_H
#define AC500_TOOLS_REPLAY_WIRE_CAPTURE_H

#include <cstddef>
#include <functional>
#include <string>

#include "tools/record/event.h"
#include "tools/replay/event_walk.h"

namespace ac500::replay {

struct WireCapture {
    int connections = 0;
    std::size_t bytesSent = 0;
    std::size_t bytesReceived = 0;
};

// What the host sent and received, to the microsecond in which it did, also what the driver never saw. What the host noted
// as a failure is a remark of the next packet. A record without connections, such as one that was shrunk, yields the
// requests that the driver wanted sent and the replies that it was given. `write` gets the file, a pcapng, piece by piece;
// `events` is called twice.
WireCapture captureOf(const record::RunInfo& run, const EventWalk& events,
                      const std::function<void(const std::string&)>& write);

}  // namespace ac500::replay

#endif
