// Latencies are what the users of a PLC wait for, as histograms: replies, passes, values and writes. A plain value of
// 24 kB that stays as large as it is; a session keeps one.
#ifndef AC500_TOOLS_HOST_LATENCIES_H
#define AC500_TOOLS_HOST_LATENCIES_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "tools/host/clock.h"
#include "tools/metrics/histogram.h"

namespace ac500::host {

enum class LatencyKind {
    // Round trips: from the sending of a request until its reply was whole. Refusals count, and replies that cannot be the
    // answer do not.
    FirstHandshake,
    SecondHandshake,
    CyclicRead,
    OnceRead,
    Write,
    Pass,  // over the cyclic list: from its first request to the end of its quiet look
    // Of a value, when somebody takes it from the session: since the oldest of its bytes was received.
    AgeShown,
    WriteToReport,  // from the order of a write until it is known what became of it, good or not
};

constexpr std::array<LatencyKind, 8> kLatencyKinds{LatencyKind::FirstHandshake, LatencyKind::SecondHandshake,
                                                   LatencyKind::CyclicRead,     LatencyKind::OnceRead,
                                                   LatencyKind::Write,          LatencyKind::Pass,
                                                   LatencyKind::AgeShown,       LatencyKind::WriteToReport};

// "first handshake", "cyclic read", "write to report".
const char* latencyName(LatencyKind kind);

struct Latencies {
    std::array<metrics::Histogram, kLatencyKinds.size()> histograms;  // in the order of the kinds
    Time since{0};                                                    // when counting began: at the start, or a reset

    metrics::Histogram& of(LatencyKind kind) { return histograms[static_cast<std::size_t>(kind)]; }
    const metrics::Histogram& of(LatencyKind kind) const { return histograms[static_cast<std::size_t>(kind)]; }
};

// Under this id a record has the lines of latencyTexts() as notes.
constexpr const char* kLatencyNoteId = "Latency";

// "cyclic read 327, p50 1.20 ms, p99 3.40 ms, longest 10.10 ms, in the last 12.0 s": a line for each kind that was measured.
std::vector<std::string> latencyTexts(const Latencies& latencies, Time now);

}  // namespace ac500::host

#endif
