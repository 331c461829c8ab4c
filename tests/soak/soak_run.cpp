#include "tests/soak/soak_run.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <fmt/format.h>

#include "tests/soak/load.h"
#include "tests/soak/memory_watch.h"
#include "tools/host/driver_recorder.h"
#include "tools/host/tcp_transport.h"
#include "tools/host/transport_recorder.h"
#include "tools/record/flight_recorder.h"
#include "tools/simulator/random.h"

namespace ac500::soak {

namespace {

using host::Milliseconds;
using host::Time;

constexpr int kStatusFaults = static_cast<int>(sim::FaultKind::Status);
constexpr double kShortestWithWarmUp = 30;  // seconds of run
constexpr double kShortestWithEveryFault = 600;
constexpr double kLongestExtension = 120;
constexpr std::int64_t kWarmUpOrders = 1100;
constexpr std::size_t kWarmUpEvents = 1100;
constexpr Milliseconds kWarmUpLimit{60000};
constexpr Milliseconds kDrainLimit{90000};
constexpr Milliseconds kQuietDrainLimit{10000};
constexpr Milliseconds kSettleLimit{15000};
constexpr Milliseconds kStatusEvery{10000};

void print(const std::string& line) {
    fmt::print("{}\n", line);
    std::fflush(stdout);
}

std::vector<WatchedTag> watchedTags(const Plant& plant, const host::TagTable& table) {
    std::vector<WatchedTag> tags;
    for (const PlantTag& tag : plant.tags) {
        std::string error;
        const std::optional<host::Tag> found = table.find(tag.text, &error);
        if (!found) {
            throw std::runtime_error(error);
        }
        tags.push_back({tag, TagShape(table.file(), *found)});
    }
    return tags;
}

std::unique_ptr<host::DriverLibrary> loadDriver(const std::string& path) {
    std::string error;
    std::unique_ptr<host::DriverLibrary> driver =
        path.empty() ? host::DriverLibrary::loadFirst(host::defaultDriverPaths(), &error)
                     : host::DriverLibrary::load(path, &error);
    if (driver == nullptr) {
        throw std::runtime_error(error);
    }
    return driver;
}

host::SessionSettings sessionSettings(std::uint16_t port) {
    host::SessionSettings settings;
    settings.loop.plc.port = port;
    settings.loop.replyTimeout = Milliseconds(400);
    settings.loop.cycle = Milliseconds(50);
    // The PLC shares the processor with everything else and may be late by more than its replies tell.
    settings.loop.shortestLook = Milliseconds(20);
    settings.loop.firstBackOff = Milliseconds(20);
    settings.loop.longestBackOff = Milliseconds(400);
    settings.writeDeadline = Milliseconds(3000);
    return settings;
}

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The whole run on disk: calls into the driver and what went over the connection.
class Recording {
public:
    Recording(const std::string& file, const host::DriverLibrary& driver)
        : recorder_(settingsOf(file), runOf(driver),
                    [this](bool isProblem, const std::string& text) { tell(isProblem, text); }),
          driver_(driver.functions(), driver.state(), recorder_) {}

    const host::DriverFunctions& functions() const { return driver_.functions(); }
    std::unique_ptr<host::Transport> recorded(std::unique_ptr<host::Transport> transport) {
        return std::make_unique<host::TransportRecorder>(std::move(transport), recorder_);
    }
    void finish(Findings& findings) {
        recorder_.finish();
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& problem : problems_) {
            findings.add("the record: " + problem);
        }
    }

private:
    static record::RecorderSettings settingsOf(const std::string& file) {
        record::RecorderSettings settings;
        settings.memoryBytes = 0;
        settings.wholeFile = file;
        return settings;
    }
    static record::RunInfo runOf(const host::DriverLibrary& driver) {
        record::RunInfo run;
        run.program = "ac500-soak";
        run.driver = driver.path();
        return run;
    }
    void tell(bool isProblem, const std::string& text) {
        if (isProblem) {
            const std::lock_guard<std::mutex> lock(mutex_);
            problems_.push_back(text);
        }
    }

