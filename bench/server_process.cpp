#include "bench/server_process.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "bench/workload.h"

namespace ac500::bench {

namespace {

std::string besideThisProgram(const char* name) {
    std::array<char, 4096> path;
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    require(length > 0, "cannot tell where this program stands");
    const std::string self(path.data(), static_cast<std::size_t>(length));
    return self.substr(0, self.rfind('/') + 1) + name;
}

}  // namespace

ServerProcess::ServerProcess(const std::string& kind, int areaBytes) {
    const std::string program = besideThisProgram("bench_server");
    const std::string bytes = std::to_string(areaBytes);
    int ends[2];
    require(pipe(ends) == 0, "no pipe to the server");
    process_ = fork();
    require(process_ >= 0, "cannot start the server");
    if (process_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl(program.c_str(), program.c_str(), kind.c_str(), bytes.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::FILE* output = fdopen(ends[0], "r");
    require(output != nullptr && std::fscanf(output, "%d", &port_) == 1, "the server did not come up");
    std::fclose(output);
}

ServerProcess::~ServerProcess() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
}

BlockingSocket::BlockingSocket(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = sockaddr_in();
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int on = 1;
    require(socket_ >= 0 && connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0,
            "cannot connect to the server");
}

BlockingSocket::~BlockingSocket() {
    close(socket_);
}

void BlockingSocket::send(const char* bytes, int size) {
    require(::send(socket_, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) == size, "the server does not read");
}

int BlockingSocket::receive(char* bytes, int room) {
    const ssize_t count = recv(socket_, bytes, static_cast<std::size_t>(room), 0);
    require(count > 0, "the server has gone");
    return static_cast<int>(count);
}

}  // namespace ac500::bench
