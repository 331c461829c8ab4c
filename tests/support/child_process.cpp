#include "tests/support/child_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ac500::test {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kCannotRun = 127;  // as a shell reports it

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

bool open(Pipe* pipe) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    *pipe = {ends[0], ends[1]};
    return true;
}

[[noreturn]] void become(char* const* arguments, int output, int errors) {
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    ::execvp(arguments[0], arguments);
    ::_exit(kCannotRun);
}

}  // namespace

ChildProcess::~ChildProcess() {
    if (isRunning()) {
        sendSignal(SIGKILL);
        reap(0);
    }
    close(output_);
    close(errors_);
}

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<char*> texts{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        texts.push_back(const_cast<char*>(argument.c_str()));
    }
    texts.push_back(nullptr);

    Pipe output;
    Pipe errors;
    if (!open(&output) || !open(&errors)) {
        return false;
    }
    close(output_);
    close(errors_);
    id_ = ::fork();
    if (id_ == 0) {
        become(texts.data(), output.writeEnd, errors.writeEnd);
    }
    ::close(output.writeEnd);
    ::close(errors.writeEnd);
    output_ = {output.readEnd, {}};
    errors_ = {errors.readEnd, {}};
    exitCode_ = -1;
    return id_ > 0;
}

bool ChildProcess::sendSignal(int number) {
    return id_ > 0 && ::kill(id_, number) == 0;  // 0 and -1 mean whole groups of processes
}

bool ChildProcess::waitForOutput(int milliseconds) {
    return collect(Clock::now() + std::chrono::milliseconds(milliseconds));
}

std::string ChildProcess::takeLine(int milliseconds) {
    const Deadline deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (output_.text.find('\n') == std::string::npos && collect(deadline)) {
    }
    const std::size_t end = std::min(output_.text.find('\n'), output_.text.size());
    const std::string line = output_.text.substr(0, end);
    output_.text.erase(0, end + 1);
    return line;
}

bool ChildProcess::waitForEnd(int milliseconds) {
    const Deadline deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (collect(deadline)) {
    }
    while (isRunning()) {
        reap(WNOHANG);
        if (isRunning() && Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Reads once from each stream that has something. False: both have ended, or the time is over.
bool ChildProcess::collect(Deadline deadline) {
    pollfd ready[] = {{output_.descriptor, POLLIN, 0}, {errors_.descriptor, POLLIN, 0}};
    if (output_.descriptor < 0 && errors_.descriptor < 0) {
        return false;
    }
    const int count = ::poll(ready, 2, millisecondsUntil(deadline));
    if (count < 0) {
        return errno == EINTR;
    }
    if (ready[0].revents != 0) {
        readInto(output_);
    }
    if (ready[1].revents != 0) {
        readInto(errors_);
    }
    return count > 0;
}

void ChildProcess::readInto(Stream& stream) {
    char bytes[4096];
    const ssize_t count = ::read(stream.descriptor, bytes, sizeof bytes);
    if (count > 0) {
        stream.text.append(bytes, static_cast<std::size_t>(count));
    } else {
        close(stream);
    }
}

void ChildProcess::close(Stream& stream) {
    if (stream.descriptor >= 0) {
        ::close(stream.descriptor);
        stream.descriptor = -1;
    }
}

void ChildProcess::reap(int options) {
    int status = 0;
    if (::waitpid(id_, &status, options) == id_) {
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        id_ = 0;
    }
}

}  // namespace ac500::test
