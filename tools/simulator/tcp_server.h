// TcpServer puts a PlcModel on the network: it accepts connections, cuts requests out of the streams, and carries out
// the deliveries that the model answers with. It decides nothing about answers or faults.
//
// Lives in one thread with a Qt event loop; every function is to be called from that thread. The model is shared: each
// use of it happens under the lock that the caller handed in.
//
// Hostile clients cost bounded memory: per connection at most one unfinished request, one socket read buffer,
// maxUnsentBytes of replies and maxLateBytes of late ones, each exceeded by one reply at most; requests behind an
// unfinished delivery wait in the client's own send buffer. And they cost the others no service: see TcpLimits.
#ifndef AC500_TOOLS_SIMULATOR_TCP_SERVER_H
#define AC500_TOOLS_SIMULATOR_TCP_SERVER_H

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpServer>

#include "tools/events/event_table.h"
#include "tools/simulator/plc_model.h"
#include "tools/simulator/tcp_limits.h"

namespace ac500::sim {

// Milliseconds, never going backwards; where 0 lies does not matter.
using Clock = std::function<std::int64_t()>;
Clock steadyClock();

// Something that happened; tools/events/event_table.h has the ids and their levels.
struct SimulatorEvent {
    events::EventId event = events::EventId::ClientConnected;
    int client = 0;  // which it is about, from 1; 0: none
    std::string text;
};
using EventSink = std::function<void(const SimulatorEvent&)>;

struct TcpSettings {
    TcpLimits limits;
    Clock clock = steadyClock();
    EventSink events;  // null: nothing is told
};

class TcpConnection;

class TcpServer : public QObject {
public:
    // `model` and `modelMutex` must outlive the server. The model's time starts now.
    TcpServer(PlcModel& model, std::mutex& modelMutex, TcpSettings settings);
    ~TcpServer() override;

    // False, and `*error` says why, when the address cannot be listened on. Port 0 picks a free one.
    bool listen(const QHostAddress& address, quint16 port, std::string* error);

    quint16 port() const { return server_.serverPort(); }
    QHostAddress address() const { return server_.serverAddress(); }

    void closeAllConnections();

    // A download (PlcModel::load). REQUIRES: there is such a program
    void load(int program);

    // From now on every answer comes so much later; the next request of its connection waits. 0 at first.
    void setWorkMs(int workMs) { workMs_ = workMs; }

    // Stops listening and closes everything; nothing is served afterwards.
    void close();

private:
    friend class TcpConnection;

    void acceptPending();
    void accept(QTcpSocket* socket);
    bool makeRoom();
    TcpConnection* clientToEvict() const;
    void forget(TcpConnection* connection);
    Exchange serve(const Bytes& request);
    Exchange refuse(Status status);
    void advance();
    void tell(const SimulatorEvent& event) const;

    PlcModel& model_;         // modelMutex_
    std::mutex& modelMutex_;  // held for single calls only, never while sending
    const TcpSettings settings_;
    const std::int64_t startMs_;
    QTcpServer server_;
    QTimer ticker_;                              // keeps signals near the time while nobody asks
    std::map<TcpConnection*, int> connections_;  // to their numbers, from 1, for log lines
    int lastNumber_ = 0;
    int workMs_ = 0;
};

}  // namespace ac500::sim

#endif
