// The first cycle of a process beside its later ones: the first meets an empty image and memory that the system has still
// to hand out. Prints processor time of the calls alone, in microseconds: "first F" and "steady S", the latter the
// median of many.
//
//   first_use_bench driver|floor|expert TAGS
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bench/cycle_script.h"
#include "bench/driver_setup.h"
#include "bench/experts.h"
#include "bench/floors.h"
#include "bench/tiny_plc.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "first_use_bench: %s\n", what);
        std::exit(1);
    }
}

namespace {

constexpr int kLaterCycles = 30;

double cpuMicroseconds() {
    timespec now = timespec();
    require(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) == 0, "no processor time clock");
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double clockCost() {
    std::vector<double> costs;
    for (int i = 0; i < 1001; ++i) {
        const double started = cpuMicroseconds();
        costs.push_back(cpuMicroseconds() - started);
    }
    return median(costs);
}

class Stopwatch {
public:
    void start() { started_ = cpuMicroseconds(); }
    void stop() { total_ += cpuMicroseconds() - started_ - cost_; }
    double takeTotal() {
        const double total = total_;
        total_ = 0;
        return total;
    }

private:
    const double cost_ = clockCost();
    double started_ = 0;
    double total_ = 0;
};

// Plays until as many entries were read as the list has, and returns the time of the calls.
double playCycle(int entries, const RequestSource& source, const Exchange& plc, Stopwatch& watch) {
    for (int read = 0; read < entries;) {
        watch.start();
        const QByteArray request = source.next()->frame;
        watch.stop();
        QByteArray reply = plc(request);
        watch.start();
        const bool taken = source.take(&reply, reply.size()) == 1 && source.take(&reply, reply.size()) == 1;
        watch.stop();
        require(taken, "a reply was not taken");
        read += itemCount(request);
    }
    return watch.takeTotal();
}

template <class Holds>
void measure(int entries, const RequestSource& source, TinyPlc& plc, const Holds& holds) {
    const Exchange exchange = [&](const QByteArray& request) {
        const std::string& reply = plc.answer(request.constData(), request.size());
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    };
    Stopwatch watch;
    std::printf("first %.2f\n", playCycle(entries, source, exchange, watch));
    require(holds(0), "wrong bytes were stored");
    plc.setGeneration(1);
    std::vector<double> later;
    for (int i = 0; i < kLaterCycles; ++i) {
        later.push_back(playCycle(entries, source, exchange, watch));
    }
    require(holds(1), "wrong bytes were stored");
    std::printf("steady %.2f\n", median(later));
}

void measureSide(const char* who, int tags) {
    const Corpus corpus = makeCorpus(Layout::TwentyScopes, tags);
    TinyPlc plc(corpus.areaBytes);
    startDriver(corpus);
    openSession([&](const QByteArray& request) {
        const std::string& reply = plc.answer(request.constData(), request.size());
        return QByteArray(reply.data(), static_cast<int>(reply.size()));
    });
    const int entries = PLC_driver.readList.size();
    if (std::strcmp(who, "driver") == 0) {
        measure(entries, driverSource(), plc, [&](int generation) {
            std::vector<CorpusTag> list = corpus.tags;
            requireReadable(list, generation);
            return holdsMemory(PLC_driver.localValues, corpus, generation);
        });
    } else if (std::strcmp(who, "floor") == 0) {
        CycleFloor floor(PLC_driver.readList, PLC_driver.handshakeBytes);
        const RequestSource source = {
            [&] { return floor.nextRequest(); },
            [&](QByteArray* reply, int received) { return floor.takeReply(reply, received); }};
        measure(entries, source, plc, [&](int generation) { return holdsMemory(floor.image(), corpus, generation); });
    } else {
        CycleExpert expert(PLC_driver.readList, PLC_driver.handshakeBytes, corpus.areaBytes);
        const RequestSource source = {
            [&] { return expert.nextRequest(); },
            [&](QByteArray* reply, int received) { return expert.takeReply(reply, received); }};
        measure(entries, source, plc, [&](int generation) { return holdsMemory(expert.image(), corpus, generation); });
    }
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    ac500::bench::require(argc == 3, "usage: first_use_bench driver|floor|expert TAGS");
    ac500::bench::measureSide(argv[1], std::atoi(argv[2]));
}
