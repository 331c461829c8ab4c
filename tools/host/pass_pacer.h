// PassPacer keeps the pace of the cyclic reads. A pass goes once over the driver's cyclic list, and a quiet look at the
// line ends it; the next one begins a cycle after it began, or at once when it took longer. The driver itself has no
// pace: it offers the next cyclic read whenever it is asked.
//
// A plain value; the time is handed in. Used by the loop thread.
#ifndef AC500_TOOLS_HOST_PASS_PACER_H
#define AC500_TOOLS_HOST_PASS_PACER_H

#include <optional>

#include "tools/host/clock.h"

namespace ac500::host {

class PassPacer {
public:
    explicit PassPacer(Milliseconds cycle) : cycle_(cycle) {}

    // The cyclic list now holds `reads` reads: the pass that runs does not count, and the next one is due.
    void listRebuilt(int reads);
    // A cyclic read goes out: a pass begins, unless one is running.
    void readSent(Time now);
    // So many reads were answered.
    void readsAnswered(int reads);
    // Is every read of the list answered, and the pass not ended yet?
    bool isAnswered() const { return isRunning_ && answered_ >= listReads_; }
    // The line was found quiet. Returns how long the pass took if this was its end.
    std::optional<Time> lineQuiet(Time now);
    // The driver has given up a request and begins anew, or the pass is not to be believed: it does not count.
    void passAbandoned() { isRunning_ = false; }

    // How long nothing needs to be read. 0 while a pass is running.
    Time untilNext(Time now) const;

private:
    const Milliseconds cycle_;
    int listReads_ = 0;
    std::optional<Time> begun_;  // the pass that is running or was the last one
    bool isRunning_ = false;
    int answered_ = 0;  // reads of the pass that is running
};

}  // namespace ac500::host

#endif
