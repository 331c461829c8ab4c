#include "tools/host/run_recorder.h"

#include <sys/utsname.h>

#include <random>
#include <utility>

#include "tools/host/latencies.h"
#include "tools/host/transport_recorder.h"

namespace ac500::host {

namespace {

std::string architecture() {
    utsname names{};
    return uname(&names) == 0 ? names.machine : "";
}

record::RunInfo runInfo(const std::string& program, RunRecorder::RunSettings settings, const DriverLibrary& driver) {
    std::random_device random;
    record::RunInfo run;
    run.runId = std::uint64_t{random()} << 32 | random();
    run.program = program;
    run.driver = driver.path();
    run.driverBuild = driver.buildId();
    run.architecture = architecture();
    run.qtVersion = qVersion();
    run.settings = std::move(settings);
    return run;
}

}  // namespace

RunRecorder::RunRecorder(const record::RecorderSettings& settings, const std::string& program, RunSettings runSettings,
                         const DriverLibrary& driver)
    : recorder_(settings, runInfo(program, std::move(runSettings), driver),
                [this](bool isProblem, const std::string& text) { tell(isProblem, text); }),
      driver_(driver.functions(), driver.state(), recorder_) {}

std::unique_ptr<Transport> RunRecorder::recorded(std::unique_ptr<Transport> transport) {
    return std::make_unique<TransportRecorder>(std::move(transport), recorder_);
}

void RunRecorder::note(const SessionEvent& event) {
    const record::NoteKind kind = event.failure.occurred() ? record::NoteKind::Failure : record::NoteKind::Event;
    recorder_.note(kind, events::rowOf(event.event).id, event.message());
}

void RunRecorder::saveAtFailure(std::function<std::vector<SessionEvent>(std::size_t first)> eventsSince) {
    recorder_.saveWhen(
        [eventsSince = std::move(eventsSince), seen = std::size_t{0}]() mutable -> std::optional<std::string> {
            for (const SessionEvent& event : eventsSince(seen)) {
                seen = event.number + 1;
                if (event.failure.occurred()) {
                    return event.failure.text;
                }
            }
            return std::nullopt;
        });
}

void RunRecorder::noteLatencies(std::function<std::vector<std::string>()> lines) {
    recorder_.remarkWith(kLatencyNoteId, std::move(lines));
}

void RunRecorder::tell(bool isProblem, const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    messages_.push_back({isProblem, text});
}

bool RunRecorder::hasMessages() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !messages_.empty();
}

std::vector<RunRecorder::Message> RunRecorder::takeMessages() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(messages_, {});
}

}  // namespace ac500::host