    std::mutex mutex_;
    std::vector<std::string> problems_;  // mutex_
    record::FlightRecorder recorder_;
    host::DriverRecorder driver_;
};

class SoakRun {
public:
    explicit SoakRun(const SoakOptions& options)
        : options_(options),
          random_(options.seed),
          epoch_(clock_.now()),
          plant_(makePlant(options.seed)),
          table_(plant_.file),
          tags_(watchedTags(plant_, table_)),
          findings_([this] { return elapsed(); }, print),
          plc_(options.seed, epoch_.count() * 1000),
          driver_(loadDriver(options.driver)),
          recording_(options.record.empty() ? nullptr : std::make_unique<Recording>(options.record, *driver_)),
          functions_(book_.watch(recording_ == nullptr ? driver_->functions() : recording_->functions())),
          ledger_(tags_.size()),
          session_({functions_, table_, clock_,
                    [this] { return std::make_unique<LoggedTransport>(transport(), log_, clock_); }},
                   sessionSettings(plc_.port())),
          check_({tags_, session_, clock_, epoch_, log_, ledger_, findings_}) {}

    ~SoakRun() {
        stopping_ = true;
        if (checker_.joinable()) {
            checker_.join();
        }
    }
    SoakRun(const SoakRun&) = delete;
    SoakRun& operator=(const SoakRun&) = delete;

    int run() {
        print(fmt::format("soak: {} tags ({} written), seed {}, {} s", tags_.size(), writtenTags(), options_.seed,
                          options_.seconds));
        begin();
        if (options_.seconds >= kShortestWithWarmUp) {
            warmUp();
        }
        while (!isOver() && !findings_.areEnough()) {
            round();
        }
        end();
        report();
        return findings_.count() == 0 ? 0 : 1;
    }

private:
    double elapsed() const { return std::chrono::duration<double>(clock_.now() - epoch_).count(); }

    // A machine that is too busy for enough moments of rest gets some time more.
    bool isOver() const {
        const double extension = mustJudgeMemory() && !judgeMemory(samples_).isJudged ? kLongestExtension : 0;
        return elapsed() >= options_.seconds + extension;
    }

    // A record in the making takes memory that grows and shrinks.
    bool mustJudgeMemory() const { return options_.seconds >= kShortestWithWarmUp && recording_ == nullptr; }

    std::size_t writtenTags() const {
        return static_cast<std::size_t>(
            std::count_if(tags_.begin(), tags_.end(), [](const WatchedTag& tag) { return tag.plant.isWritten; }));
    }

    std::uint64_t below(std::uint64_t end) { return random_.next() % end; }

    // Two limits, in milliseconds; short runs take the first.
    Milliseconds between(int shortest, int longest) {
        const int limit = options_.seconds < kShortestWithWarmUp ? shortest : longest;
        return Milliseconds(shortest + static_cast<int>(below(static_cast<std::uint64_t>(limit - shortest) + 1)));
    }

    std::unique_ptr<host::Transport> transport() {
        std::unique_ptr<host::Transport> transport = std::make_unique<host::TcpTransport>();
        return recording_ == nullptr ? std::move(transport) : recording_->recorded(std::move(transport));
    }

    void begin() {
        plc_.start();
        std::string error;
        if (!session_.start(&error)) {
            throw std::runtime_error(error);
        }
        std::vector<host::Tag> polled;
        for (const WatchedTag& tag : tags_) {
            if (!session_.driverKnows(tag.shape.tag(), &error)) {
                throw std::runtime_error(error);
            }
            polled.push_back(tag.shape.tag());
        }
        session_.poll(polled);
        load_ = std::make_unique<Load>(Load::Parts{tags_, session_, clock_, book_, ledger_, findings_}, random_.next());
        checker_ = std::thread([this] { keepChecking(); });
    }

    // Fills everything that keeps the last thousand: writes, their reports, reads, events. Status faults fail fastest.
    // What remembers the PLC's memory beyond its end is filled by ending it once.
    void warmUp() {
        plc_.kill();
        plc_.start();
        plc_.storm(random_.next(), 4, kStatusFaults);
        load_->setPace(Pace::Rush);
        const bool isWarm = waitUntil(kWarmUpLimit, [this] {
            const WriteLedger::Counts writes = ledger_.counts();
            const ReportBook::Counts reports = book_.counts();
            return writes.done + writes.failed >= kWarmUpOrders &&
                   reports.done + reports.failed + reports.dropped >= kWarmUpOrders &&
                   load_->readsDone() + load_->readsFailed() >= kWarmUpOrders &&
                   session_.status().events >= kWarmUpEvents;
        });
        if (!isWarm) {
            findings_.add(fmt::format("not warm after {} s: {} events; is the machine too busy?",
                                      kWarmUpLimit.count() / 1000, session_.status().events));
        }
        settle();
        samples_.clear();
        print(fmt::format("{:6.1f} s  warmed up: {} events, {} writes, {} reads", elapsed(), session_.status().events,
                          ledger_.counts().ordered, load_->readsOrdered()));
    }

