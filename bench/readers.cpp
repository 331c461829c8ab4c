// Four threads of a host that read by name as fast as they can beside the loop, which stores a reply every 50
// microseconds or so, as over a network. The values of the PLC change with every pass; each value read must be the old
// or the new one, and after the last pass it must be the new one. Prints
//
//   calls                      of all readers together, per second
//   p50, p99, p99.9, p99.99    how long calls took by the clock, in microseconds
//
//   reader_bench driver|floor|expert SECONDS     run it under taskset to choose the processors
//
// The floor: the same number of threads over a QHash of names and one mutex, which guards a flat memory. The expert's
// has no mutex.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

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
        std::fprintf(stderr, "reader_bench: %s\n", what);
        std::exit(1);
    }
}

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kReaders = 4;
constexpr int kTags = 10000;
constexpr auto kPause = std::chrono::microseconds(50);

// Counts of durations, within 2 %.
class Histogram {
public:
    void add(quint64 nanoseconds) { ++counts_[bucketOf(nanoseconds)]; }

    void add(const Histogram& other) {
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            counts_[i] += other.counts_[i];
        }
    }

    quint64 total() const {
        quint64 sum = 0;
        for (const quint64 count : counts_) {
            sum += count;
        }
        return sum;
    }

    // The least duration that the share of all durations does not exceed, in microseconds.
    double quantile(double share) const {
        const double wanted = share * static_cast<double>(total());
        double seen = 0;
        for (std::size_t i = 0; i < counts_.size(); ++i) {
            seen += static_cast<double>(counts_[i]);
            if (seen >= wanted) {
                return 1e-3 * static_cast<double>(leastOf(i));
            }
        }
        return 0;
    }

private:
    static constexpr int kStepBits = 6;
    static constexpr quint64 kSteps = 1 << kStepBits;  // in each doubling

    static std::size_t bucketOf(quint64 value) {
        int shift = 0;
        while (value >> shift >= 2 * kSteps) {
            ++shift;
        }
        return static_cast<std::size_t>(kSteps * static_cast<quint64>(shift) + (value >> shift));
    }

    static quint64 leastOf(std::size_t bucket) {
        const quint64 shift = bucket < 2 * kSteps ? 0 : bucket / kSteps - 1;
        return (bucket - shift * kSteps) << shift;
    }

    std::array<quint64, kSteps* 60> counts_ = {};
};

class DriverSide {
public:
    explicit DriverSide(const Corpus&) {}

    class Reader {
    public:
        explicit Reader(DriverSide&) {}
        bool read(QString& name, char* value) {
            const bool done = GetRegisterData(&name, 0, &argument_, 0, &value_, 1) == 1 && value_.size() == 2;
            std::memcpy(value, value_.constData(), 2);
            return done;
        }

    private:
        QString argument_;
        QByteArray value_;
    };

    Protocol* nextRequest() { return ComCommunication(); }
    int takeReply(QByteArray* reply, int received) { return DataCom(reply, received)->status; }
};

class FloorSide {
public:
    explicit FloorSide(const Corpus& corpus)
        : cycle_(PLC_driver.readList, PLC_driver.handshakeBytes, corpus.areaBytes), names_(corpus) {}

    class Reader {
    public:
        explicit Reader(FloorSide& side) : side_(side) {}
        bool read(QString& name, char* value) { return side_.names_.read(name, value); }

    private:
        FloorSide& side_;
    };

    Protocol* nextRequest() { return cycle_.nextRequest(); }
    int takeReply(QByteArray* reply, int received) {
        const bool stores = isMeasured_;
        isMeasured_ = !isMeasured_;
        const int status = cycle_.takeReply(reply, received);
        if (stores && status == 1) {
            names_.store(cycle_.lastRuns(), reply->constData());
        }
        return status;
    }

private:
    CycleExpert cycle_;
    ReadFloor names_;
    bool isMeasured_ = false;
};

class ExpertSide {
public:
    explicit ExpertSide(const Corpus& corpus)
        : cycle_(PLC_driver.readList, PLC_driver.handshakeBytes, corpus.areaBytes), names_(corpus) {}

    class Reader {
    public:
        explicit Reader(ExpertSide& side) : side_(side) {}
        bool read(QString& name, char* value) {
            const int startByte = side_.names_.startByteOf(name);
            if (startByte < 0) {
                return false;
            }
            side_.cycle_.image().read(startByte, value);
            return true;
        }

    private:
        ExpertSide& side_;
    };

    Protocol* nextRequest() { return cycle_.nextRequest(); }
    int takeReply(QByteArray* reply, int received) { return cycle_.takeReply(reply, received); }

private:
    CycleExpert cycle_;
    ReadExpert names_;
};

bool isValue(const char* value, int startByte, int generation) {
    return value[0] == memoryByte(startByte + 1, generation) && value[1] == memoryByte(startByte, generation);
}

