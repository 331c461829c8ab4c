#include "tools/host/tcp_transport.h"

#include <QtCore/QDeadlineTimer>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QNetworkProxy>
#include <utility>

namespace ac500::host {

namespace {

// A request is a few hundred bytes: when the kernel cannot take all of it in this time, the peer has stopped reading.
constexpr int kSendTimeoutMs = 1000;

// A peer that sends more at once keeps the rest in the kernel's buffers.
constexpr qint64 kReadBufferBytes = 64 * 1024;

int toInt(Milliseconds time) {
    return static_cast<int>(time.count());
}

}  // namespace

TcpTransport::TcpTransport(NameLookup::Resolver resolver) : lookup_(std::move(resolver)) {
    socket_.setProxy(QNetworkProxy::NoProxy);
    socket_.setReadBufferSize(kReadBufferBytes);
}

TcpTransport::~TcpTransport() {
    close();
}

void TcpTransport::connect(const Endpoint& endpoint) {
    close();
    port_ = endpoint.port;
    if (QHostAddress(QString::fromStdString(endpoint.host)).isNull()) {
        lookup_.start(endpoint.host);
        isLookingUp_ = true;
    } else {
        addresses_ = {endpoint.host};
        tryNextAddress();
    }
}

void TcpTransport::tryNextAddress() {
    const QHostAddress address(QString::fromStdString(addresses_.front()));
    addresses_.pop_front();
    socket_.abort();
    socket_.connectToHost(address, port_);
}

ConnectResult TcpTransport::waitForName(Milliseconds timeout) {
    const std::optional<NameAnswer> answer = lookup_.wait(timeout);
    if (!answer) {
        return {ConnectStatus::InProgress, {}};
    }
    isLookingUp_ = false;
    if (answer->addresses.empty()) {
        return {ConnectStatus::Failed, answer->failure};
    }
    addresses_.assign(answer->addresses.begin(), answer->addresses.end());
    tryNextAddress();
    return {ConnectStatus::InProgress, {}};
}

ConnectResult TcpTransport::waitConnected(Milliseconds timeout) {
    if (isLookingUp_) {
        return waitForName(timeout);
    }
    if (socket_.state() == QAbstractSocket::ConnectedState || socket_.waitForConnected(toInt(timeout))) {
        socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        return {ConnectStatus::Connected, {}};
    }
    if (socket_.error() == QAbstractSocket::SocketTimeoutError &&
        socket_.state() != QAbstractSocket::UnconnectedState) {
        return {ConnectStatus::InProgress, {}};
    }
    if (!addresses_.empty()) {
        tryNextAddress();
        return {ConnectStatus::InProgress, {}};
    }
    return {ConnectStatus::Failed, socket_.errorString().toStdString()};
}

bool TcpTransport::send(const QByteArray& bytes) {
    if (socket_.write(bytes) != bytes.size()) {
        return false;
    }
    // One time limit for all of it: a peer that takes byte after byte gets no more than one that takes none.
    const QDeadlineTimer deadline(kSendTimeoutMs);
    while (socket_.bytesToWrite() > 0) {
        if (!socket_.waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) {
            return false;
        }
    }
    return true;
}

ReceiveResult TcpTransport::receive(Milliseconds timeout) {
    if (socket_.bytesAvailable() == 0) {
        socket_.waitForReadyRead(toInt(timeout));
    }
    const QByteArray bytes = socket_.readAll();
    if (!bytes.isEmpty()) {
        return {ReceiveStatus::Data, bytes, {}};
    }
    if (socket_.state() == QAbstractSocket::ConnectedState) {
        return {ReceiveStatus::TimedOut, {}, {}};
    }
    return {ReceiveStatus::Closed, {}, socket_.errorString().toStdString()};
}

void TcpTransport::close() {
    isLookingUp_ = false;
    addresses_.clear();
    socket_.abort();
}

}  // namespace ac500::host
