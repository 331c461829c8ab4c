// TcpTransport is a Transport over a QTcpSocket, used in blocking calls: it needs no event loop, but every call,
// construction and destruction included, must come from one thread. A host name is looked up first, and its addresses are
// tried one after the other.
#ifndef AC500_TOOLS_HOST_TCP_TRANSPORT_H
#define AC500_TOOLS_HOST_TCP_TRANSPORT_H

#include <QtNetwork/QTcpSocket>

#include <deque>
#include <string>

#include "tools/host/name_lookup.h"
#include "tools/host/transport.h"

namespace ac500::host {

class TcpTransport : public Transport {
public:
    // `resolver` is asked for what is no address; see NameLookup for the thread that it is called in.
    explicit TcpTransport(NameLookup::Resolver resolver = addressesOf);
    ~TcpTransport() override;

    void connect(const Endpoint& endpoint) override;
    ConnectResult waitConnected(Milliseconds timeout) override;
    bool send(const QByteArray& bytes) override;
    ReceiveResult receive(Milliseconds timeout) override;
    void close() override;

private:
    ConnectResult waitForName(Milliseconds timeout);
    void tryNextAddress();

    QTcpSocket socket_;
    NameLookup lookup_;
    bool isLookingUp_ = false;
    std::deque<std::string> addresses_;  // not tried yet
    std::uint16_t port_ = 0;
};

}  // namespace ac500::host

#endif
