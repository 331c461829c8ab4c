// The watch command: a table that is drawn again in place in a terminal, plain lines or JSON lines elsewhere.
#ifndef AC500_TOOLS_HOST_WATCH_H
#define AC500_TOOLS_HOST_WATCH_H

#include <vector>

#include "tools/host/workplace.h"

namespace ac500::host {

// Until the time is up or Ctrl-C. 0 when every tag was received at least once, else the code of what failed.
int runWatch(Workplace& workplace, const std::vector<Tag>& tags);

}  // namespace ac500::host

#endif
