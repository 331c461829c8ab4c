// RunRecorder is the flight recorder of one run that talks to a PLC: it stands between the session, the driver and the
// connection.
#ifndef AC500_TOOLS_HOST_RUN_RECORDER_H
#define AC500_TOOLS_HOST_RUN_RECORDER_H

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/host/driver_library.h"
#include "tools/host/driver_recorder.h"
#include "tools/host/session_types.h"
#include "tools/host/transport.h"
#include "tools/record/flight_recorder.h"

namespace ac500::host {

class RunRecorder {
public:
    using RunSettings = std::vector<std::pair<std::string, std::string>>;

    // `program`: name and version; `runSettings`: names and texts of what the run was told, for whoever looks at the record.
    // `driver` must outlive this.
    RunRecorder(const record::RecorderSettings& settings, const std::string& program, RunSettings runSettings,
                const DriverLibrary& driver);

    // What the session is to call instead of the driver.
    const DriverFunctions& driver() const { return driver_.functions(); }
    std::unique_ptr<Transport> recorded(std::unique_ptr<Transport> transport);
    void note(const SessionEvent& event);

    // Saves the minutes once when `trigger` first answers with a reason.
    void saveWhen(std::function<std::optional<std::string>()> trigger) { recorder_.saveWhen(std::move(trigger)); }
    // The same at the first failure of a session, whose events `eventsSince` tells from a number on.
    void saveAtFailure(std::function<std::vector<SessionEvent>(std::size_t first)> eventsSince);
    // What is noted every minute, before a record is saved and at the end: times that were measured, a line for each kind.
    void noteLatencies(std::function<std::vector<std::string>()> lines);
    // The last minutes as a record, for a bundle. Empty when nothing is kept in memory.
    std::string minutes() { return recorder_.minutes(); }
    // Nothing is recorded afterwards, and the trigger is not asked again.
    void finish() { recorder_.finish(); }

    // What the recorder has to say, for a command to print where it suits it.
    struct Message {
        bool isProblem = false;
        std::string text;
    };
    bool hasMessages() const;
    std::vector<Message> takeMessages();

private:
    void tell(bool isProblem, const std::string& text);

    mutable std::mutex mutex_;  // guards messages_
    std::vector<Message> messages_;
    record::FlightRecorder recorder_;
    DriverRecorder driver_;
};

}  // namespace ac500::host

#endif
