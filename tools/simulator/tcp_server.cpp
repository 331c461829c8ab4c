#include "tools/simulator/tcp_server.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <tuple>
#include <utility>

#include <sys/socket.h>

#include <QtNetwork/QNetworkProxy>

#include "tools/simulator/tcp_connection.h"

namespace ac500::sim {

using events::EventId;

namespace {

constexpr int kTickMs = 100;

}  // namespace

Clock steadyClock() {
    return [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::int64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    };
}

TcpServer::TcpServer(PlcModel& model, std::mutex& modelMutex, TcpSettings settings)
    : model_(model),
      modelMutex_(modelMutex),
      settings_(std::move(settings)),
      startMs_(settings_.clock()),
      server_(this),
      ticker_(this) {
    server_.setProxy(QNetworkProxy::NoProxy);
    connect(&server_, &QTcpServer::newConnection, this, &TcpServer::acceptPending);
    connect(&ticker_, &QTimer::timeout, this, &TcpServer::advance);
}

TcpServer::~TcpServer() {
    close();
}

bool TcpServer::listen(const QHostAddress& address, quint16 port, std::string* error) {
    if (!server_.listen(address, port)) {
        *error = server_.errorString().toStdString();
        return false;
    }
    // Qt asks for a backlog of 50; a larger burst would wait for the kernel's retries, a second and more.
    ::listen(static_cast<int>(server_.socketDescriptor()), SOMAXCONN);
    ticker_.start(kTickMs);
    return true;
}

// The map changes while connections end.
void TcpServer::closeAllConnections() {
    const std::map<TcpConnection*, int> connections = connections_;
    for (const auto& entry : connections) {
        entry.first->close();
    }
}

void TcpServer::close() {
    ticker_.stop();
    server_.close();
    closeAllConnections();
    while (!connections_.empty()) {
        connections_.begin()->first->reset();
    }
}

void TcpServer::acceptPending() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        accept(socket);
    }
}

void TcpServer::accept(QTcpSocket* socket) {
    if (!makeRoom()) {
        tell({EventId::ClientTurnedAway, 0,
              "a connection is closed at once: there are " + std::to_string(connections_.size()) +
                  " clients already, and all of them ask"});
        socket->abort();
        socket->deleteLater();
        return;
    }
    {
        const std::lock_guard<std::mutex> guard(modelMutex_);
        model_.connectionOpened();
    }
    ++lastNumber_;
    auto* connection = new TcpConnection(*this, socket, lastNumber_);
    connection->setParent(this);
    connections_.emplace(connection, lastNumber_);
}

// False: all clients keep their places.
bool TcpServer::makeRoom() {
    if (static_cast<int>(connections_.size()) < settings_.limits.maxClients) {
        return true;
    }
    TcpConnection* const evicted = clientToEvict();
    if (evicted == nullptr) {
        return false;
    }
    evicted->evict();
    return true;
}

// Null: all clients have asked something good within the idle time.
TcpConnection* TcpServer::clientToEvict() const {
    const auto isBefore = [](const auto& a, const auto& b) {
        const auto rank = [](const auto& entry) {
            return std::make_tuple(entry.first->lastGoodMs().has_value(), entry.first->lastGoodMs(), entry.second);
        };
        return rank(a) < rank(b);
    };
    const auto first = std::min_element(connections_.begin(), connections_.end(), isBefore);
    if (first == connections_.end()) {
        return nullptr;
    }
    const std::optional<std::int64_t> lastGoodMs = first->first->lastGoodMs();
    const bool mayGo = !lastGoodMs || settings_.clock() - *lastGoodMs >= settings_.limits.idleMs;
    return mayGo ? first->first : nullptr;
}

void TcpServer::forget(TcpConnection* connection) {
    connections_.erase(connection);
}

Exchange TcpServer::serve(const Bytes& request) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    model_.advance(settings_.clock() - startMs_);
    Exchange exchange = model_.serve(request);
    for (std::vector<DeliveryStep>* steps : {&exchange.delivery.steps, &exchange.delivery.later}) {
        if (!steps->empty()) {
            steps->front().delayMs += workMs_;
        }
    }
    return exchange;
}

void TcpServer::load(int program) {
    {
        const std::lock_guard<std::mutex> guard(modelMutex_);
        model_.load(program);
    }
    tell({EventId::ProgramLoaded, 0, "program " + std::to_string(program) + " is loaded"});
}

Exchange TcpServer::refuse(Status status) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return model_.refuse(status);
}

void TcpServer::advance() {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    model_.advance(settings_.clock() - startMs_);
}

void TcpServer::tell(const SimulatorEvent& event) const {
    if (settings_.events) {
        settings_.events(event);
    }
}

}  // namespace ac500::sim
