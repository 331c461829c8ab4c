// Starts bench_server, which stands beside this program, and ends it.
#ifndef AC500_BENCH_SERVER_PROCESS_H
#define AC500_BENCH_SERVER_PROCESS_H

#include <string>

#include <sys/types.h>

namespace ac500::bench {

class ServerProcess {
public:
    // `kind` as on the command line of bench_server. Ends the program when the server does not come up.
    ServerProcess(const std::string& kind, int areaBytes);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // On 127.0.0.1.
    int port() const { return port_; }

private:
    pid_t process_;
    int port_ = 0;
};

// A connected TCP socket, blocking, without Nagle's delay.
class BlockingSocket {
public:
    explicit BlockingSocket(int port);
    ~BlockingSocket();
    BlockingSocket(const BlockingSocket&) = delete;
    BlockingSocket& operator=(const BlockingSocket&) = delete;

    void send(const char* bytes, int size);
    // At least one byte; returns how many.
    int receive(char* bytes, int room);

private:
    int socket_;
};

}  // namespace ac500::bench

#endif
