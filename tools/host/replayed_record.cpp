#include "tools/host/replayed_record.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>
#include <utility>
#include <variant>

#include "core/codes.h"
#include "tools/driver/recorded_values.h"
#include "tools/host/reception_log.h"
#include "tools/host/tag_access.h"
#include "tools/host/terminal.h"
#include "tools/record/record_writer.h"
#include "tools/replay/apart.h"
#include "tools/replay/event_text.h"

namespace ac500::host {

namespace {

using record::Event;

constexpr char kTooLarge[] = "the memory of this machine is too small for it";
constexpr std::chrono::milliseconds kGlance{20};
constexpr std::uint8_t kFrameDoneWord = 12;  // counts replies that were processed, not those that were measured

// Which bytes the driver got from the PLC, and when.
class ReceptionWatch {
public:
    void see(const Event& event) {
        if (const auto* next = std::get_if<record::NextRequest>(&event.what)) {
            request_ = next->frame ? parseRequest(fromRecord(next->frame->frame)) : RequestFrame();
            return;
        }
        const auto* reply = std::get_if<record::TakeReply>(&event.what);
        const bool isProcessed =
            reply != nullptr && isAccepted(reply->result.status) &&
            std::any_of(event.settingsAfter.begin(), event.settingsAfter.end(),
                        [](const record::SettingsWord& word) { return word.index == kFrameDoneWord; });
        if (isProcessed && request_.service == Service::Read) {
            log_.record(request_.items, Time(event.monotonicUs));
        }
    }

    std::optional<Reception> reception(const Tag& tag) const { return log_.reception(tag.byteRuns()); }

private:
    RequestFrame request_;
    ReceptionLog log_;
};

// Sleeps until the event is due. False: Ctrl-C came before.
class Pace {
public:
    explicit Pace(double speed) : speed_(speed) {}

