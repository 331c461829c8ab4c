// CommandContext is what a command of ac500-host works with: the options, and symbol file, driver and session, opened
// step by step, each step with its own failure. Used by the main thread alone.
#ifndef AC500_TOOLS_HOST_COMMAND_CONTEXT_H
#define AC500_TOOLS_HOST_COMMAND_CONTEXT_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/host/audit_gate.h"
#include "tools/host/command_line.h"
#include "tools/host/condition.h"
#include "tools/host/host_session.h"
#include "tools/host/offline_driver.h"
#include "tools/host/run_recorder.h"
#include "tools/host/via/via_session.h"
#include "tools/host/write_path.h"
#include "tools/selection/choice.h"

namespace ac500::host {

// The recorder that the options ask for; null when nothing is to be recorded. `driver` must outlive it.
std::unique_ptr<RunRecorder> recorderOf(const Options& options, const DriverLibrary& driver);

// Of the event ValueOverwritten: the variable, with which its message begins.
std::string overwrittenTag(const SessionEvent& event);

class CommandContext {
public:
    // How often a command that waits looks for Ctrl-C and its deadline.
    static constexpr Milliseconds kGlance{50};

    explicit CommandContext(const Options& options)
        : options_(options), plc_(options.plc.text()), symbolsFile_(options.symbols) {}
    ~CommandContext();  // as finish()
    CommandContext(const CommandContext&) = delete;
    CommandContext& operator=(const CommandContext&) = delete;

    // In this order. All return false on failure, and *failure then says why.
    bool openSymbols(Failure* failure);  // lists every problem of the file; with --via the gateway is reached first
    // What the entries of a list stand for; lists everything that is wrong with list and entries.
    bool chooseTags(const selection::EntryList& list, selection::Expansion expansion,
                    std::vector<selection::ChosenTag>* chosen, Failure* failure) const;
    // The tags that the command's arguments stand for.
    bool chooseTags(std::vector<Tag>* tags, Failure* failure) const;
    // The tag of each of them; lists every one that names none.
    bool findTags(const std::vector<selection::ChosenTag>& chosen, std::vector<Tag>* tags, Failure* failure) const;
    // Loads the driver, starts the session and reads the tags in every cycle; with --via the gateway has all of it.
    bool startSession(const std::vector<Tag>& tags, Failure* failure);

    // Another one may be started then. REQUIRES: nothing is recorded, and a session was started
    void endSession();

    // Loads the driver to be asked what it would do: for a command without a PLC.
    bool openOfflineDriver(Failure* failure);
    // Does the driver know these tags? Lists all that it does not.
    bool driverKnows(const std::vector<Tag>& tags, Failure* failure) const;

    const Options& options() const { return options_; }
    const TagTable& tags() const { return *tags_; }
    const DriverLibrary& driver() const { return *driver_; }
    Session& session() { return *session_; }
    // REQUIRES: startSession(), and no --via
    const HostSession& ownSession() const { return *ownSession_; }
    // Where the session's writes are ordered. `audit`: null for none, and with --via, where the gateway keeps it. `count`: so many
    // outcomes are remembered. To be called once. REQUIRES: startSession()
    WriteOrders& openWrites(const std::shared_ptr<AuditGate>& audit, std::size_t count);

    // The gateway of --via; null without.
    const via::ViaSession* gateway() const { return gateway_; }
    // The address of the PLC, and the name of the symbol file, whoever has them.
    const std::string& plc() const { return plc_; }
    const std::string& symbolsFile() const { return symbolsFile_; }
    // Of the session; null before it, and when nothing is recorded. minutes() of it is what a bundle takes.
    RunRecorder* recorder() { return recorder_.get(); }
    OfflineDriver& offlineDriver() { return *offlineDriver_; }

    // Ends the session, and tells what happened until then. Ends the record of it, too.
    void finish();
    // Was a record asked for that could not be written, or not all of it? For certain only after finish().
    bool hasLostRecord() const { return hasLostRecord_; }

    // Ends a command that could not begin; returns its exit code.
    int cannotBegin(const Failure& failure) const;

    // Waits until `isDone`, at most `timeout` or until Ctrl-C. Is it done?
    bool waitUntil(Milliseconds timeout, const std::function<bool()>& isDone);
    // Has every tag a value?
    bool areReceived(const std::vector<Tag>& tags);
    // Resets the measured times when the user asked for it (SIGUSR2). To be called now and then.
    void resetIfAsked();
    // Would tellEvents() print anything?
    bool hasEventsToTell() const;
    // Prints what the recorder has to say, and the events since the last call that are wanted: by --log-level, by
    // --handshake, and of each variable that nobody else is to write the first time that somebody did. To be called now and
    // then.
    void tellEvents();

private:
    bool isWanted(const SessionEvent& event) const;
    bool loadLearned(std::optional<guard::HandshakePattern>* learned, Failure* failure) const;
    bool openDriver(Failure* failure);
    bool openGateway(Failure* failure);
    bool startOwnSession(const std::vector<Tag>& tags, Failure* failure);
    bool startViaSession(const std::vector<Tag>& tags, Failure* failure);
    HostSession::Parts sessionParts();
    bool startRecorder(std::optional<Condition>* saveWhen, Failure* failure);
    void saveWhen(const std::optional<Condition>& condition);
    void tellOfRecords();

    const Options options_;
    SteadyClock clock_;
    std::unique_ptr<TagTable> tags_;
    std::unique_ptr<DriverLibrary> driver_;
    std::unique_ptr<OfflineDriver> offlineDriver_;
    std::unique_ptr<RunRecorder> recorder_;
    std::string plc_;
    std::string symbolsFile_;
    std::unique_ptr<Session> session_;    // behind all that it uses until it ends
    HostSession* ownSession_ = nullptr;   // session_, or null
    via::ViaSession* gateway_ = nullptr;  // likewise
    std::unique_ptr<WritePath> writes_;   // of ownSession_
    std::size_t eventsTold_ = 0;
    std::set<std::string> overwrittenTold_;  // the tags of which it was told
    bool hasLostRecord_ = false;
};

}  // namespace ac500::host

#endif
