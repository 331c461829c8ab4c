// How long the driver holds its locks at a time, as a thread sees it that asks for them all the while. Prints
// microseconds of the holder's processor time, which does not grow while other programs have the processor:
//
//   list_first, list_later     the longest hold of the list lock by a rebuild of TAGS tags: by the first rebuild since
//                              the symbols were handed over; by a later one, the median of many
//   image_first, image_later   the longest hold of the image lock while a cycle's replies are stored: in the first
//                              cycle; in a later one, the median of many
//
// Needs two processors that are mostly idle: when the system took the processor from the thread that asks while the lock
// was held, it may see the end late. What is not certain then is measured again; the first of anything cannot be, so the
// program ends with 3. With "at-most" it prints the most that a hold may have lasted instead.
//
//   hold_bench TAGS [at-most]
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "hold_bench: %s\n", what);
        std::exit(1);
    }
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kToleratedUs = 10;
constexpr double kLongLookUs = 3;  // a look takes less unless the processor was taken away
constexpr std::size_t kLaterTimes = 15;
constexpr int kMostTimes = 100;

double cpuMicroseconds(clockid_t clock) {
    timespec now = timespec();
    require(clock_gettime(clock, &now) == 0, "no processor time clock");
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

long involuntarySwitches() {
    rusage usage = rusage();
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

struct LongestHold {
    double us = 0;
    double possiblyUs = 0;  // a hold whose end may have been seen late lasted this long at most

    bool isCertain() const { return possiblyUs <= us + kToleratedUs; }
    double atMost() const { return std::max(us, possiblyUs); }
};

// Asks for the lock from a thread of its own.
class Prober {
public:
    Prober(QMutex& lock, pthread_t holder) : lock_(lock) {
        require(pthread_getcpuclockid(holder, &clock_) == 0, "no clock of the other thread");
        thread_ = std::thread([this] { probe(); });
        while (!running_) {
            std::this_thread::yield();
        }
    }

    LongestHold finish() {
        stop_ = true;
        thread_.join();
        return longest_;
    }

private:
    void probe() {
        const sched_param first = {1};
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &first);  // before other programs, where that is allowed
        running_ = true;
        for (Clock::time_point last = Clock::now(); !stop_;) {
            if (lock_.tryLock()) {
                lock_.unlock();
                pause();
                noteGap(last);
                continue;
            }
            const long switches = involuntarySwitches();
            const double started = cpuMicroseconds(clock_);
            while (!lock_.tryLock()) {
            }
            lock_.unlock();
            const double held = cpuMicroseconds(clock_) - started;
            double& longest = involuntarySwitches() == switches ? longest_.us : longest_.possiblyUs;
            longest = std::max(longest, held);
            last = Clock::now();
        }
    }

    // Between two looks that both find the lock free it may have been held for a moment.
    void noteGap(Clock::time_point& last) {
        const Clock::time_point now = Clock::now();
        const double gap = std::chrono::duration<double, std::micro>(now - last).count();
        double& longest = gap < kLongLookUs ? longest_.us : longest_.possiblyUs;
        longest = std::max(longest, gap);
        last = now;
    }

    // So that the lock is mostly free when the driver wants it.
    static void pause() {
        for (volatile int i = 0; i < 60;) {
            i = i + 1;
        }
    }

    QMutex& lock_;
    clockid_t clock_ = clockid_t();
    std::thread thread_;
    std::atomic<bool> running_{false};
    std::atomic<bool> stop_{false};
    LongestHold longest_;
};

LongestHold longestHold(QMutex& lock, const std::function<void()>& work) {
    Prober prober(lock, pthread_self());
    work();
    return prober.finish();
}

// The work may be done many times: a figure of the first and the median of the later ones.
void printHolds(const char* name, QMutex& lock, bool atMost, const std::function<void()>& work) {
    const LongestHold first = longestHold(lock, work);
    if (!atMost && !first.isCertain()) {
        std::fprintf(stderr, "hold_bench: the processor was taken away meanwhile (%.0f us or more, %.0f at most)\n",
                     first.us, first.possiblyUs);
        std::exit(3);
    }
    std::printf("%s_first %.1f\n", name, atMost ? first.atMost() : first.us);
    std::vector<double> later;
    for (int i = 0; i < kMostTimes && later.size() < kLaterTimes; ++i) {
        const LongestHold longest = longestHold(lock, work);
        if (atMost || longest.isCertain()) {
            later.push_back(atMost ? longest.atMost() : longest.us);
        }
    }
    if (later.empty()) {
        std::fprintf(stderr, "hold_bench: the processor was taken away again and again\n");
        std::exit(3);
    }
    std::sort(later.begin(), later.end());
    std::printf("%s_later %.1f\n", name, later[later.size() / 2]);
}

void measure(int tags, bool atMost) {
    const Corpus corpus = makeCorpus(Layout::TwentyScopes, tags);
    startDriver();
    QList<Label_Type_Info> symbols = corpus.symbols;
    PassVarName_2(&symbols);
    QList<HostTag> list = hostTags(inOrder(corpus.tags, Order::Random));
    int requests = 0;
    printHolds("list", PLC_driver.listMutex, atMost, [&] { requests = ReCreatReadVarList(&list); });
    require(requests > 0 && requests == PLC_driver.readList.size(), "the list was not rebuilt");

    TinyPlc plc(corpus.areaBytes);
    const Exchange exchange = [&](const QByteArray& request) {
        const std::string& reply = plc.answer(request.constData(), request.size());
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    };
    openSession(exchange);
    printHolds("image", PLC_driver.localAreaMutex, atMost, [&] {
        for (int read = 0; read < requests;) {
            const QByteArray request = ComCommunication()->frame;
            QByteArray reply = exchange(request);
            DataCom(&reply, reply.size());
            require(DataCom(&reply, reply.size())->status == 1, "a reply was not taken");
            read += itemCount(request);
        }
    });
    std::vector<CorpusTag> tagsRead = corpus.tags;
    requireReadable(tagsRead, 0);
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    const bool atMost = argc == 3 && std::strcmp(argv[2], "at-most") == 0;
    ac500::bench::require(argc == 2 || atMost, "usage: hold_bench TAGS [at-most]");
    ac500::bench::measure(std::atoi(argv[1]), atMost);
}
