#include "tests/soak/plc_program.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <fmt/format.h>

#include "tests/soak/plant.h"
#include "tests/soak/plc_process.h"
#include "tools/simulator/random.h"
#include "tools/simulator/tcp_server.h"

namespace ac500::soak {

using symbol_file::Problem;

namespace {

using sim::Fault;
using sim::FaultKind;
using sim::Service;
using SteadyClock = std::chrono::steady_clock;

constexpr int kLongestRepeatMs = 100;

// Only while a request is open can a repeat be taken for its answer, and only when the PLC takes its time for each request
// are the replies behind it one too late up to the end of the pass. A PLC that answers at once gives itself away.
// Much shorter than the host's quiet look.
constexpr int kWorkMs = 3;

// Until the host has noticed a repeat, at the latest two of its cycles after it came, no reply is lost or slow: both in one
// pass can cancel each other out, and then no host can notice. These faults leave every reply in its place.
constexpr std::chrono::milliseconds kTwoCycles{300};
constexpr FaultKind kFaultsAfterRepeat[] = {FaultKind::Length, FaultKind::Status, FaultKind::Glue, FaultKind::Reset,
                                            FaultKind::Restart};

// Arms a fault now and then. The host waits 400 ms for a reply: delays lie on both sides of that.
class Storm {
public:
    Storm(sim::PlcModel& model, std::mutex& mutex) : model_(model), mutex_(mutex), random_(0) {
        timer_.setSingleShot(true);
        QObject::connect(&timer_, &QTimer::timeout, [this] { strike(); });
    }

    void begin(std::uint64_t seed, int meanMs, int kind) {
        random_ = sim::Random(seed);
        meanMs_ = meanMs;
        kind_ = kind;
        isOfRepeats_ = between(0, 2) == 0;
        strike();
    }

    void end() {
        timer_.stop();
        arm({});
    }

private:
    int between(int low, int high) {
        return low + static_cast<int>(random_.next() % static_cast<std::uint64_t>(high - low + 1));
    }

    void strike() {
        sim::FaultSchedule::Armed armed;
        armed.fault.kind = kind_ != 0 ? static_cast<FaultKind>(kind_) : draw();
        armed.fault.argument = argumentOf(armed.fault.kind);
        const int often = between(0, 19);  // mostly once, sometimes until the host gives up
        armed.count = kind_ != 0 || often < 12 ? 1U : static_cast<std::uint32_t>(often < 18 ? between(2, 4) : 8);
        armed.service = kind_ != 0 ? std::nullopt : service();
        if (armed.fault.kind == FaultKind::Repeat) {
            // One alone puts the whole pass out of step; behind several, one is soon too much.
            armed.count = static_cast<std::uint32_t>(between(0, 2) == 0 ? between(2, 20) : 1);
            armed.service = between(0, 2) == 0 ? std::nullopt : std::optional<Service>(Service::Read);
        }
        arm(armed);
        timer_.start(between(meanMs_ / 5, meanMs_ * 9 / 5));
    }

    // Repeats and lost replies must keep apart, so a third of the storms has mostly repeats.
    FaultKind draw() {
        if (isOfRepeats_ && between(0, 2) != 0) {
            return FaultKind::Repeat;
        }
        if (isOfRepeats_ || armedKind_ == FaultKind::Repeat || SteadyClock::now() < repeatNoticed_) {
            return kFaultsAfterRepeat[between(0, static_cast<int>(std::size(kFaultsAfterRepeat)) - 1)];
        }
        return static_cast<FaultKind>(between(1, static_cast<int>(kLastDrawnFault)));
    }

    std::optional<Service> service() {
        const std::optional<Service> choices[] = {std::nullopt,   std::nullopt,   std::nullopt,
                                                  Service::Read,  Service::Read,  Service::Write,
                                                  Service::Write, Service::Hello, Service::Symbols};
        return choices[between(0, static_cast<int>(std::size(choices)) - 1)];
    }

    int argumentOf(FaultKind kind) {
        switch (kind) {
            case FaultKind::Delay:
                return between(5, 600);
            case FaultKind::Late:
                return between(420, 1200);
            case FaultKind::Truncate:
                return between(1, 40);
            case FaultKind::Length:
                return between(0, 1) == 0 ? between(-9, -1) : between(1, 9);
            case FaultKind::Glue:
                return between(2, 3);
            case FaultKind::Repeat:
                // While the next reply is awaited, a later one of the same pass, or at any time.
                return between(1, between(0, 2) == 0 ? kLongestRepeatMs : kWorkMs - 1);
            default:
                return 0;
        }
    }

