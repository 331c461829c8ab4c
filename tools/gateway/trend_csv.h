// The raw samples of one tag as a table for other programs: CSV with its head, in the order of time, each with its time in UTC,
// whole milliseconds, and its state; a gap has no value.
//
// Any thread, one at a time. REQUIRES: the store outlives it
#ifndef AC500_TOOLS_GATEWAY_TREND_CSV_H
#define AC500_TOOLS_GATEWAY_TREND_CSV_H

#include <cstddef>
#include <string>

#include "tools/console/time_text.h"
#include "tools/gateway/trend_store.h"
#include "tools/http/message.h"

namespace ac500::gateway {

class TrendCsv : public http::BodySource {
public:
    // `begin`: the time in the world when the store's clock was 0, as it is now: the rows of one table are as far apart as
    // their samples, whatever happens to the system's clock meanwhile.
    TrendCsv(const TrendStore& store, std::size_t series, const TrendRange& range, console::WallTime begin)
        : store_(store), series_(series), range_(range), begin_(begin) {}

    Next next(std::string* part) override;

private:
    std::string row(const TrendSample& sample) const;

    const TrendStore& store_;
    const std::size_t series_;
    TrendRange range_;  // what is left
    const console::WallTime begin_;
    bool isFirst_ = true;
};

}  // namespace ac500::gateway

#endif