    void round() {
        load_->setPace(Pace::Steady);
        plc_.storm(random_.next(), 30 + static_cast<int>(below(300)), 0);
        for (std::uint64_t blows = below(3); blows > 0; --blows) {
            sleep(between(200, 1500));
            blow();
        }
        sleep(between(300, 2500));
        settle();
        load_->setPace(Pace::Steady);
        sleep(between(200, 2000));
        // Without faults nothing is given up, so an order whose report got lost stays open.
        load_->setPace(Pace::Rest);
        if (!waitUntil(kQuietDrainLimit, [this] { return load_->isDrained(); })) {
            findings_.add(fmt::format("{} writes are under way {} s after the last one was ordered in quiet times",
                                      ledger_.counts().open(), kQuietDrainLimit.count() / 1000));
        }
    }

    // What a fault of a single reply cannot do.
    void blow() {
        if (below(3) == 0) {
            plc_.drop();
            ++drops_;
            return;
        }
        plc_.kill();
        sleep(between(5, 1000));
        plc_.start();
        plc_.storm(random_.next(), 30 + static_cast<int>(below(300)), 0);
    }

    // The faults end when nothing is under way, so that the two cycles are cyclic reads and nothing else.
    void settle() {
        load_->setPace(Pace::Rest);
        if (!waitUntil(kDrainLimit, [this] { return load_->isDrained(); })) {
            findings_.add("orders are still under way long after the last one");
        }
        plc_.calm();
        const Time calm = clock_.now();
        const std::int64_t cycles = session_.status().statistics.cycleTimes().cycles;
        if (!waitUntil(kSettleLimit, [&] { return session_.status().statistics.cycleTimes().cycles >= cycles + 2; })) {
            const host::SessionStatus status = session_.status();
            findings_.add(fmt::format(
                "no two cycles within {} s after the last fault; the last failure of the host: {}",
                kSettleLimit.count() / 1000, status.lastFailure ? status.lastFailure->failure.text : "none"));
        }
        const std::lock_guard<std::mutex> lock(checkMutex_);
        slowestSettling_ = std::max(slowestSettling_, clock_.now() - calm);
        check_.checkHost(calm);
        check_.checkPlc(plc_.dump(), calm);
        ++settlings_;
        samples_.push_back(restSample());
    }

    // The texts of failures that the host remembers are no leak, but how many there are depends on the last storms.
    MemorySample restSample() const {
        std::int64_t remembered = load_->rememberedBytes();
        for (const host::SessionEvent& event : session_.eventsSince(0)) {
            remembered += textBytes(event.message().size());
        }
        MemorySample sample = sampleMemory(elapsed());
        sample.heapBytes -= remembered;
        return sample;
    }

    void end() {
        settle();
        stopping_ = true;
        checker_.join();
        writesDoubted_ = load_->writesDoubted();
        readsDone_ = load_->readsDone();
        readsFailed_ = load_->readsFailed();
        load_.reset();
        statistics_ = session_.status().statistics;
        counts_ = plc_.counts();
        session_.stop();
        if (recording_ != nullptr) {
            recording_->finish(findings_);
        }
        takeComplaints();
        checkTotals();
        judge();
    }

