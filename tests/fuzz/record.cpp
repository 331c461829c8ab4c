// Records runs of host and simulated PLC as inputs of the fuzz targets, so that fuzzing starts from real traffic: every
// kind of fault that the simulator knows, in the middle of a run that reads and writes variables of all types. The files
// depend on nothing but this program and the simulator.
//
//   fuzz_record DIRECTORY      writes DIRECTORY/TARGET/recorded-*
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzzed_driver.h"
#include "tests/fuzz/plant.h"
#include "tests/fuzz/steps.h"
#include "tests/replay/scripted_record.h"
#include "tools/record/chunk.h"
#include "tools/record/record_writer.h"
#include "tools/simulator/plc_model.h"

namespace {

using namespace ac500;
using namespace ac500::fuzz;

namespace fs = std::filesystem;

// Where the mapping of FuzzInput::between starts in each target.
constexpr int kLowestCount = -3;
constexpr int kLowestOffset = 0;
constexpr int kLowestSize = -4;
constexpr int kLowestRequestWords = -1;
constexpr int kRequestWords = 100;
// Situations of the reply target.
constexpr int kHelloSituation = 1;
constexpr int kSymbolsSituation = 2;
constexpr int kReadSituation = 3;
constexpr int kWriteSituation = 5;

struct WrittenTag {
    const char* tag;
    const char* argument;
    int count;
    const char* bytes;
};

constexpr const char* kPolled[] = {
    "Main.bool",     "Main.int",      "Main.dint",    "Main.real",           "Main.lreal",
    "Main.string",   "Main.bits[1]",  "Main.ints[1]", "Main.grid[0,1]",      "Main.cube[1,0,5]",
    "Main.names[1]", "Main.motor.on", "Main.many[1]", "Main.motors[2].speed"};

constexpr WrittenTag kWritten[] = {
    {"Main.int", "", 1, "\x34\x12"},
    {"Main.bool", "", 1, "\x01"},
    {"Main.bit", "", 1, "\x01"},
    {"Main.word.b[3]", "", 2, "\x01\x01"},
    {"Main.ints[%%]", "2", 3, "\x01\x02\x03\x04\x05\x06"},
    {"Main.grid[0,%%+2]", "3", 2, "\x01\x02\x03\x04"},
    {"Main.string", "", 4, "pump 17"},
};

class Recorder {
public:
    explicit Recorder(fs::path directory) : directory_(std::move(directory)) {}

    // The same content is kept once.
    void save(const char* target, const std::string& name, const std::string& bytes) {
        if (!saved_.insert(target + bytes).second) {
            return;
        }
        const fs::path folder = directory_ / target;
        fs::create_directories(folder);
        std::ofstream stream(folder / ("recorded-" + name), std::ios::binary);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        isGood_ = isGood_ && stream.flush();
    }
    bool isGood() const { return isGood_; }

private:
    fs::path directory_;
    std::set<std::string> saved_;
    bool isGood_ = true;
};

// One run: the host's calls, as inputs of both targets that have calls, and the requests as the simulator saw them.
class Run {
public:
    Run(Recorder& recorder, const std::string& name, const sim::Fault& fault)
        : recorder_(recorder), name_(name), plc_(plant(), settingsWith(fault)) {
        PLC_driver.labelTable = plantLabels();
        calls_.u8(driver_.settings.retryLimit).between(kLowestRequestWords, kRequestWords).u8(2);
        conversation_.u8(driver_.settings.retryLimit);
        stream_.u8(static_cast<int>(fault.kind)).u8(255);
    }

    void play() {
        registerTags();
        for (int turn = 0; turn < 14; ++turn) {
            if (turn % 2 == 1 && turn / 2 < static_cast<int>(std::size(kWritten))) {
                write(kWritten[turn / 2]);
            }
            exchange(turn);
        }
        recorder_.save("host_calls", name_, calls_.bytes());
        recorder_.save("conversation", name_, conversation_.bytes());
        recorder_.save("simulator_request", name_, stream_.bytes());
    }

private:
    static sim::PlcSettings settingsWith(const sim::Fault& fault) {
        sim::PlcSettings settings;
        if (fault.kind != sim::FaultKind::None) {
            sim::FaultRule rule;
            rule.fault = fault;
            rule.trigger = sim::FaultRule::Trigger::Every;
            rule.number = 3;
            settings.faults.push_back(rule);
        }
        return settings;
    }

    void registerTags() {
        QList<HostTag> tags;
        calls_.u8(kCallReadCyclically).u8(8);
        for (int i = 0; i < 8; ++i) {
            tags << HostTag{0, 0, QString(), QString(kPolled[i]), 4};
            calls_.between(kLowestCount, 4).line(kPolled[i]).line("");
        }
        driver_.readCyclically(tags);
        for (const RW_VAR& run : PLC_driver.readList) {
            conversation_.u8(kAddCyclicRead).u8(run.area).between(kLowestOffset, run.offset);
            conversation_.between(kLowestSize, run.size);
        }
    }

    void write(const WrittenTag& written) {
        const std::string in = written.bytes;
        const int before = PLC_driver.writeList.size();
        driver_.writeValue(written.tag, written.argument, in, written.count, 5);
        calls_.u8(kCallWriteValue).between(kLowestCount, written.count).u8(6).u8(static_cast<int>(in.size())).raw(in);
        calls_.line(written.tag).line(written.argument);
        for (int i = before; i < PLC_driver.writeList.size(); ++i) {
            const RW_VAR& run = PLC_driver.writeList.at(i);
            conversation_.u8(kAddWrite).u8(run.area).between(kLowestOffset, run.offset).u8(run.dataType).u8(6);
            conversation_.between(kLowestSize, run.size).u8(run.size).raw(run.data.toStdString());
        }
    }