    bool waitFor(const Event& event) {
        if (speed_ <= 0) {
            return !wasInterrupted();
        }
        if (!hasBegun_) {
            hasBegun_ = true;
            first_ = event.monotonicUs;
        }
        const std::chrono::duration<double, std::micro> since(static_cast<double>(event.monotonicUs - first_) / speed_);
        const auto due = began_ + std::chrono::duration_cast<std::chrono::microseconds>(since);
        while (!wasInterrupted()) {
            const auto now = std::chrono::steady_clock::now();
            if (now >= due) {
                return true;
            }
            std::this_thread::sleep_for(
                std::min<std::chrono::steady_clock::duration>(due - now, std::chrono::milliseconds(kGlance)));
        }
        return false;
    }

private:
    const double speed_;
    bool hasBegun_ = false;
    std::int64_t first_ = 0;
    const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

// A value that did not come from the PLC is not known, whatever the image holds.
Json heldValue(const Tag& tag, const TagAccess& access, const ReceptionWatch& received, Time now) {
    TagValue value;
    if (const std::optional<Reception> reception = received.reception(tag)) {
        value.isKnown = true;
        value.age = std::chrono::duration_cast<Milliseconds>(now - reception->oldest);
        value.values = access.imageValues(tag);
    }
    Json json = tagValueJson(tag, value);
    json.erase("state");
    return {{"json", std::move(json)}, {"text", valueText(tag, value)}, {"age", ageText(value)}};
}

std::string workApart(const record::RunInfo& run, record::RecordReader& record, const replay::FreshDriver& fresh,
                      const ReplayWish& wish, replay::Progress& progress) {
    const host::DriverFunctions* driver = nullptr;
    replay::ReplayRun replayRun([&](std::string* error) { return driver = fresh(error); });
    record::RecordWriter answers(run);
    ReceptionWatch received;
    Pace pace(wish.speed);
    bool isInTime = true;
    std::int64_t lastUs = 0;
    progress.set(0);
    record.rewind();
    while (replayRun.position() < wish.events) {
        const std::optional<Event> event = record.next();
        isInTime = !event || pace.waitFor(*event);
        if (!event || !isInTime || !replayRun.replay(*event)) {
            break;
        }
        lastUs = event->monotonicUs;
        progress.set(replayRun.position());
        received.see(replayRun.answered());
        if (wish.wantsAnswers) {
            answers.add(replayRun.answered());
        }
    }
    Json result{{"position", replayRun.position()}, {"calls", replayRun.calls()},
                {"skipped", replayRun.skipped()},   {"divergences", replayRun.divergences()},
                {"problem", replayRun.problem()},   {"interrupted", !isInTime}};
    if (const std::optional<replay::Divergence>& first = replayRun.firstDivergence()) {
        result["first"] = {{"position", first->position},
                           {"field", first->difference.field},
                           {"expected", first->difference.expected},
                           {"actual", first->difference.actual},
                           {"call", replay::eventText(first->actual)}};
    }
    result["values"] = Json::array();
    if (driver != nullptr && replayRun.problem().empty() && replayRun.position() > 0) {
        const TagAccess access(*driver, wish.maxRequestBytes);
        const Time now(lastUs);
        for (const Tag& tag : wish.tags) {
            result["values"].push_back(heldValue(tag, access, received, now));
        }
    }
    std::string answersFile;
    if (wish.wantsAnswers) {
        answers.close();
        answersFile = answers.bytes();
    }
    return result.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n' + answersFile;
}

// The driver is not to be blamed for it.
std::string outOfMemory(const replay::Progress& progress) {
    const Json result{{"position", progress.get()}, {"calls", 0},           {"skipped", 0},
                      {"divergences", 0},           {"problem", kTooLarge}, {"interrupted", false},
                      {"values", Json::array()}};
    return result.dump() + '\n';
}

ReplayedRecord resultOf(const std::string& text) {
    ReplayedRecord replayed;
    const std::size_t line = text.find('\n');
    const Json result = Json::parse(text.substr(0, line), nullptr, false);
    if (!result.is_object()) {
        replayed.problem = "the replay ended without a result";
        return replayed;
    }
    replayed.position = result["position"];
    replayed.calls = result["calls"];
    replayed.skipped = result["skipped"];
    replayed.divergences = result["divergences"];
    replayed.problem = result["problem"];
    replayed.wasInterrupted = result["interrupted"];
    if (const auto first = result.find("first"); first != result.end()) {
        replayed.first = ReplayedRecord::FirstDivergence{
            (*first)["position"], {(*first)["field"], (*first)["expected"], (*first)["actual"]}, (*first)["call"]};
    }
    for (const Json& value : result["values"]) {
        replayed.values.push_back({value["json"], value["text"], value["age"]});
    }
    replayed.answers = text.substr(line + 1);
    return replayed;
}

}  // namespace

bool ReplayDriver::load(std::string* error) {
    library_.reset();
    library_ =
        path_.empty() ? DriverLibrary::loadFirst(defaultDriverPaths(), error) : DriverLibrary::load(path_, error);
    wasHandedOut_ = false;
    return library_ != nullptr;
}

replay::FreshDriver ReplayDriver::fresh() {
    return [this](std::string* error) -> const DriverFunctions* {
        if (wasHandedOut_ && !load(error)) {
            return nullptr;
        }
        wasHandedOut_ = true;
        return &library_->functions();
    };
}

ReplayedRecord replayRecord(const record::RunInfo& run, record::RecordReader& record, ReplayDriver& driver,
                            const ReplayWish& wish, const std::function<void(std::size_t)>& watch) {
    const replay::FreshDriver fresh = driver.fresh();
    const auto work = [&](replay::Progress& progress) {
        try {
            return workApart(run, record, fresh, wish, progress);
        } catch (const std::bad_alloc&) {
            return outOfMemory(progress);
        }
    };
    const replay::ApartEnd end =
        replay::runApart(work, std::nullopt, [&watch](std::uint64_t step) { watch(static_cast<std::size_t>(step)); });
    if (end.kind == replay::ApartEnd::Kind::Done) {
        return resultOf(end.result);
    }
    ReplayedRecord replayed;
    replayed.position = static_cast<std::size_t>(end.step);
    replayed.signal = end.signal;
    if (end.kind != replay::ApartEnd::Kind::Signal) {
        replayed.problem = "the replay could not be started: the system has no room for another process";
    }
    return replayed;
}

}  // namespace ac500::host