    void checkTotals() {
        const ReportBook::Counts reports = book_.counts();
        const WriteLedger::Counts writes = ledger_.counts();
        if (reports.open() != 0 || writes.open() != 0) {
            findings_.add(
                fmt::format("{} writes were never ended; {} were never reported", writes.open(), reports.open()));
        }
        if (reports.done != writes.done + writesDoubted_) {
            findings_.add(fmt::format("the driver reported {} writes done, the host {}, and {} as doubtful",
                                      reports.done, writes.done, writesDoubted_));
        }
        if (options_.seconds < kShortestWithWarmUp) {
            return;
        }
        // A run in which little happened proves little. Chance may spare a short one a kind of fault.
        for (std::size_t kind = 1; kind <= static_cast<std::size_t>(kLastDrawnFault); ++kind) {
            if (counts_.faults[kind] == 0 && options_.seconds >= kShortestWithEveryFault) {
                findings_.add(fmt::format("no fault of kind {} happened: the run proves nothing about it",
                                          sim::faultTraits(static_cast<std::uint16_t>(kind))->name));
            }
        }
        if (statistics_.reconnects() == 0 || statistics_.abandoned == 0 || statistics_.retries == 0 ||
            writes.failed == 0 || writes.confirmed == 0) {
            findings_.add("no reconnect, retry, given-up request, failed or confirmed write: the run proves nothing");
        }
    }

    void judge() {
        if (recording_ != nullptr) {
            return;
        }
        memory_ = judgeMemory(samples_);
        if (memory_.isJudged ? !memory_.isFlat : mustJudgeMemory()) {
            findings_.add((memory_.isJudged ? "memory is not flat: " : "memory: ") + memoryText());
        }
    }

    std::string memoryText() const {
        if (!memory_.isJudged) {
            return "not judged, too few moments of rest";
        }
        return fmt::format(
            "heap in use grows by {:.1f} KiB between first and last rest ({} allowed), spread {:.1f} "
            "KiB ({} allowed), resident by {} KiB ({} allowed)",
            memory_.heapGrowthBytes / 1024, static_cast<int>(kHeapGrowthAllowed / 1024),
            static_cast<double>(memory_.heapSpreadBytes) / 1024, kHeapSpreadAllowed / 1024,
            memory_.residentGrowthBytes / 1024, kResidentGrowthAllowed / 1024);
    }

    // Checker thread
    void keepChecking() {
        for (int turn = 0; !stopping_; ++turn) {
            load_->follow();
            takeComplaints();
            if (turn % 8 == 0) {
                const std::lock_guard<std::mutex> lock(checkMutex_);
                check_.checkHost(std::nullopt);
            }
            if (turn % 16 == 8) {
                checkPlc();
            }
            std::this_thread::sleep_for(Milliseconds(15));
        }
    }

    void checkPlc() {
        try {
            const Time since = clock_.now();
            const AreaBytes areas = plc_.dump();
            const std::lock_guard<std::mutex> lock(checkMutex_);
            check_.checkPlc(areas, since);
        } catch (const std::runtime_error& error) {
            findings_.add(error.what());
        }
    }

    void takeComplaints() {
        for (const std::string& complaint : book_.takeComplaints()) {
            findings_.add(complaint);
        }
    }

    template <typename Condition>
    bool waitUntil(Milliseconds limit, Condition condition) {
        const Time deadline = clock_.now() + limit;
        while (!condition()) {
            if (clock_.now() >= deadline || findings_.areEnough()) {
                return findings_.areEnough();
            }
            std::this_thread::sleep_for(Milliseconds(5));
            tellStatus();
        }
        return true;
    }

    void sleep(Milliseconds time) {
        waitUntil(time, [] { return false; });
    }

    void tellStatus() {
        if (clock_.now() < nextStatus_) {
            return;
        }
        nextStatus_ = std::max(nextStatus_, epoch_) + kStatusEvery;
        const host::Statistics now = session_.status().statistics;
        const WriteLedger::Counts writes = ledger_.counts();
        print(fmt::format(
            "{:6.1f} s  {} frames, {} cycles, {} reconnects, {} retries, {} given up, writes {} done {} "
            "failed, violations {}, heap {} KiB",
            elapsed(), now.framesSent, now.cycleTimes().cycles, now.reconnects(), now.retries, now.abandoned,
            writes.done, writes.failed, findings_.count(), sampleMemory(0).heapBytes / 1024));
    }

