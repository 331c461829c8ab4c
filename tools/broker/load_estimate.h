// What a broker and a store have to bear, reckoned before anything runs: real messages are formed of the widest values that
// the tags can have. Pure functions.
#ifndef AC500_TOOLS_BROKER_LOAD_ESTIMATE_H
#define AC500_TOOLS_BROKER_LOAD_ESTIMATE_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/broker/message_format.h"

namespace ac500::broker {

struct LoadQuestion {
    std::vector<MessageFormat::FormattedTag> tags;
    std::vector<ReportTerms> terms;  // of these, in the same order
    MessageFormat::Settings format;
    KeepSettings keep;
    host::Milliseconds cycle{100};  // of the passes; more than 0
};

// When so many tags change in each pass by more than their dead bands. A tag is told as often as its smallest interval
// allows.
struct Load {
    std::size_t tags = 0;
    double messagesPerSecond = 0;
    double bytesPerSecond = 0;  // topics and payloads
    double keptSeconds = 0;     // until what is kept for a broker that is away reaches its bound in bytes, or in age
};

struct LoadEstimate {
    Load everything;
    Load tenth;                      // each tenth tag, the first included
    std::size_t largestMessage = 0;  // bytes of topic and payload: of the largest that would be formed
    std::size_t tooLarge = 0;        // tags that no message holds, even alone
};
LoadEstimate estimateLoad(const LoadQuestion& question);

// As `ac500-gateway check` tells it.
std::vector<std::string> loadLines(const LoadQuestion& question, const LoadEstimate& estimate);

}  // namespace ac500::broker

#endif
