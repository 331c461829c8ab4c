#include "tests/soak/plc_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <QtCore/QByteArray>

#include <fmt/format.h>

namespace ac500::soak {

namespace {

constexpr int kAnswerMs = 20000;

[[noreturn]] void giveUp(const std::string& what) {
    throw std::runtime_error("the PLC process: " + what + ": " + std::strerror(errno));
}

// A socket that is bound and does not listen keeps the port: connecting is refused, other programs get other ports,
// and a server that shares addresses, as Qt's do, can listen there.
int reserve(std::uint16_t* port) {
    const int file = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (file < 0 || ::setsockopt(file, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        ::bind(file, plain, sizeof address) != 0 || ::getsockname(file, plain, &size) != 0) {
        giveUp("no free port");
    }
    *port = ntohs(address.sin_port);
    return file;
}

}  // namespace

PlcProcess::PlcProcess(std::uint64_t seed, std::int64_t epochNs)
    : seed_(seed), epochNs_(epochNs), reservation_(reserve(&port_)) {
    std::signal(SIGPIPE, SIG_IGN);
}

PlcProcess::~PlcProcess() {
    reap();
    ::close(reservation_);
}

void PlcProcess::start() {
    const std::lock_guard<std::mutex> lock(mutex_);
    spawn();
    ++starts_;
    for (const auto& [area, bytes] : memory_) {
        command(fmt::format("memory {} {}", area, QByteArray::fromStdString(bytes).toHex().constData()));
    }
    command("listen");
}

// Nothing is served between the last look at the memory and the end, as nothing reaches the network after "halt".
void PlcProcess::kill() {
    const std::lock_guard<std::mutex> lock(mutex_);
    command("halt");
    memory_ = dumpNow();
    earlier_ = countsNow();
    reap();
}

void PlcProcess::storm(std::uint64_t seed, int meanMs, int kind) {
    const std::lock_guard<std::mutex> lock(mutex_);
    command(fmt::format("storm {} {} {}", seed, meanMs, kind));
}

void PlcProcess::calm() {
    const std::lock_guard<std::mutex> lock(mutex_);
    command("calm");
}

void PlcProcess::drop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    command("drop");
}

AreaBytes PlcProcess::dump() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return dumpNow();
}

PlcCounts PlcProcess::counts() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return countsNow();
}

std::uint64_t PlcProcess::starts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return starts_;
}

void PlcProcess::spawn() {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
        giveUp("no pipe");
    }
    std::vector<std::string> words = {"ac500-soak", "plc",
                                      "--seed",     std::to_string(seed_),
                                      "--boot",     std::to_string(starts_),
                                      "--port",     std::to_string(port_),
                                      "--epoch",    std::to_string(epochNs_)};
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    const int problem = ::posix_spawn(&id_, "/proc/self/exe", &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    toPlc_ = input[1];
    fromPlc_ = output[0];
    if (problem != 0) {
        id_ = 0;
        errno = problem;
        giveUp("cannot be started");
    }
}

void PlcProcess::reap() {
    if (id_ > 0) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
        ::close(toPlc_);
        ::close(fromPlc_);
        id_ = 0;
    }
    pending_.clear();
}

std::string PlcProcess::ask(const std::string& command) {
    const std::string line = command + "\n";
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = ::write(toPlc_, line.data() + done, line.size() - done);
        if (count <= 0) {
            giveUp("does not listen");
        }
        done += static_cast<std::size_t>(count);
    }
    while (pending_.find('\n') == std::string::npos) {
        pollfd ready{fromPlc_, POLLIN, 0};
        char bytes[65536];
        errno = 0;
        if (::poll(&ready, 1, kAnswerMs) <= 0) {
            giveUp("does not answer \"" + command.substr(0, 40) + "\"");
        }
        const ssize_t count = ::read(fromPlc_, bytes, sizeof bytes);
        if (count <= 0) {
            giveUp("has ended");
        }
        pending_.append(bytes, static_cast<std::size_t>(count));
    }
    const std::size_t end = pending_.find('\n');
    const std::string answer = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return answer;
}

void PlcProcess::command(const std::string& text) {
    const std::string answer = ask(text);
    if (answer != "ok") {
        throw std::runtime_error("the PLC process answers \"" + answer + "\" to " + text.substr(0, 40));
    }
}

AreaBytes PlcProcess::dumpNow() {
    if (id_ == 0) {
        return memory_;
    }
    std::istringstream words(ask("dump"));
    AreaBytes areas;
    int area = 0;
    std::string digits;
    while (words >> area >> digits) {
        areas[area] = QByteArray::fromHex(QByteArray::fromStdString(digits)).toStdString();
    }
    return areas;
}

PlcCounts PlcProcess::countsNow() {
    PlcCounts counts = earlier_;
    if (id_ == 0) {
        return counts;
    }
    std::istringstream words(ask("counters"));
    const auto add = [&words](std::uint64_t* to) {
        std::uint64_t value = 0;
        words >> value;
        *to += value;
    };
    for (std::size_t kind = 1; kind < sim::kFaultKinds; ++kind) {
        add(&counts.faults[kind]);
    }
    add(&counts.requests);
    add(&counts.refused);
    add(&counts.connections);
    return counts;
}

}  // namespace ac500::soak
