// A record from anywhere: its bytes into the reader, its events into the replay. The first byte says what the rest is: a
// file, the events of a chunk behind the beginning of a run, or both the beginning (after its length) and the events, so
// that checksums do not keep the fuzzer out.
//
// What must hold: events in words, a capture and a replay can be made of whatever was read; a record that is written again
// reads the same; and a driver that was loaded anew gives the same answers a second time.
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzzed_driver.h"
#include "tests/support/linked_driver.h"
#include "tools/record/chunk.h"
#include "tools/record/record_codec.h"
#include "tools/record/record_reader.h"
#include "tools/record/record_writer.h"
#include "tools/replay/event_text.h"
#include "tools/replay/replay_run.h"
#include "tools/replay/wire_capture.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

using Events = std::vector<record::Event>;

constexpr std::size_t kMostEvents = 1500;
constexpr replay::AdmissionLimits kLimits{kMostBytes, 40000};

std::string fileOf(const std::string& segment, const std::string& events) {
    std::string run;
    record::put(run, record::RunInfo());
    return record::fileHead() + record::chunkBytes({record::ChunkType::Run, 0, run}) +
           record::chunkBytes({record::ChunkType::Segment, 0, segment}) +
           record::chunkBytes({record::ChunkType::Events, 0, events});
}

std::string fileFrom(FuzzInput& input) {
    switch (input.below(3)) {
        case 0:
            return input.rest();
        case 1:
            return fileOf(record::segmentPayload(record::SegmentStart(), record::Moment()), input.rest());
        default: {
            const std::string segment = input.bytes(input.u16());
            return fileOf(segment, input.rest());
        }
    }
}

Events eventsOf(const std::string& file) {
    Events events;
    std::string error;
    const std::unique_ptr<record::RecordReader> reader = record::RecordReader::ofBytes(file, &error);
    FUZZ_CHECK(reader != nullptr || !error.empty());
    while (reader != nullptr && events.size() < kMostEvents) {
        std::optional<record::Event> event = reader->next();
        if (!event) {
            break;
        }
        events.push_back(std::move(*event));
    }
    return events;
}

// A driver that is put back into the state after loading.
class FreshLinkedDriver {
public:
    replay::FreshDriver fresh() {
        return [this](std::string*) {
            state_.reset();
            state_ = std::make_unique<FuzzedDriver>();
            return &functions_;
        };
    }

private:
    std::unique_ptr<FuzzedDriver> state_;
    const host::DriverFunctions functions_ = test::linkedDriver();
};

// What was replayed, with the answers.
Events replayed(const Events& events, bool mustBeExact) {
    FreshLinkedDriver driver;
    Events answered;
    replay::ReplayRun run(events, driver.fresh(), kLimits);
    while (run.step()) {
        answered.push_back(run.answered());
        FUZZ_CHECK(!mustBeExact || !run.hasDiverged());
    }
    FUZZ_CHECK(run.position() == events.size() || !run.problem().empty());
    return answered;
}

std::string written(const Events& events) {
    record::RecordWriter writer{record::RunInfo()};
    for (const record::Event& event : events) {
        writer.add(event);
    }
    writer.close();
    return writer.bytes();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const Events events = eventsOf(fileFrom(input));
    for (const record::Event& event : events) {
        FUZZ_CHECK(!replay::eventText(event).empty());
    }
    std::size_t captured = 0;
    replay::captureOf(
        record::RunInfo(),
        [&events](const std::function<void(const record::Event&)>& see) {
            std::for_each(events.begin(), events.end(), see);
        },
        [&captured](const std::string& piece) { captured += piece.size(); });
    FUZZ_CHECK(captured > 0);
    const Events answered = replayed(events, false);
    const Events again = eventsOf(written(answered));
    FUZZ_CHECK(again.size() == answered.size());
    for (std::size_t i = 0; i < again.size(); ++i) {
        FUZZ_CHECK(replay::eventText(again[i]) == replay::eventText(answered[i]));
        FUZZ_CHECK(!replay::firstDifference(answered[i], again[i]));
    }
    replayed(again, true);
    return 0;
}
