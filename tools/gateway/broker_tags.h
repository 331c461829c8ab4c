// BrokerTags is what a plant's broker settings choose among its tags: which are published, on which terms, and which may be
// written by commands. Plain values.
#ifndef AC500_TOOLS_GATEWAY_BROKER_TAGS_H
#define AC500_TOOLS_GATEWAY_BROKER_TAGS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "tools/broker/broker_settings.h"
#include "tools/broker/command_desk.h"
#include "tools/broker/message_format.h"
#include "tools/broker/report_filter.h"
#include "tools/gateway/plant.h"

namespace ac500::gateway {

struct BrokerTags {
    std::vector<std::size_t> numbers;        // of the tags that are published, as Plant counts them, ascending
    std::vector<broker::ReportTerms> terms;  // of these, in the same order
    std::vector<std::size_t> writable;       // numbers of those that commands may write, ascending
};

// Nothing when an entry stands for no tag that is read, or a command could write what write.tags does not allow; *failure
// then names all of these.
std::optional<BrokerTags> brokerTags(const Plant& plant, const broker::BrokerSettings& settings,
                                     host::Failure* failure);

// What filter, format and desk are made of. Places in the first two are those in BrokerTags::numbers.
std::vector<broker::ReportFilter::FilteredTag> filteredTags(const Plant& plant, const BrokerTags& tags);
std::vector<broker::MessageFormat::FormattedTag> formattedTags(const Plant& plant, const BrokerTags& tags);
// All tags of the plant, by their numbers.
std::vector<broker::CommandDesk::DeskTag> deskTags(const Plant& plant, const BrokerTags& tags);

}  // namespace ac500::gateway

#endif
