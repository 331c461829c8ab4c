// TcpTransport is a Transport over a QTcpSocket, used in blocking calls: it needs no event loop, but every call,
// construction and destruction included, must come from one thread.
#ifndef AC500_TOOLS_HOST_TCP_TRANSPORT_H
#define AC500_TOOLS_HOST_TCP_TRANSPORT_H

#include <QtNetwork/QTcpSocket>

#include "tools/host/transport.h"

namespace ac500::host {

class TcpTransport : public Transport {
public:
    TcpTransport();
    ~TcpTransport() override;

    void connect(const Endpoint& endpoint) override;
    ConnectResult waitConnected(Milliseconds timeout) override;
    bool send(const QByteArray& bytes) override;
    ReceiveResult receive(Milliseconds timeout) override;
    void close() override;

private:
    QTcpSocket socket_;
};

}  // namespace ac500::host

#endif