template <class Side>
class Race {
public:
    explicit Race(const Corpus& corpus) : corpus_(corpus), plc_(corpus.areaBytes) {
        startDriver(corpus);
        const Exchange exchange = [this](const QByteArray& request) {
            const std::string& reply = plc_.answer(request.constData(), request.size());
            require(!reply.empty(), "a request that the PLC does not know");
            return QByteArray(reply.data(), static_cast<int>(reply.size()));
        };
        openSession(exchange);
        side_ = std::make_unique<Side>(corpus);
        const RequestSource source = {
            [this] { return side_->nextRequest(); },
            [this](QByteArray* reply, int received) { return side_->takeReply(reply, received); }};
        old_ = rehearse(PLC_driver.readList.size(), source, exchange);
        new_ = old_;
        plc_.setGeneration(1);
        for (std::size_t i = 0; i < new_.requests.size(); ++i) {
            new_.replies[i] = exchange(new_.requests[i]);
        }
    }

    void run(double seconds) {
        std::vector<std::thread> readers;
        for (std::size_t i = 0; i < kReaders; ++i) {
            readers.emplace_back([this, i] { readAll(times_[i], static_cast<int>(i)); });
        }
        while (ready_ < kReaders) {
            std::this_thread::yield();
        }
        const Clock::time_point started = Clock::now();
        counting_ = true;
        while (std::chrono::duration<double>(Clock::now() - started).count() < seconds) {
            play(new_);
            play(old_);
        }
        stop_ = true;
        const double took = std::chrono::duration<double>(Clock::now() - started).count();
        for (std::thread& reader : readers) {
            reader.join();
        }
        play(new_);
        requireGeneration(1);
        print(took);
    }

private:
    void play(CycleScript& script) {
        for (std::size_t i = 0; i < script.replies.size(); ++i) {
            QByteArray& reply = script.replies[i];
            side_->nextRequest();
            side_->takeReply(&reply, reply.size());
            require(side_->takeReply(&reply, reply.size()) == 1, "a reply was not taken");
            std::this_thread::sleep_for(kPause);
        }
    }

    std::vector<CorpusTag> namesOf(int reader) const {
        std::vector<CorpusTag> list = inOrder(corpus_.tags, Order::Random);
        std::rotate(list.begin(), list.begin() + reader * kTags / kReaders, list.end());
        for (CorpusTag& tag : list) {
            tag.name = separateCopy(tag.name);
        }
        return list;
    }

    void readAll(Histogram& times, int number) {
        std::vector<CorpusTag> list = namesOf(number);
        typename Side::Reader reader(*side_);
        char value[2] = {};
        for (CorpusTag& tag : list) {
            require(reader.read(tag.name, value), "a name is not known");
        }
        ++ready_;
        while (!counting_) {
            std::this_thread::yield();
        }
        while (!stop_) {
            for (CorpusTag& tag : list) {
                const Clock::time_point started = Clock::now();
                const bool done = reader.read(tag.name, value);
                const auto took = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - started);
                times.add(static_cast<quint64>(took.count()));
                require(done && (isValue(value, tag.startByte, 0) || isValue(value, tag.startByte, 1)),
                        "a thread read a wrong value");
                if (stop_.load(std::memory_order_relaxed)) {
                    break;
                }
            }
        }
    }

    void requireGeneration(int generation) {
        typename Side::Reader reader(*side_);
        char value[2] = {};
        for (const CorpusTag& tag : corpus_.tags) {
            QString name = tag.name;
            require(reader.read(name, value) && isValue(value, tag.startByte, generation), "an old value was read");
        }
    }

    void print(double seconds) const {
        Histogram all;
        for (const Histogram& times : times_) {
            all.add(times);
        }
        std::printf("calls %.0f\n", static_cast<double>(all.total()) / seconds);
        std::printf("p50 %.3f\np99 %.3f\np99.9 %.3f\np99.99 %.3f\n", all.quantile(0.5), all.quantile(0.99),
                    all.quantile(0.999), all.quantile(0.9999));
    }

    const Corpus corpus_;
    TinyPlc plc_;
    std::unique_ptr<Side> side_;
    CycleScript old_;
    CycleScript new_;
    std::array<Histogram, kReaders> times_;
    std::atomic<int> ready_{0};
    std::atomic<bool> counting_{false};
    std::atomic<bool> stop_{false};
};

template <class Side>
void race(double seconds) {
    Race<Side>(makeCorpus(Layout::TwentyScopes, kTags)).run(seconds);
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    using namespace ac500::bench;
    require(argc == 3, "usage: reader_bench driver|floor|expert SECONDS");
    const std::string who = argv[1];
    const double seconds = std::atof(argv[2]);
    if (who == "driver") {
        race<DriverSide>(seconds);
    } else if (who == "floor") {
        race<FloorSide>(seconds);
    } else {
        race<ExpertSide>(seconds);
    }
}
