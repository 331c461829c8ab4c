#include "tools/host/transport_recorder.h"

#include <utility>

namespace ac500::host {

using record::ConnectionStep;

void TransportRecorder::record(ConnectionStep step, record::Bytes bytes, const std::string& text) {
    recorder_.add(recorder_.now(), record::Connection{step, std::move(bytes), text});
}

void TransportRecorder::connect(const Endpoint& endpoint) {
    record(ConnectionStep::Connecting, {}, endpoint.text());
    isOpen_ = true;
    transport_->connect(endpoint);
}

ConnectResult TransportRecorder::waitConnected(Milliseconds timeout) {
    ConnectResult result = transport_->waitConnected(timeout);
    if (result.status == ConnectStatus::Connected) {
        record(ConnectionStep::Connected, {}, {});
    } else if (result.status == ConnectStatus::Failed) {
        record(ConnectionStep::NotConnected, {}, result.reason);
        isOpen_ = false;
    }
    return result;
}

// Told before it is done: what the PLC answers comes after it.
bool TransportRecorder::send(const QByteArray& bytes) {
    record(ConnectionStep::Sent, bytes.toStdString(), {});
    const bool isSent = transport_->send(bytes);
    if (!isSent) {
        record(ConnectionStep::SendFailed, bytes.toStdString(), {});
    }
    return isSent;
}

ReceiveResult TransportRecorder::receive(Milliseconds timeout) {
    ReceiveResult result = transport_->receive(timeout);
    if (result.status == ReceiveStatus::Data) {
        record(ConnectionStep::Received, result.bytes.toStdString(), {});
    } else if (result.status == ReceiveStatus::Closed && isOpen_) {
        record(ConnectionStep::Ended, {}, result.reason);
        isOpen_ = false;
    }
    return result;
}

void TransportRecorder::close() {
    if (isOpen_) {
        record(ConnectionStep::Closed, {}, {});
        isOpen_ = false;
    }
    transport_->close();
}

}  // namespace ac500::host