    void report() {
        std::string table = "| What | Seen |\n| --- | --- |\n";
        const auto row = [&table](const std::string& what, const std::string& seen) {
            table += fmt::format("| {} | {} |\n", what, seen);
        };
        const WriteLedger::Counts writes = ledger_.counts();
        const ReportBook::Counts reports = book_.counts();
        std::string faults;
        std::uint64_t faultCount = 0;
        for (std::size_t kind = 1; kind < sim::kFaultKinds; ++kind) {
            faults += fmt::format("{}{} {}", kind == 1 ? "" : ", ",
                                  sim::faultTraits(static_cast<std::uint16_t>(kind))->name, counts_.faults[kind]);
            faultCount += counts_.faults[kind];
        }
        row("seed", fmt::format("{}", options_.seed));
        row("duration", fmt::format("{:.0f} s", elapsed()));
        row("tags watched", fmt::format("{}, {} of them written", tags_.size(), writtenTags()));
        row("cycles", fmt::format("{}", statistics_.cycleTimes().cycles));
        row("frames sent", fmt::format("{}", statistics_.framesSent));
        row("replies accepted", fmt::format("{}", statistics_.framesAccepted));
        row("replies that met a fault", fmt::format("{} ({})", faultCount, faults));
        row("connections dropped, PLC started anew", fmt::format("{}, {}", drops_, plc_.starts() - 1));
        row("timeouts, refusals, bad replies",
            fmt::format("{}, {}, {}", statistics_.timeouts, statistics_.refusals, statistics_.badReplies));
        row("retries, requests given up", fmt::format("{}, {}", statistics_.retries, statistics_.abandoned));
        row("reconnects, handshakes", fmt::format("{}, {}", statistics_.reconnects(), statistics_.handshakes));
        row("writes ordered, done, failed", fmt::format("{}, {}, {}", writes.ordered, writes.done, writes.failed));
        row("writes that the driver got, reported done, reported failed, dropped with others",
            fmt::format("{}, {}, {}, {}", reports.handedOver, reports.done, reports.failed, reports.dropped));
        row("writes that were answered and not believed", fmt::format("{}", writesDoubted_));
        row("done writes found in the PLC, overtaken by a later one",
            fmt::format("{}, {}", writes.confirmed, writes.overtaken));
        row("one-shot reads done, failed", fmt::format("{}, {}", readsDone_, readsFailed_));
        row("values checked", fmt::format("{}", check_.checked()));
        row("ends of faults after which all values were right within two cycles", fmt::format("{}", settlings_));
        row("slowest of them", fmt::format("{} ms", slowestSettling_.count() / 1000));
        row("peak resident memory of the host", fmt::format("{} KiB", peakResidentBytes() / 1024));
        row("memory after warm-up", memoryText());
        row("processor time of the host", fmt::format("{:.0f} % of one core", 100 * processorSeconds() / elapsed()));
        row("violations", fmt::format("{}", findings_.count()));
        row("verdict", findings_.count() == 0 ? "good" : "BAD");
        print("\n" + table);
        if (!options_.report.empty()) {
            std::ofstream(options_.report) << table;
        }
        if (findings_.count() != 0) {
            print(fmt::format("soak: violated; again with: scripts/soak {:.2g} {}", options_.seconds / 60,
                              options_.seed));
        }
    }

    const SoakOptions options_;
    sim::Random random_;
    host::SteadyClock clock_;
    const Time epoch_;
    const Plant plant_;
    const host::TagTable table_;
    const std::vector<WatchedTag> tags_;
    Findings findings_;
    PlcProcess plc_;
    std::unique_ptr<host::DriverLibrary> driver_;
    std::unique_ptr<Recording> recording_;  // null: none is wanted
    ReportBook book_;
    const host::DriverFunctions functions_;
    ExchangeLog log_;
    WriteLedger ledger_;
    host::HostSession session_;
    std::mutex checkMutex_;
    ValueCheck check_;  // checkMutex_
    std::unique_ptr<Load> load_;
    std::thread checker_;
    std::atomic<bool> stopping_{false};

    std::vector<MemorySample> samples_;
    MemoryVerdict memory_;
    host::Statistics statistics_;
    PlcCounts counts_;
    std::int64_t drops_ = 0;
    std::int64_t settlings_ = 0;
    Time slowestSettling_{0};
    Time nextStatus_{0};
    std::int64_t writesDoubted_ = 0;
    std::int64_t readsDone_ = 0;
    std::int64_t readsFailed_ = 0;
};

}  // namespace

int runSoak(const SoakOptions& options) {
    try {
        return SoakRun(options).run();
    } catch (const std::exception& error) {
        fmt::print(stderr, "soak: {}\n", error.what());
        return 2;
    }
}

}  // namespace ac500::soak