    void arm(const sim::FaultSchedule::Armed& armed) {
        if (armedKind_ == FaultKind::Repeat) {  // and may have struck until now
            repeatNoticed_ = SteadyClock::now() + std::chrono::milliseconds(kLongestRepeatMs) + kTwoCycles;
        }
        armedKind_ = armed.fault.kind;
        const std::lock_guard<std::mutex> lock(mutex_);
        model_.arm(armed);
    }

    sim::PlcModel& model_;
    std::mutex& mutex_;
    sim::Random random_;
    int meanMs_ = 1;
    int kind_ = 0;
    bool isOfRepeats_ = false;
    FaultKind armedKind_ = FaultKind::None;
    SteadyClock::time_point repeatNoticed_;
    QTimer timer_;
};

// The PLC's time goes on when its process is started anew: the server takes the first answer as the beginning.
sim::Clock clockSince(std::int64_t epochNs) {
    return [epochNs, isFirst = true]() mutable -> std::int64_t {
        if (std::exchange(isFirst, false)) {
            return 0;
        }
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        return (now.count() - epochNs) / 1000000;
    };
}

class PlcProgram {
public:
    explicit PlcProgram(const PlcOptions& options)
        : options_(options),
          areas_(writtenAreas(makePlant(options.seed))),
          model_(makePlant(options.seed).file, {options.seed + 1000003 * options.boot, {}}),
          server_(model_, mutex_, settings(options)),
          storm_(model_, mutex_) {}

    const std::vector<Problem>& problems() const { return model_.problems(); }

    std::string obey(const std::string& line) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "memory") {
            return takeMemory(words);
        }
        if (command == "listen") {
            std::string error;
            return server_.listen(QHostAddress::LocalHost, options_.port, &error) ? "ok" : "error " + error;
        }
        if (command == "storm") {
            std::uint64_t seed = 0;
            int meanMs = 0;
            int kind = 0;
            words >> seed >> meanMs >> kind;
            server_.setWorkMs(kind == 0 ? kWorkMs : 0);
            storm_.begin(seed, meanMs, kind);
            return "ok";
        }
        if (command == "calm") {
            storm_.end();
            return "ok";
        }
        if (command == "halt") {
            server_.close();
            return "ok";
        }
        if (command == "drop") {
            server_.closeAllConnections();
            return "ok";
        }
        return command == "dump" ? dump() : command == "counters" ? counters() : "error no such command: " + line;
    }

private:
    static sim::TcpSettings settings(const PlcOptions& options) {
        sim::TcpSettings settings;
        settings.clock = clockSince(options.epochNs);
        return settings;
    }

    std::string takeMemory(std::istringstream& words) {
        int area = 0;
        std::string digits;
        words >> area >> digits;
        const std::lock_guard<std::mutex> lock(mutex_);
        model_.memory().write(area, 0, QByteArray::fromHex(QByteArray::fromStdString(digits)).toStdString());
        return "ok";
    }

    std::string dump() {
        std::string line;
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Area& area : areas_) {
            const sim::Bytes bytes = model_.memory().read({area.number, 0, area.sizeBytes});
            line += fmt::format("{} {} ", area.number, QByteArray::fromStdString(bytes).toHex().constData());
        }
        return line;
    }

    std::string counters() {
        const std::lock_guard<std::mutex> lock(mutex_);
        const sim::Counters& counted = model_.counters();
        std::string line;
        for (std::size_t kind = 1; kind < sim::kFaultKinds; ++kind) {
            line += fmt::format("{} ", counted.faultsByKind[kind]);
        }
        return line + fmt::format("{} {} {}", counted.requests(), counted.refused, counted.connections);
    }

    const PlcOptions options_;
    const std::vector<Area> areas_;
    std::mutex mutex_;
    sim::PlcModel model_;
    sim::TcpServer server_;
    Storm storm_;
};

// False at the end of the input.
bool readInput(std::string* pending) {
    char bytes[65536];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        pending->append(bytes, static_cast<std::size_t>(count));
    }
    return count > 0;
}

}  // namespace

int runPlc(const PlcOptions& options) {
    int argumentCount = 1;
    char name[] = "ac500-soak";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(argumentCount, arguments);
    PlcProgram program(options);
    if (!program.problems().empty()) {
        fmt::print(stderr, "{}\n", describe("plant", program.problems().front()));
        return 2;
    }
    std::string pending;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        if (!readInput(&pending)) {
            QCoreApplication::exit(0);
            return;
        }
        for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            fmt::print("{}\n", program.obey(pending.substr(0, end)));
            std::fflush(stdout);
            pending.erase(0, end + 1);
        }
    });
    return QCoreApplication::exec();
}

}  // namespace ac500::soak
