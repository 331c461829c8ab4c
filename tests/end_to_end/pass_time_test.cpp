// Does a pass take as long as a plan says?
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "tests/end_to_end/plant.h"
#include "tools/host/offline_driver.h"

namespace ac500 {
namespace {

constexpr int kPlcMs = 5;
constexpr int kPassesToMeasure = 20;

// Items of 400 bytes, of which a request takes one: 1 of Main.left, 1 of Main.right, 5 of Main.many.
class PassTimeTest : public PlantTest {
protected:
    static constexpr int kWords = 200;
    static constexpr std::size_t kRequests = 7;
    const std::vector<std::string> kList{"Main.left", "Main.right", "Main.many"};

    PassTimeTest() {
        settings.loop.cycle = host::Milliseconds(0);
        settings.maxRequestWords = kWords;
    }

    std::size_t plannedRequests() const {
        std::string error;
        const auto library = host::DriverLibrary::load(test::kDriver, &error);
        host::OfflineDriver offline(library->functions(), table);
        EXPECT_TRUE(offline.start(&error)) << error;
        std::vector<host::Tag> tags;
        for (const std::string& text : kList) {
            tags.push_back(tag(text));
        }
        const auto pass = offline.observePass(tags, kWords, &error);
        EXPECT_TRUE(pass) << error;
        return pass ? pass->requests.size() : 0;
    }

    // The median of some passes of a new session.
    double measuredPassMs() {
        begin(kList);
        EXPECT_TRUE(eventually([&] { return session->status().statistics.cycleTimes().cycles >= kPassesToMeasure; }))
            << lastFailure();
        const host::Time median = session->status().statistics.cycleTimes().median;
        session.reset();
        driver.reset();
        return std::chrono::duration<double, std::milli>(median).count();
    }
};

// How long 5 ms are for a program that sleeps them on this machine, just now: others may have the processors when they are
// over. The median.
class PlcTime {
public:
    PlcTime() : sleeping_([this] { measure(); }) {}

    double stop() {
        isDone_ = true;
        sleeping_.join();
        std::sort(times_.begin(), times_.end());
        return times_[times_.size() / 2];
    }

private:
    void measure() {
        do {
            const auto started = std::chrono::steady_clock::now();
            std::this_thread::sleep_for(std::chrono::milliseconds(kPlcMs));
            times_.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count());
        } while (!isDone_);
    }

    std::atomic<bool> isDone_{false};
    std::vector<double> times_;
    std::thread sleeping_;
};

// The round trip is measured with a PLC that answers at once: what its passes take beside the quiet look of 5 ms. Another
// program may have the processors during one of the measurements, hence some attempts.
TEST_F(PassTimeTest, APassTakesAsLongAsPlanned) {
    ASSERT_EQ(plannedRequests(), kRequests);
    constexpr int kAttempts = 20;
    std::string seen;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        plc.inject({});
        const double roundTripMs = std::max(0.0, (measuredPassMs() - 5) / kRequests);
        plc.inject({sim::FaultKind::Delay, kPlcMs}, 1000000, sim::Service::Read);
        PlcTime plcTime;
        const double measured = measuredPassMs();
        const double predicted = desk::passWithLookMs(kRequests, {roundTripMs, plcTime.stop()});
        seen += std::to_string(predicted) + " ms predicted, " + std::to_string(measured) + " ms measured\n";
        if (std::abs(measured - predicted) < 0.2 * predicted) {
            RecordProperty("predicted_us", static_cast<int>(1000 * predicted));
            RecordProperty("measured_us", static_cast<int>(1000 * measured));
            return;
        }
    }
    FAIL() << seen;
}

}  // namespace
}  // namespace ac500
