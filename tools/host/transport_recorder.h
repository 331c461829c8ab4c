// TransportRecorder stands between a host and its connection and records what goes over it: also what the driver is never
// handed, such as bytes that nobody asked for.
#ifndef AC500_TOOLS_HOST_TRANSPORT_RECORDER_H
#define AC500_TOOLS_HOST_TRANSPORT_RECORDER_H

#include <memory>

#include "tools/host/transport.h"
#include "tools/record/flight_recorder.h"

namespace ac500::host {

class TransportRecorder : public Transport {
public:
    // `recorder` must outlive this.
    TransportRecorder(std::unique_ptr<Transport> transport, record::FlightRecorder& recorder)
        : transport_(std::move(transport)), recorder_(recorder) {}

    void connect(const Endpoint& endpoint) override;
    ConnectResult waitConnected(Milliseconds timeout) override;
    bool send(const QByteArray& bytes) override;
    ReceiveResult receive(Milliseconds timeout) override;
    void close() override;

private:
    void record(record::ConnectionStep step, record::Bytes bytes, const std::string& text);

    const std::unique_ptr<Transport> transport_;
    record::FlightRecorder& recorder_;
    bool isOpen_ = false;  // or being opened
};

}  // namespace ac500::host

#endif
