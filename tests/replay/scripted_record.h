// A short run of a host with the driver, as a record: registration, handshake, one read, one value.
#ifndef AC500_TESTS_REPLAY_SCRIPTED_RECORD_H
#define AC500_TESTS_REPLAY_SCRIPTED_RECORD_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/places.h"
#include "tools/host/driver_library.h"
#include "tools/record/event.h"
#include "tools/replay/driver_caller.h"
#include "tools/replay/replay_run.h"

namespace ac500::test {

// Where its events stand.
enum ScriptedEvent : std::size_t {
    kBegin,
    kSetComInfo,
    kRegister,
    kAreas,
    kSymbols,
    kReadList,
    kAskHello,
    kMeasureHello,
    kTakeHello,
    kAskSymbols,
    kMeasureSymbols,
    kTakeSymbols,
    kAskRead,
    kMeasureRead,
    kTakeRead,
    kGetValue,
    kResolve,
    kWrite,
    kAskWrite,
    kMeasureWrite,
    kTakeWrite,
    kEventsInScript
};

// 206 bytes: envelope, status word 0, zeros.
inline std::string helloReply() {
    return std::string("\xBB\xBB\0\0\0\xC8", 6) + std::string(200, '\0');
}

// 36 bytes: envelope, status word 0, and the session bytes 1 2 3 4 at 24.
inline std::string symbolsReply() {
    std::string reply = std::string("\xBB\xBB\0\0\0\x1E", 6) + std::string(30, '\0');
    reply.replace(24, 4, "\x01\x02\x03\x04");
    return reply;
}

// Two bytes of one item: 12 34.
inline std::string readReply() {
    return std::string("\xBB\xBB\0\0\0\x09\0\0\0\0\0\0\0\x12\x34", 15);
}

inline std::string shortReply(char status = 0) {
    return std::string("\xBB\xBB\0\0\0\x02\0", 7) + status;
}

inline record::Event eventOf(record::What what) {
    record::Event event;
    event.what = std::move(what);
    return event;
}

inline record::TakeReply taking(const std::string& reply) {
    record::TakeReply call;
    call.reply = reply;
    call.received = static_cast<std::int32_t>(reply.size());
    return call;
}

// Main.speed, an INT at 20 of area 3.
inline record::LabelRecord scopeWithSpeed() {
    record::LabelRecord speed;
    speed.name = u"speed";
    speed.type = 3;
    speed.offset = 20;
    speed.areaList = {3};
    record::LabelRecord scope;
    scope.name = u"Main";
    scope.type = 12;
    scope.memberCount = 1;
    scope.members = {speed};
    scope.elementType = {scope};
    return scope;
}

// The calls with their arguments, the answers empty.
inline std::vector<record::Event> scriptedCalls() {
    record::SetComInfo settings;
    settings.settings[4] = 100;  // maxRequestWords
    settings.settings[7] = 1;    // retryLimit
    settings.settings[16] = 2;   // accessMode: values are written to the PLC
    record::GetValue value;
    value.label = u"Main.speed";
    value.argument = u"";
    value.count = 1;
    record::SetValue write;
    write.label = u"Main.speed";
    write.argument = u"";
    write.in = "\x78\x56";
    write.count = 1;
    write.hostId = 1;
    write.hostSubId = 77;
    const std::vector<record::What> whats{
        record::SegmentStart(),
        settings,
        record::RegisterCallbacks(),
        record::SetLocalRegisters(),
        record::PassSymbols{std::vector<record::LabelRecord>{scopeWithSpeed()}},
        record::RebuildReadList{std::vector<record::TagRecord>{{0, 0, u"", u"Main.speed", 1}}},
        record::NextRequest(),
        taking(helloReply()),
        taking(helloReply()),
        record::NextRequest(),
        taking(symbolsReply()),
        taking(symbolsReply()),
        record::NextRequest(),
        taking(readReply()),
        taking(readReply()),
        value,
        record::ResolveTag{u"Main.speed"},
        write,
        record::NextRequest(),
        taking(shortReply()),
        taking(shortReply()),
    };
    std::vector<record::Event> events;
    for (const record::What& what : whats) {
        events.push_back(eventOf(what));
        events.back().number = events.size() - 1;
        events.back().monotonicUs = 1000 * static_cast<std::int64_t>(events.size() - 1);
        events.back().utcUs = 1795348800000000 + events.back().monotonicUs;
    }
    return events;
}

// The driver as it is shipped, loaded anew for each run.
class ShippedDriver {
public:
    // What fresh() hands out is changed by this.
    std::function<void(host::DriverFunctions*)> change;
    int loaded = 0;

    replay::FreshDriver fresh() {
        return [this](std::string* error) -> const host::DriverFunctions* {
            library_.reset();
            library_ = host::DriverLibrary::load(kDriver, error);
            if (library_ == nullptr) {
                return nullptr;
            }
            ++loaded;
            functions_ = library_->functions();
            if (change) {
                change(&functions_);
            }
            return &functions_;
        };
    }

private:
    std::unique_ptr<host::DriverLibrary> library_;
    host::DriverFunctions functions_;
};

// What the shipped driver answers to these calls.
inline std::vector<record::Event> answeredBy(ShippedDriver& driver, const std::vector<record::Event>& calls) {
    std::vector<record::Event> events;
    replay::ReplayRun run(calls, driver.fresh());
    while (run.step()) {
        events.push_back(run.answered());
    }
    return events;
}

}  // namespace ac500::test

#endif
