// The longest time that a thread of the host waits for another: in GetRegisterData while replies are stored, and in
// SetRegisterData while the cyclic list of 10,000 tags is rebuilt. Prints "name microseconds" per figure:
//
//   read_wait, write_wait            longest wait, in processor time of the thread that holds things up (see waitOf)
//   read_wait_wall, write_wait_wall  longest call by the clock, with whatever else the machine did meanwhile
//
// Needs two processors: on one, a thread waits for its turn and not for a lock.
#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include <QtCore/QMutexLocker>

#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "wait_bench: %s\n", what);
        std::exit(1);
    }
}

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kTags = 10000;
constexpr int kReplies = 4000;
constexpr int kRebuilds = 400;

// One piece of work of the thread that others may have to wait for.
struct Hold {
    Clock::time_point started;
    Clock::time_point ended;
    double cpuAtEnd;  // processor time of the holding thread, microseconds
};

struct Call {
    Clock::time_point started;
    Clock::time_point ended;
    double holderCpuAtStart;
    double holderCpuAtEnd;
    double ownCpu;
    bool interrupted;  // the system took the processor from the calling thread although it had work to do
};

long involuntarySwitches() {
    rusage usage = rusage();
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

double cpuMicroseconds(clockid_t clock) {
    timespec now = timespec();
    require(clock_gettime(clock, &now) == 0, "no processor time clock");
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

Call timed(clockid_t holder, const std::function<void()>& work) {
    Call call = Call();
    const long switches = involuntarySwitches();
    const double own = cpuMicroseconds(CLOCK_THREAD_CPUTIME_ID);
    call.holderCpuAtStart = cpuMicroseconds(holder);
    call.started = Clock::now();
    work();
    call.ended = Clock::now();
    call.holderCpuAtEnd = cpuMicroseconds(holder);
    call.ownCpu = cpuMicroseconds(CLOCK_THREAD_CPUTIME_ID) - own;
    call.interrupted = involuntarySwitches() != switches;
    return call;
}

// A call waits at most until the work that it met is done. That work is counted in processor time of its thread, which
// does not grow while other programs have the processor.
double waitOf(const Call& call, const Hold& met) {
    const double untilDone = std::min(call.holderCpuAtEnd, met.cpuAtEnd) - call.holderCpuAtStart;
    return call.ownCpu + std::max(untilDone, 0.0);
}

void print(const char* name, const std::vector<Call>& calls, const std::vector<Hold>& holds) {
    double longest = 0;
    double longestByClock = 0;
    std::size_t next = 0;
    for (const Call& call : calls) {
        while (next < holds.size() && holds[next].ended < call.started) {
            ++next;
        }
        longestByClock = std::max(longestByClock, Microseconds(call.ended - call.started).count());
        if (next < holds.size() && holds[next].started < call.ended && !call.interrupted) {
            longest = std::max(longest, waitOf(call, holds[next]));
        }
    }
    require(longest > 0, "no call met the other thread at work");
    std::printf("%s_wait %.1f\n%s_wait_wall %.1f\n", name, longest, name, longestByClock);
}

// Runs `hold` so many times in a thread of its own, with a pause after each, and `wait` without end in this one.
void race(const char* name, int times, std::chrono::microseconds pause, const std::function<void()>& hold,
          const std::function<void()>& wait) {
    std::vector<Hold> holds;
    std::vector<Call> calls;
    std::atomic<bool> running{true};
    std::atomic<bool> clockTaken{false};
    std::thread holder([&] {
        while (!clockTaken) {
            std::this_thread::yield();
        }
        for (int i = 0; i < times; ++i) {
            Hold done = Hold();
            done.started = Clock::now();
            hold();
            done.cpuAtEnd = cpuMicroseconds(CLOCK_THREAD_CPUTIME_ID);
            done.ended = Clock::now();
            holds.push_back(done);
            std::this_thread::sleep_for(pause);
        }
        running = false;
        while (clockTaken) {  // its clock is read until the last call has ended
            std::this_thread::yield();
        }
    });
    clockid_t clock = clockid_t();
    require(pthread_getcpuclockid(holder.native_handle(), &clock) == 0, "no clock of the other thread");
    clockTaken = true;
    while (running) {
        calls.push_back(timed(clock, wait));
    }
    clockTaken = false;
    holder.join();
    print(name, calls, holds);
}

void raceReadsWithReplies(const Corpus& corpus) {
    TinyPlc plc(corpus.areaBytes);
    const Exchange exchange = [&](const QByteArray& request) {
        const std::string& reply = plc.answer(request.constData(), request.size());
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    };
    openSession(exchange);
    CycleScript script = rehearse(PLC_driver.readList.size(), driverSource(), exchange);
    std::size_t next = 0;
    const auto storeReply = [&] {
        QByteArray& reply = script.replies[next];
        next = (next + 1) % script.replies.size();
        ComCommunication();
        DataCom(&reply, reply.size());
        DataCom(&reply, reply.size());
    };
    QString name = separateCopy(corpus.tags.front().name);
    QString argument;
    QByteArray value;
    race("read", kReplies, std::chrono::microseconds(50), storeReply,
         [&] { GetRegisterData(&name, 0, &argument, 0, &value, 1); });
    require(value == hostValueAt(corpus.tags.front().startByte), "a wrong value was read");
}

void raceWritesWithRebuilds(const Corpus& corpus) {
    QList<HostTag> tags = hostTags(inOrder(corpus.tags, Order::Random));
    QString name = separateCopy(corpus.tags.front().name);
    QString argument;
    QByteArray value(2, '\x11');
    int requests = 0;
    race(
        "write", kRebuilds, std::chrono::milliseconds(2), [&] { requests = ReCreatReadVarList(&tags); },
        [&] {
            require(SetRegisterData(&name, 0, &argument, 0, &value, 1, 20, 1) > 0, "a write was not queued");
            const QMutexLocker lock(&PLC_driver.listMutex);
            PLC_driver.writeList.clear();  // nobody sends them here
        });
    require(requests > 0, "the list was not rebuilt");
}

}  // namespace

}  // namespace ac500::bench

int main() {
    using namespace ac500::bench;
    const Corpus corpus = makeCorpus(Layout::TwentyScopes, kTags);
    startDriver(corpus);
    raceReadsWithReplies(corpus);
    raceWritesWithRebuilds(corpus);
}
