// ExchangeLog remembers what the host sent and when: from it follows how old a value may be, and where requests began
// and ended. A host sends one request at a time, so the reply that arrived at a time answers the last request before.
// Every function may be called from any thread.
#ifndef AC500_TESTS_SOAK_EXCHANGE_LOG_H
#define AC500_TESTS_SOAK_EXCHANGE_LOG_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/soak/tag_shape.h"
#include "tools/host/transport.h"

namespace ac500::soak {

struct Sending {
    std::int64_t frame = 0;  // from 1, over all connections; 0: none is known
    host::Time at{0};
};

class ExchangeLog {
public:
    ExchangeLog() : sendings_(kKept) {}

    void sent(const QByteArray& frame, host::Time now);

    // The latest sending at or before the time. One that is older than the last kKept is not known any more.
    Sending lastBefore(host::Time time) const;

    std::int64_t frames() const;
    Seams seams() const;
    // Changes whenever a seam is added.
    std::size_t seamCount() const;

    static constexpr std::size_t kKept = 1U << 16;

private:
    mutable std::mutex mutex_;
    std::vector<Sending> sendings_;  // a ring
    std::int64_t frames_ = 0;
    Seams seams_;
    std::size_t seamCount_ = 0;
};

// A transport that tells the log what it sends.
class LoggedTransport : public host::Transport {
public:
    // `log` and `clock` must outlive it.
    LoggedTransport(std::unique_ptr<host::Transport> inner, ExchangeLog& log, const host::Clock& clock)
        : inner_(std::move(inner)), log_(log), clock_(clock) {}

    void connect(const host::Endpoint& endpoint) override { inner_->connect(endpoint); }
    host::ConnectResult waitConnected(host::Milliseconds timeout) override { return inner_->waitConnected(timeout); }
    bool send(const QByteArray& bytes) override {
        log_.sent(bytes, clock_.now());
        return inner_->send(bytes);
    }
    host::ReceiveResult receive(host::Milliseconds timeout) override { return inner_->receive(timeout); }
    void close() override { inner_->close(); }

private:
    std::unique_ptr<host::Transport> inner_;
    ExchangeLog& log_;
    const host::Clock& clock_;
};

}  // namespace ac500::soak

#endif
