#include "tools/gateway/metrics_text.h"

#include <fmt/format.h>

#include <array>
#include <iterator>

namespace ac500::gateway {

using host::LatencyKind;
using metrics::Histogram;

namespace {

// At these bounds a Histogram counts exactly: one less than a power of two, in microseconds, 0.26 ms to 33.5 s.
constexpr int kFirstBoundBits = 8;
constexpr int kLastBoundBits = 25;

constexpr std::array<ConnectionState, 6> kStates{ConnectionState::Connecting,   ConnectionState::Up,
                                                 ConnectionState::OtherProgram, ConnectionState::Lost,
                                                 ConnectionState::Retrying,     ConnectionState::Refused};

constexpr std::array<host::ValueState, 6> kValueStates{host::ValueState::NeverReceived, host::ValueState::Fresh,
                                                       host::ValueState::Suspect,       host::ValueState::Stale,
                                                       host::ValueState::WritePending,  host::ValueState::WriteFailed};

class Page {
public:
    void counter(const char* name, const char* help, std::uint64_t value) {
        head(name, help, "counter");
        line(name, "", fmt::format("{}", value));
    }
    void counter(const char* name, const char* help, std::int64_t value) {
        counter(name, help, static_cast<std::uint64_t>(value));
    }
    void gauge(const char* name, const char* help, double value) {
        head(name, help, "gauge");
        line(name, "", fmt::format("{}", value));
    }
    void head(const char* name, const char* help, const char* type) {
        fmt::format_to(std::back_inserter(text_), "# HELP {} {}\n# TYPE {} {}\n", name, help, name, type);
    }
    // `labels`: with their braces, or empty.
    void line(const std::string& name, const std::string& labels, const std::string& value) {
        fmt::format_to(std::back_inserter(text_), "{}{} {}\n", name, labels, value);
    }
    std::string take() { return std::move(text_); }

private:
    std::string text_;
};

std::string seconds(host::Time time) {
    return fmt::format("{}", std::chrono::duration<double>(time).count());
}

void addIdentity(const Plant& plant, Page* page) {
    page->head("ac500_gateway_info",
               "The build of the gateway, the PLC that it serves, and the fingerprint of its symbols.", "gauge");
    page->line(
        "ac500_gateway_info",
        fmt::format("{{version=\"{}\",plc=\"{}\",address=\"{}\",symbols=\"{}\"}}", AC500_VERSION,
                    labelText(plant.name()), labelText(plant.settings().session.loop.plc.text()), plant.fingerprint()),
        "1");
}

void addState(const Plant& plant, Page* page) {
    const std::optional<TimeSpan> span = plant.timeLine().current();
    page->head("ac500_connection_state", "1 for the state that the connection is in, 0 for the others.", "gauge");
    for (const ConnectionState state : kStates) {
        page->line("ac500_connection_state", fmt::format("{{state=\"{}\"}}", connectionStateName(state)),
                   span && span->connection.state == state ? "1" : "0");
    }
    page->gauge("ac500_connection_state_seconds", "For how long it has been in this state.",
                span ? std::chrono::duration<double>(plant.now() - span->from).count() : 0);
}

void addExchange(const host::Statistics& counted, Page* page) {
    page->counter("ac500_requests_total", "Requests sent to the PLC.", counted.framesSent);
    page->counter("ac500_replies_total", "Replies that were taken as good.", counted.framesAccepted);
    page->counter("ac500_replies_refused_total", "Replies by which the PLC refused.", counted.refusals);
    page->counter("ac500_replies_bad_total", "Replies that cannot be the answer, and bytes that nobody asked for.",
                  counted.badReplies);
    page->counter("ac500_reply_timeouts_total", "Replies that did not come, or not whole, in time.", counted.timeouts);
    page->counter("ac500_requests_repeated_total", "Requests sent again.", counted.retries);
    page->counter("ac500_requests_abandoned_total", "Requests that the driver gave up.", counted.abandoned);
    page->counter("ac500_connections_total", "Connections made to the PLC.", counted.connections);
    page->counter("ac500_sent_bytes_total", "Bytes sent to the PLC.", counted.bytesSent);
    page->counter("ac500_received_bytes_total", "Bytes received from the PLC.", counted.bytesReceived);
    page->counter("ac500_passes_total", "Passes over the list of tags.", counted.cycles());
}

void addValues(const Plant& plant, Page* page) {
    const Plant::ValueCounts counts = plant.valueCounts();
    page->counter("ac500_values_received_total", "Values that the board has taken.", counts.received);
    page->counter("ac500_values_suspect_total", "Of these, values that may be of another program.", counts.suspect);
    page->counter("ac500_values_changed_total", "Changes of a value or of its state.", counts.changed);
    page->counter("ac500_values_published_total", "Values sent to viewers and programs.", counts.published);
    page->head("ac500_tags", "Tags that are read, by the state of their value.", "gauge");
    const std::vector<std::size_t> tags = plant.countByState();
    for (const host::ValueState state : kValueStates) {
        page->line("ac500_tags", fmt::format("{{state=\"{}\"}}", host::valueStateName(state)),
                   fmt::format("{}", tags[static_cast<std::size_t>(state)]));
    }
    const std::optional<host::Milliseconds> oldest = plant.trend().oldest();
    page->gauge("ac500_trend_seconds", "How far back the trends of all kept tags go.",
                oldest ? std::chrono::duration<double>(plant.now() - *oldest).count() : 0);
}

void addBroker(const BrokerFigures& figures, Page* page) {
    page->gauge("ac500_broker_connected", "1 while the gateway is connected to a broker, else 0.",
                figures.isConnected ? 1 : 0);
    page->counter("ac500_broker_reconnects_total", "Connections to brokers after the first.", figures.reconnects);
    page->counter("ac500_broker_published_total", "Messages of values sent to brokers, repeated ones again.",
                  figures.published);
    page->counter("ac500_broker_acknowledged_total", "Of these, messages that a broker has acknowledged.",
                  figures.acknowledged);
    page->counter("ac500_broker_dropped_total", "Messages that were dropped; gap records say why.", figures.dropped);
    page->gauge("ac500_broker_backlog_messages", "Messages that wait for the broker to be back.",
                static_cast<double>(figures.backlogMessages));
    page->gauge("ac500_broker_backlog_bytes", "Bytes that are held for the broker, in memory and in the store.",
                static_cast<double>(figures.backlogBytes));
}

void addHistogram(const char* kind, const Histogram& histogram, Page* page) {
    for (int bits = kFirstBoundBits; bits <= kLastBoundBits; ++bits) {
        const metrics::Duration bound((std::int64_t{1} << bits) - 1);
        page->line("ac500_latency_seconds_bucket", fmt::format("{{kind=\"{}\",le=\"{}\"}}", kind, seconds(bound)),
                   fmt::format("{}", histogram.countUpTo(bound)));
    }
    page->line("ac500_latency_seconds_bucket", fmt::format("{{kind=\"{}\",le=\"+Inf\"}}", kind),
               fmt::format("{}", histogram.count()));
    page->line("ac500_latency_seconds_sum", fmt::format("{{kind=\"{}\"}}", kind), seconds(histogram.sum()));
    page->line("ac500_latency_seconds_count", fmt::format("{{kind=\"{}\"}}", kind),
               fmt::format("{}", histogram.count()));
}

void addLatencies(const host::Latencies& latencies, Page* page) {
    page->head("ac500_latency_seconds",
               "How long things take: round trips, passes, and writes until their outcome is known.", "histogram");
    for (const LatencyKind kind : host::kLatencyKinds) {
        if (kind != LatencyKind::AgeShown) {  // of a command line: nobody takes values from this session one by one
            addHistogram(host::latencyName(kind), latencies.of(kind), page);
        }
    }
}

}  // namespace

std::string labelText(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\n') {
            escaped += "\\n";
            continue;
        }
        escaped += c == '\\' || c == '"' ? std::string{'\\', c} : std::string{c};
    }
    return escaped;
}

std::string metricsText(const Plant& plant, const DoorFigures& doors) {
    Page page;
    addIdentity(plant, &page);
    addState(plant, &page);
    addExchange(plant.status().statistics, &page);
    addValues(plant, &page);
    page.gauge("ac500_viewers", "Pages that are open.", static_cast<double>(doors.viewers));
    page.gauge("ac500_programs", "Programs at the socket.", static_cast<double>(doors.programs));
    if (doors.broker) {
        addBroker(*doors.broker, &page);
    }
    addLatencies(plant.latencies(), &page);
    return page.take();
}

}  // namespace ac500::gateway
