// One client of TcpServer. Takes one request at a time: the next is looked at when the delivery of the one before has
// ended, but for what may be overtaken. Deletes itself when the connection has ended.
#ifndef AC500_TOOLS_SIMULATOR_TCP_CONNECTION_H
#define AC500_TOOLS_SIMULATOR_TCP_CONNECTION_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include "tools/simulator/frame_splitter.h"
#include "tools/simulator/tcp_server.h"

namespace ac500::sim {

class TcpConnection : public QObject {
public:
    // Takes the socket over. `server` must outlive the connection.
    TcpConnection(TcpServer& server, QTcpSocket* socket, int number);

    // Ends the connection at once; what was not sent yet is dropped.
    void close();

    // Ends the connection with a reset.
    void reset();

    // The same as close(), to make room for another client.
    void evict();

    // When the last request came that was not refused, by the server's clock; nothing before the first.
    std::optional<std::int64_t> lastGoodMs() const { return lastGoodMs_; }

private:
    // What the connection is doing with what comes in.
    enum class State {
        Serving,     // requests are taken
        Delivering,  // a delivery is under way, requests wait
        Draining,    // all is sent; what comes in is thrown away
        Ended,
    };

    // Steps on their way; kept alive by the timer of the next one.
    struct Progress {
        std::vector<DeliveryStep> steps;
        bool inTurn;
        std::size_t next = 0;
        std::int64_t bytes = 0;
    };

    void takeRequests();
    void scheduleTurn();
    bool mayTakeRequest() const;
    void readSome();
    void watchUnfinishedRequest();
    void handle(FrameSplitter::Result result, const Bytes& request);
    void start(Exchange exchange);
    void begin(std::vector<DeliveryStep> steps, bool inTurn);
    void proceed(const std::shared_ptr<Progress>& progress);
    void wait(const std::shared_ptr<Progress>& progress, int delayMs);
    void finish(const Progress& progress);
    // These three: false when the connection ended or is about to.
    bool performNext(Progress& progress);
    bool send(const Bytes& bytes);
    bool conclude(After after);
    void beginDraining();
    void ended();
    void tell(const Exchange& exchange) const;
    void tell(events::EventId event, const std::string& text) const;

    TcpServer& server_;
    QTcpSocket* const socket_;  // child
    const int number_;
    State state_ = State::Serving;
    int lateReplies_ = 0;
    std::int64_t lateBytes_ = 0;
    std::optional<std::int64_t> lastGoodMs_;
    bool turnScheduled_ = false;
    bool midReply_ = false;  // the delivery under way has sent some of its steps, not all
    FrameSplitter splitter_;
    QTimer requestTimer_;  // runs while there is an unfinished request, since its first byte
};

}  // namespace ac500::sim

#endif
