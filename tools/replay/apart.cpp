#include "tools/replay/apart.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace ac500::replay {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kGlanceMs = 20;

// A page that both processes see.
class SharedCounter {
public:
    SharedCounter()
        : memory_(::mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
    ~SharedCounter() {
        if (isThere()) {
            ::munmap(memory_, sizeof(std::uint64_t));
        }
    }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;

    bool isThere() const { return memory_ != MAP_FAILED; }
    Progress progress() const { return Progress(static_cast<volatile std::uint64_t*>(memory_)); }

private:
    void* memory_;
};

void writeAll(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
}

// Takes what there is. False: that was all.
bool readSome(int descriptor, std::string* text) {
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count > 0) {
        text->append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

[[noreturn]] void workAndEnd(int output, const std::function<std::string(Progress&)>& work, Progress progress) {
    writeAll(output, work(progress));
    ::_exit(0);
}

}  // namespace

std::string signalName(int number) {
    const char* name = ::sigabbrev_np(number);
    return name == nullptr ? "signal " + std::to_string(number) : std::string("SIG") + name;
}

ApartEnd runApart(const std::function<std::string(Progress&)>& work, std::optional<std::chrono::milliseconds> limit,
                  const std::function<void(std::uint64_t)>& watch) {
    ApartEnd end;
    const SharedCounter counter;
    std::array<int, 2> ends;
    if (!counter.isThere() || ::pipe(ends.data()) != 0) {
        return end;
    }
    const Clock::time_point began = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody else waits for it
        ::close(ends[0]);
        workAndEnd(ends[1], work, counter.progress());
    }
    ::close(ends[1]);
    bool isOver = false;
    for (bool isMore = child > 0; isMore && !isOver;) {
        pollfd ready{ends[0], POLLIN, 0};
        const int events = ::poll(&ready, 1, kGlanceMs);
        if (watch) {
            watch(counter.progress().get());
        }
        isMore = events <= 0 || readSome(ends[0], &end.result);
        isOver = isMore && limit && Clock::now() - began >= *limit;
    }
    ::close(ends[0]);
    if (child < 0) {
        return end;
    }
    if (isOver) {
        ::kill(child, SIGKILL);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    end.step = counter.progress().get();
    end.kind = isOver ? ApartEnd::Kind::TimeOut : WIFSIGNALED(status) ? ApartEnd::Kind::Signal : ApartEnd::Kind::Done;
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return end;
}

}  // namespace ac500::replay
