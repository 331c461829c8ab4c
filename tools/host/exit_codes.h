// Exit codes of ac500-host that stand for no failure of a kind (failure.h).
#ifndef AC500_TOOLS_HOST_EXIT_CODES_H
#define AC500_TOOLS_HOST_EXIT_CODES_H

namespace ac500::host {

constexpr int kExitFindings = 3;  // something is wrong with what was looked at: a tag, or a plan that grew
constexpr int kExitInterrupted = 130;  // by Ctrl-C, before everything was done

}  // namespace ac500::host

#endif
