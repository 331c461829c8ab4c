#include "tools/gateway/trend_csv.h"

#include <fmt/format.h>

#include <vector>

namespace ac500::gateway {

using host::Milliseconds;

namespace {

constexpr std::size_t kPartSamples = 500;

const char* sampleStateName(SampleState state) {
    switch (state) {
        case SampleState::Good:
            return "good";
        case SampleState::Suspect:
            return "suspect";
        case SampleState::Gap:
            return "gap";
    }
    return "gap";
}

}  // namespace

http::BodySource::Next TrendCsv::next(std::string* part) {
    if (isFirst_) {
        *part = "utc,value,state\r\n";
        isFirst_ = false;
        return Next::Part;
    }
    if (range_.from >= range_.to) {
        return Next::End;
    }
    const std::vector<TrendSample> samples = store_.samples(series_, range_, kPartSamples);
    for (const TrendSample& sample : samples) {
        *part += row(sample);
        range_.from = sample.at + Milliseconds(1);
    }
    return samples.empty() ? Next::End : Next::Part;
}

std::string TrendCsv::row(const TrendSample& sample) const {
    const bool isGap = sample.state == SampleState::Gap;
    return fmt::format("{},{},{}\r\n", console::utcText(begin_ + sample.at),
                       isGap ? "" : fmt::format("{}", sample.value), sampleStateName(sample.state));
}

}  // namespace ac500::gateway
