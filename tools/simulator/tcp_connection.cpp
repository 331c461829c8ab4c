#include "tools/simulator/tcp_connection.h"

#include <algorithm>
#include <array>
#include <utility>

#include <sys/socket.h>

#include <fmt/format.h>

#include "tools/text/address.h"

namespace ac500::sim {

using events::EventId;

namespace {

constexpr qint64 kReadBufferBytes = 64 * 1024;
constexpr int kRequestsPerTurn = 16;  // then it is the other clients' turn

std::string serviceNameOf(const Exchange& exchange) {
    return wire::serviceName(Service{exchange.serviceCode});
}

bool isData(const Exchange& exchange) {
    const Service service{exchange.serviceCode};
    return service == Service::Read || service == Service::Write;
}

std::string describe(const Exchange& exchange) {
    std::string items = isData(exchange) ? fmt::format(" of {} item(s)", exchange.items) : "";
    if (!exchange.values.empty()) {
        items += " (" + exchange.values + ")";
    }
    return fmt::format("{}{}, reply of {} bytes", serviceNameOf(exchange), items, exchange.replyBytes);
}

std::string describeRefusal(const Exchange& exchange) {
    return fmt::format("request of service 0x{:02X} refused: {} (status 0x{:04X})", exchange.serviceCode,
                       statusText(exchange.status), static_cast<unsigned>(exchange.status));
}

std::string describe(const Fault& fault) {
    const FaultTraits& traits = *faultTraits(fault.kind);
    if (traits.argumentKey == nullptr || fault.argument == 0) {
        return traits.name;
    }
    return fmt::format("{} {}={}", traits.name, traits.argumentKey, fault.argument);
}

}  // namespace

TcpConnection::TcpConnection(TcpServer& server, QTcpSocket* socket, int number)
    : server_(server), socket_(socket), number_(number) {
    socket_->setParent(this);
    socket_->setReadBufferSize(kReadBufferBytes);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket_, &QTcpSocket::readyRead, this, &TcpConnection::takeRequests);
    connect(socket_, &QTcpSocket::disconnected, this, &TcpConnection::ended);
    requestTimer_.setSingleShot(true);
    requestTimer_.setTimerType(Qt::PreciseTimer);
    connect(&requestTimer_, &QTimer::timeout, this, [this] {
        tell(EventId::ClientStalled,
             fmt::format("half a request after {} ms: closed", server_.settings_.limits.requestMs));
        close();
    });
    tell(EventId::ClientConnected,
         "connected from " + text::addressText(socket_->peerAddress().toString().toStdString(), socket_->peerPort()));
}

void TcpConnection::close() {
    socket_->abort();
    ended();
}

void TcpConnection::evict() {
    tell(EventId::ClientEvicted,
         lastGoodMs_ ? "has asked nothing for long: makes room for another" : "never asked: makes room for another");
    close();
}

// Lingering for 0 seconds makes the kernel send a reset instead of an orderly end.
void TcpConnection::reset() {
    const linger noLinger{1, 0};
    ::setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &noLinger, sizeof(noLinger));
    socket_->abort();
    ended();
}

void TcpConnection::takeRequests() {
    if (state_ == State::Draining) {
        socket_->readAll();
    }
    int taken = 0;
    while (taken < kRequestsPerTurn && mayTakeRequest()) {
        Bytes request;
        const FrameSplitter::Result result = splitter_.next(&request);
        if (result != FrameSplitter::Result::NeedMore) {
            requestTimer_.stop();
            handle(result, request);
            ++taken;
        } else if (socket_->bytesAvailable() > 0) {
            readSome();
        } else {
            return watchUnfinishedRequest();
        }
    }
    if (taken == kRequestsPerTurn) {
        scheduleTurn();
    }
}

void TcpConnection::scheduleTurn() {
    if (!turnScheduled_) {
        turnScheduled_ = true;
        QTimer::singleShot(0, this, [this] {
            turnScheduled_ = false;
            takeRequests();
        });
    }
}

bool TcpConnection::mayTakeRequest() const {
    const TcpLimits& limits = server_.settings_.limits;
    return state_ == State::Serving && lateReplies_ < limits.maxLateReplies && lateBytes_ <= limits.maxLateBytes;
}

// Bytes that come later do not give it more time.
void TcpConnection::watchUnfinishedRequest() {
    if (!splitter_.isEmpty() && !requestTimer_.isActive()) {
        requestTimer_.start(server_.settings_.limits.requestMs);
    }
}

void TcpConnection::readSome() {
    std::array<char, 4096> chunk;
    const qint64 wanted = std::min<qint64>(chunk.size(), static_cast<qint64>(splitter_.room()));
    const qint64 got = socket_->read(chunk.data(), wanted);
    splitter_.append(chunk.data(), static_cast<std::size_t>(std::max<qint64>(got, 0)));
}

