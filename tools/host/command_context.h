// CommandContext is what a command of ac500-host works with: the options, and symbol file, driver and session, opened
// step by step, each step with its own failure. Used by the main thread alone.
#ifndef AC500_TOOLS_HOST_COMMAND_CONTEXT_H
#define AC500_TOOLS_HOST_COMMAND_CONTEXT_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/host/command_line.h"
#include "tools/host/host_session.h"
#include "tools/host/offline_driver.h"
#include "tools/selection/choice.h"

namespace ac500::host {

class CommandContext {
public:
    // How often a command that waits looks for Ctrl-C and its deadline.
    static constexpr Milliseconds kGlance{50};

    explicit CommandContext(const Options& options) : options_(options) {}

    // In this order. All return false on failure, and *failure then says why.
    bool openSymbols(Failure* failure);  // lists every problem of the file
    // What the entries of a list stand for; lists everything that is wrong with list and entries.
    bool chooseTags(const selection::EntryList& list, selection::Expansion expansion,
                    std::vector<selection::ChosenTag>* chosen, Failure* failure) const;
    // The tags that the command's arguments stand for.
    bool chooseTags(std::vector<Tag>* tags, Failure* failure) const;
    // The tag of each of them; lists every one that names none.
    bool findTags(const std::vector<selection::ChosenTag>& chosen, std::vector<Tag>* tags, Failure* failure) const;
    // Loads the driver, starts the session and reads the tags in every cycle.
    bool startSession(const std::vector<Tag>& tags, Failure* failure);

    // Loads the driver to be asked what it would do: for a command without a PLC.
    bool openOfflineDriver(Failure* failure);
    // Does the driver know these tags? Lists all that it does not.
    bool driverKnows(const std::vector<Tag>& tags, Failure* failure) const;

    const Options& options() const { return options_; }
    const TagTable& tags() const { return *tags_; }
    const DriverLibrary& driver() const { return *driver_; }
    HostSession& session() { return *session_; }
    OfflineDriver& offlineDriver() { return *offlineDriver_; }

    // Ends a command that could not begin; returns its exit code.
    int cannotBegin(const Failure& failure) const;

    // Waits until `isDone`, at most `timeout` or until Ctrl-C. Is it done?
    bool waitUntil(Milliseconds timeout, const std::function<bool()>& isDone);
    // Has every tag a value?
    bool areReceived(const std::vector<Tag>& tags);
    // Would tellEvents() print anything?
    bool hasEventsToTell() const;
    // With --verbose, prints what went wrong since the last call. To be called now and then.
    void tellEvents();

private:
    bool openDriver(Failure* failure);

    const Options options_;
    SteadyClock clock_;
    std::unique_ptr<TagTable> tags_;
    std::unique_ptr<DriverLibrary> driver_;
    std::unique_ptr<OfflineDriver> offlineDriver_;
    std::unique_ptr<HostSession> session_;  // last: it uses the others until it ends
    std::size_t eventsTold_ = 0;
};

}  // namespace ac500::host

#endif
