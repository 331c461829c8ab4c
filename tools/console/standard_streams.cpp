#include "tools/console/standard_streams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

namespace ac500::console {

namespace {

constexpr std::size_t kMostKept = 64 * 1024;

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1 || errno != EBADF;
}

// Nothing can be written to what is opened for reading.
void occupy(int descriptor) {
    const int opened = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (opened >= 0 && opened != descriptor) {
        ::dup2(opened, descriptor);
        ::close(opened);
    }
}

// A message may wait so long for a reader; one after it that waited in vain, not at all.
constexpr int kPatienceWithReaderMs = 1000;
constexpr int kWithoutEnd = -1;

// Writes all of it, unless a reader takes nothing for `patienceMs`: EAGAIN. What went wrong, as an errno; 0 for nothing.
// Waiting is left to poll(), which a signal ends in any case: a write() that has written a part already goes on after it.
// A pipe that can be written to takes PIPE_BUF bytes at once.
int writeAll(int descriptor, std::string_view text, int patienceMs) {
    while (!text.empty()) {
        pollfd writable{descriptor, POLLOUT, 0};
        const int ready = ::poll(&writable, 1, patienceMs);
        if (ready <= 0) {
            return ready == 0 ? EAGAIN : errno;
        }
        const ssize_t written = ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EAGAIN) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

void prepareStandardStreams() {
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignored, nullptr);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (!isOpen(descriptor)) {
            occupy(descriptor);
        }
    }
}

void Output::write(std::string_view text) {
    if (!isGood()) {
        return;
    }
    kept_ += text;
    if (kept_.size() >= kMostKept) {
        flush();
    }
}

void Output::flush() {
    if (isGood()) {
        error_ = writeAll(descriptor_, kept_, kWithoutEnd);
    }
    kept_.clear();
}

void Output::lookForReader() {
    pollfd reader{descriptor_, 0, 0};
    if (isGood() && ::poll(&reader, 1, 0) == 1 && (reader.revents & POLLERR) != 0) {
        error_ = EPIPE;
    }
}

bool Output::isReaderGone() const {
    return error_ == EPIPE;
}

bool Output::wasInterrupted() const {
    return error_ == EINTR;
}

std::string Output::failure() const {
    return std::strerror(error_);
}

Output& standardOutput() {
    static Output output(STDOUT_FILENO);
    return output;
}

void tell(std::string_view text) {
    static std::atomic<bool> isStuck(false);
    isStuck = writeAll(STDERR_FILENO, text, isStuck ? 0 : kPatienceWithReaderMs) == EAGAIN;
}

}  // namespace ac500::console