void TcpConnection::handle(FrameSplitter::Result result, const Bytes& request) {
    switch (result) {
        case FrameSplitter::Result::Frame:
            return start(server_.serve(request));
        case FrameSplitter::Result::BadMagic:
            return start(server_.refuse(Status::BadMagic));
        case FrameSplitter::Result::TooLong:
            return start(server_.refuse(Status::RequestTooLong));
        case FrameSplitter::Result::NeedMore:
            return;
    }
}

void TcpConnection::start(Exchange exchange) {
    tell(exchange);
    if (exchange.status == Status::Good) {
        lastGoodMs_ = server_.settings_.clock();
    }
    if (!exchange.delivery.later.empty()) {
        begin(std::move(exchange.delivery.later), false);
    }
    begin(std::move(exchange.delivery.steps), true);
}

void TcpConnection::begin(std::vector<DeliveryStep> steps, bool inTurn) {
    const auto progress = std::make_shared<Progress>(Progress{std::move(steps), inTurn});
    for (const DeliveryStep& step : progress->steps) {
        progress->bytes += static_cast<std::int64_t>(step.bytes.size());
    }
    if (inTurn) {
        state_ = State::Delivering;
    } else {
        ++lateReplies_;
        lateBytes_ += progress->bytes;
    }
    proceed(progress);
}

void TcpConnection::proceed(const std::shared_ptr<Progress>& progress) {
    while (progress->next < progress->steps.size()) {
        const int delayMs = progress->steps[progress->next].delayMs;
        if (delayMs > 0) {
            return wait(progress, delayMs);
        }
        if (!performNext(*progress)) {
            return;
        }
    }
    finish(*progress);
}

// `this` as context: the timer dies with the connection. A late reply never lands inside a reply of several steps.
void TcpConnection::wait(const std::shared_ptr<Progress>& progress, int delayMs) {
    QTimer::singleShot(delayMs, Qt::PreciseTimer, this, [this, progress] {
        if (!progress->inTurn && midReply_) {
            wait(progress, 1);
        } else if (performNext(*progress)) {
            proceed(progress);
        }
    });
}

void TcpConnection::finish(const Progress& progress) {
    if (progress.inTurn) {
        state_ = State::Serving;
        midReply_ = false;
    } else {
        --lateReplies_;
        lateBytes_ -= progress.bytes;
    }
    // Not at once: this may be called from takeRequests itself.
    scheduleTurn();
}

bool TcpConnection::performNext(Progress& progress) {
    const DeliveryStep& step = progress.steps[progress.next];
    ++progress.next;
    if (progress.inTurn) {
        midReply_ = true;
    }
    return send(step.bytes) && conclude(step.after);
}

bool TcpConnection::send(const Bytes& bytes) {
    if (state_ != State::Serving && state_ != State::Delivering) {
        return false;
    }
    if (bytes.empty()) {
        return true;
    }
    socket_->write(bytes.data(), static_cast<qint64>(bytes.size()));
    socket_->flush();
    if (socket_->bytesToWrite() <= server_.settings_.limits.maxUnsentBytes) {
        return true;
    }
    tell(EventId::ClientStalled, "does not take its replies: reset");
    reset();
    return false;
}

bool TcpConnection::conclude(After after) {
    switch (after) {
        case After::Nothing:
            return true;
        case After::Close:
            beginDraining();
            return false;
        case After::Reset:
            reset();
            return false;
        case After::CloseAll:
            server_.closeAllConnections();
            return false;
    }
    return true;
}

// Closing while bytes of the client are unread would send a reset, which can overtake the refusal just sent. So only
// the own side is closed, and what still comes is thrown away until the client closes too or its time is up.
void TcpConnection::beginDraining() {
    state_ = State::Draining;
    ::shutdown(static_cast<int>(socket_->socketDescriptor()), SHUT_WR);
    socket_->readAll();
    QTimer::singleShot(server_.settings_.limits.drainMs, this, [this] { socket_->abort(); });
}

void TcpConnection::ended() {
    if (state_ == State::Ended) {
        return;
    }
    state_ = State::Ended;
    requestTimer_.stop();
    tell(EventId::ClientDisconnected, "disconnected");
    server_.forget(this);
    deleteLater();
}

void TcpConnection::tell(const Exchange& exchange) const {
    if (exchange.status != Status::Good) {
        return tell(EventId::RequestRefused, describeRefusal(exchange));
    }
    tell(EventId::RequestAnswered, describe(exchange));
    if (exchange.program != 0) {
        tell(EventId::ProgramLoaded, fmt::format("program {} is loaded", exchange.program));
    }
    if (exchange.fault.kind != FaultKind::None) {
        tell(EventId::FaultApplied, "fault " + describe(exchange.fault) + " on a reply to " + serviceNameOf(exchange));
    }
}

void TcpConnection::tell(EventId event, const std::string& text) const {
    server_.tell({event, number_, text});
}

}  // namespace ac500::sim