    // One turn of the loop, by the host guide: measure, then process; an empty reply for none.
    void exchange(int turn) {
        calls_.u8(kCallNext);
        conversation_.u8(kNext);
        const Protocol* request = driver_.next();
        if (request == nullptr) {
            return;
        }
        const std::string frame = request->frame.toStdString();
        stream_.raw(frame);
        const sim::Exchange exchange = plc_.serve(frame);
        std::string received;
        for (const sim::DeliveryStep& step : exchange.delivery.steps) {
            received += step.bytes;
            // Of a reply in fragments, a few are enough.
            if (received.size() < 8 || received.size() % 64 == 0 || &step == &exchange.delivery.steps.back()) {
                deliver(received);
            }
        }
        if (received.empty()) {
            deliver(received);
        } else if (!PLC_driver.frameList.isEmpty() && PLC_driver.frameList.first().replyLength != -1) {
            deliver(received);
        }
        saveReply(turn, frame, received);
    }

    void deliver(const std::string& reply) {
        driver_.deliver(reply);
        const int length = static_cast<int>(reply.size());
        calls_.u8(kCallDeliver).u16(length).raw(reply);
        conversation_.u8(kDeliver).u16(length).raw(reply);
    }

    // The first reply of each service, and from then on every third: those that met the fault.
    void saveReply(int turn, const std::string& frame, const std::string& reply) {
        if (turn % 3 != 2 && turn > 2) {
            return;
        }
        const int service = static_cast<unsigned char>(frame[6]);
        const int situation = service == 0x01   ? kHelloSituation
                              : service == 0x31 ? kSymbolsSituation
                              : service == 0x2E ? kReadSituation
                                                : kWriteSituation;
        FuzzOutput input;
        input.u8(situation).raw(reply);
        recorder_.save("reply", name_ + "-" + std::to_string(turn), input.bytes());
    }

    Recorder& recorder_;
    const std::string name_;
    sim::PlcModel plc_;
    FuzzedDriver driver_;
    FuzzOutput calls_;
    FuzzOutput conversation_;
    FuzzOutput stream_;
};

void recordTags(Recorder& recorder) {
    for (const char* tag : kPolled) {
        recorder.save("tag_name", tag, FuzzOutput().line(tag).line("").line("4").raw("\x01\x02").bytes());
    }
    for (const WrittenTag& written : kWritten) {
        const std::string count = std::to_string(written.count);
        recorder.save("tag_name", std::string("write-") + written.tag,
                      FuzzOutput().line(written.tag).line(written.argument).line(count).raw(written.bytes).bytes());
    }
}

// A run of a host as a flight record: whole, and its events alone; with a write that is refused; and as a ring holds it, with
// what the driver held in the beginning.
void recordFlights(Recorder& recorder) {
    const auto save = [&recorder](const std::string& name, const std::vector<record::Event>& events) {
        record::RecordWriter writer{record::RunInfo()};
        std::string segment;
        record::EventEncoder encoder;
        encoder.restart({});
        for (const record::Event& event : events) {
            writer.add(event);
            if (const auto* start = std::get_if<record::SegmentStart>(&event.what)) {
                segment = record::segmentPayload(*start, {});
            } else {
                encoder.add(event);
            }
        }
        writer.close();
        const std::string payload = encoder.take();
        recorder.save("flight_record", name, FuzzOutput().u8(0).raw(writer.bytes()).bytes());
        recorder.save("flight_record", name + "-events", FuzzOutput().u8(1).raw(payload).bytes());
        recorder.save("flight_record", name + "-segment",
                      FuzzOutput().u8(2).u16(static_cast<int>(segment.size())).raw(segment).raw(payload).bytes());
    };
    const std::vector<record::Event> calls = test::scriptedCalls();
    save("good", calls);
    save("begin", {calls.begin(), calls.begin() + test::kAskHello + 1});
    std::vector<record::Event> refused = calls;
    refused[test::kTakeWrite].what = test::taking(test::shortReply(2));
    save("refused", refused);
    std::vector<record::Event> later(calls.begin() + test::kAskRead, calls.end());
    record::SegmentStart start;
    start.begin = record::SegmentBegin::Checkpoint;
    start.checkpoint = record::Checkpoint();
    start.checkpoint->settings = std::get<record::SetComInfo>(calls[test::kSetComInfo].what).settings;
    start.checkpoint->hasCallbacks = true;
    start.checkpoint->isConnected = true;
    start.checkpoint->sessionBytes = {4, 3, 2, 1};
    start.checkpoint->symbols = {{test::scopeWithSpeed()}};
    record::VarRecord read;
    read.area = 3;
    read.offset = 20;
    read.size = 2;
    start.checkpoint->readList = {read};
    start.checkpoint->image = {{3, 20, "\x01\x02"}};
    later.insert(later.begin(), test::eventOf(start));
    save("ring", later);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_record DIRECTORY\n");
        return 2;
    }
    Recorder recorder(argv[1]);
    Run(recorder, "good", sim::Fault()).play();
    for (std::uint16_t number = 1; sim::faultTraits(number) != nullptr; ++number) {
        const sim::FaultTraits& traits = *sim::faultTraits(number);
        Run(recorder, traits.name, {traits.kind, 0}).play();
    }
    recordTags(recorder);
    recordFlights(recorder);
    if (!recorder.isGood()) {
        std::fprintf(stderr, "fuzz_record: cannot write below %s\n", argv[1]);
        return 1;
    }
    return 0;
}
