#include "tools/host/latencies.h"

#include <fmt/format.h>

namespace ac500::host {

const char* latencyName(LatencyKind kind) {
    switch (kind) {
        case LatencyKind::FirstHandshake:
            return "first handshake";
        case LatencyKind::SecondHandshake:
            return "second handshake";
        case LatencyKind::CyclicRead:
            return "cyclic read";
        case LatencyKind::OnceRead:
            return "one-shot read";
        case LatencyKind::Write:
            return "write";
        case LatencyKind::Pass:
            return "pass";
        case LatencyKind::AgeShown:
            return "age when shown";
        case LatencyKind::WriteToReport:
            return "write to report";
    }
    return "?";
}

std::vector<std::string> latencyTexts(const Latencies& latencies, Time now) {
    const auto milliseconds = [](Time time) { return static_cast<double>(time.count()) / 1000.0; };
    std::vector<std::string> texts;
    for (const LatencyKind kind : kLatencyKinds) {
        const metrics::Histogram& times = latencies.of(kind);
        if (times.count() > 0) {
            texts.push_back(fmt::format("{} {}, p50 {:.2f} ms, p99 {:.2f} ms, longest {:.2f} ms, in the last {:.1f} s",
                                        latencyName(kind), times.count(), milliseconds(times.p50()),
                                        milliseconds(times.p99()), milliseconds(times.longest()),
                                        milliseconds(now - latencies.since) / 1000.0));
        }
    }
    return texts;
}

}  // namespace ac500::host
