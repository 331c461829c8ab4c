// Plant is the one session with a PLC that all doors of the gateway share, and what they see of it: a board with the latest
// value of each tag. Doors ask the board what has changed since they looked last; nothing is queued for them, so a slow
// viewer gets the latest values later, and costs nobody anything.
//
// Every function may be called from any thread, but start() and stop(), which belong to the owner.
#ifndef AC500_TOOLS_GATEWAY_PLANT_H
#define AC500_TOOLS_GATEWAY_PLANT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/gateway/plant_settings.h"
#include "tools/gateway/time_line.h"
#include "tools/gateway/trend_store.h"
#include "tools/host/audit_gate.h"
#include "tools/host/driver_library.h"
#include "tools/host/host_session.h"
#include "tools/host/run_recorder.h"
#include "tools/host/write_path.h"

namespace ac500::gateway {

// A tag that the settings select. Its place in Plant::tags() is its number in all doors, for as long as the process lives.
struct PlantTag {
    host::Tag tag;
    std::string name;         // "Main.motor[2].speed"
    std::string scope;        // "Main"
    std::string type;         // "INT", "3 x INT", "bit of WORD"
    std::string unit;         // "°C"; empty: none
    std::string description;  // the comment of its variable
    bool isWritable = false;  // the settings name it, and the symbol file allows it
    bool isKept = false;      // in the trend store, from the start
    std::size_t series = 0;   // of the trend store, when it is kept
};

struct BoardValue {
    host::TagValue value;            // its age is that of the moment when the board was asked
    std::vector<std::string> texts;  // one for each element, as `ac500-host read` shows it; none when it is not known
    std::uint64_t revision = 0;      // of the board, when the value or its state changed last
};

// The number of a tag, and what the board has of it.
using BoardEntry = std::pair<std::size_t, BoardValue>;

// A write as a door orders it.
struct PlantWrite {
    std::size_t tag = 0;  // its number
    host::HostValues values;
    std::optional<host::HostValues> replaces;   // what the PLC must hold immediately before
    std::optional<host::Milliseconds> expires;  // from now on; nothing: as the settings say
    std::string number;                         // that can be used once; empty: none
    std::string who;                            // for the audit
};

class Plant {
public:
    // Loads symbols and driver and chooses the tags; nothing of it needs the PLC. Null on failure, which *failure tells.
    static std::unique_ptr<Plant> open(const PlantSettings& settings, host::Failure* failure);
    ~Plant();
    Plant(const Plant&) = delete;
    Plant& operator=(const Plant&) = delete;

    // Does the driver read all tags? Instead of start(), without a PLC. If not, *failure tells.
    bool checkDriver(host::Failure* failure) const;
    // Begins the session and the collector's thread. To be called once. False on failure, which *failure tells.
    bool start(host::Failure* failure);
    // Ends both; what is known stays. Idempotent.
    void stop();

    // Constant since open()
    const PlantSettings& settings() const { return settings_; }
    std::string name() const;  // as people know the PLC: by the settings, else by its address
    const host::TagTable& symbols() const { return symbols_; }
    const std::string& fingerprint() const { return fingerprint_; }  // of the symbols, sixteen hexadecimal digits
    const std::vector<PlantTag>& tags() const { return tags_; }
    // Nothing for a name that was not selected.
    std::optional<std::size_t> numberOf(const std::string& name) const;

    // Monotonic; the clock of all times here.
    host::Time now() const { return clock_.now(); }

    // Grows with each change of a value or a state; 0 before the first.
    std::uint64_t revision() const;
    // How many passes over the list of tags had ended when the board was filled last: it has what they received. Listeners are
    // woken when it has grown.
    std::uint64_t pass() const { return pass_; }
    // Those of `tags` that changed after `revision`, in the order of `tags`; with 0 all of them.
    // REQUIRES: each is the number of a tag
    std::vector<BoardEntry> changedSince(std::uint64_t revision, const std::vector<std::size_t>& tags) const;
    // When each was received, its oldest byte; nothing of those that never were.
    std::vector<std::optional<host::Time>> received(const std::vector<std::size_t>& tags) const;

    // Since start(), and bounded.
    const TrendStore& trend() const { return *trend_; }  // PlantTag::series; in units of the plant
    const TimeLine& timeLine() const { return timeLine_; }
    // What is read of the PLC's memory, and by which requests, as a drawing of its own. Takes its time when it is asked for
    // first. Nothing when it cannot be made; *failure then says why.
    std::optional<std::string> planSvg(host::Failure* failure) const;

    // What happened to values on their way, for metrics: each counts from 0 at the start.
    struct ValueCounts {
        std::uint64_t received = 0;   // by the board
        std::uint64_t suspect = 0;    // of these
        std::uint64_t changed = 0;    // value or state
        std::uint64_t published = 0;  // as doors have told
    };
    ValueCounts valueCounts() const;
    // How many tags are in each state, by host::ValueState.
    std::vector<std::size_t> countByState() const;
    // A door has sent so many values to viewers.
    void countPublished(std::size_t values) { published_ += values; }

    host::SessionStatus status() const { return session_.status(); }
    host::Latencies latencies() const { return session_.latencies(); }
    // Outcomes of writes that could not be put into the audit.
    std::vector<std::string> auditProblems() const;
    // What the recorder has said since the last call: where it saved a record, and what is wrong with its files.
    std::vector<host::RunRecorder::Message> takeRecorderMessages();
    std::vector<host::SessionEvent> eventsSince(std::size_t first) const { return session_.eventsSince(first); }

    // Text as a person types it to what the PLC is to get, with `,` or `.` as decimal sign. Nothing when it is no value of
    // the tag; *error then says why.
    std::optional<host::HostValues> parse(std::size_t tag, const std::string& text, std::string* error) const;
    // The texts of BoardValue for values as the PLC has them.
    std::vector<std::string> textsOf(std::size_t tag, const host::HostValues& values) const;
    // The reverse, for PlantWrite::replaces. Nothing when they are no texts of the tag; *error then says why.
    std::optional<host::HostValues> valuesOf(std::size_t tag, const std::vector<std::string>& texts,
                                             std::string* error) const;

    // Returns at once; listeners are woken when the write has ended, unless it had when this returns. Nothing for a tag that
    // is not writable here; *failure then says so.
    std::optional<host::WriteTicket> write(const PlantWrite& write, host::Failure* failure);
    // Nothing for a ticket that is unknown or long ended.
    std::optional<host::WriteReport> report(const host::WriteTicket& ticket) const;

    // `wake` is called on another thread whenever the board, the session's state or the fate of a write may have changed. It
    // must not block, and may call nothing of Plant. After removeListener() it is not called any more.
    int addListener(std::function<void()> wake);
    void removeListener(int listener);

    // For doors that serve programs with tags of their own: the session and the way to it. They see each tag of the
    // symbols; what they write is held against the settings by mayWrite().
    host::HostSession& session() { return session_; }
    host::WritePath& writes() { return *writes_; }
    // Do the settings allow writes to it? To tags that they name, and to parts of these. If not, *failure says so.
    bool mayWrite(const host::Tag& tag, host::Failure* failure) const;
    // Reads these tags in every cycle, too, until stopPolling(). REQUIRES: the driver knows them
    int startPolling(const std::vector<host::Tag>& tags);
    void stopPolling(int polling);

private:
    struct Slot {
        host::TagValue value;
        std::uint64_t revision = 0;
        bool isInGap = true;  // of a tag that is kept: nothing was received since the last gap began
    };

    // The parts that do not change, made before the object.
    struct Parts {
        PlantSettings settings;
        host::TagTable symbols;
        std::unique_ptr<host::DriverLibrary> driver;
    };
    explicit Plant(Parts parts);

    bool chooseTags(host::Failure* failure);
    void addTag(const host::Tag& tag);
    std::vector<host::Tag> readTags() const;  // those of tags()
    void poll();                              // REQUIRES: pollingMutex_ is held
    void collect();
    void look(const host::SessionStatus& status);
    void keep(const PlantTag& tag, const host::TagValue& value, bool isOnline, Slot* slot);
    void wakeListeners();
    BoardValue boardValue(std::size_t tag, const Slot& slot, host::Time now) const;

    // Constant after open()
    const PlantSettings settings_;
    const host::TagTable symbols_;
    const std::string fingerprint_;
    std::vector<PlantTag> tags_;
    std::unordered_map<std::string, std::size_t> numbers_;

    host::SteadyClock clock_;
    const std::unique_ptr<host::DriverLibrary> driver_;
    const std::unique_ptr<host::RunRecorder> recorder_;  // null: nothing is recorded
    host::HostSession session_;
    std::shared_ptr<host::AuditGate> audit_;   // null without one; constant once the session is started
    std::unique_ptr<host::WritePath> writes_;  // constant once the session is started

    std::unique_ptr<TrendStore> trend_;  // constant after open()
    TimeLine timeLine_;
    mutable std::mutex planMutex_;
    mutable std::optional<std::string> plan_;  // planMutex_; once it was asked for

    std::atomic<std::uint64_t> received_{0};
    std::atomic<std::uint64_t> suspect_{0};
    std::atomic<std::uint64_t> published_{0};

    mutable std::mutex boardMutex_;
    std::vector<Slot> board_;                 // boardMutex_; as tags_
    std::atomic<std::uint64_t> revision_{0};  // grows under boardMutex_
    std::atomic<std::uint64_t> pass_{0};

    std::mutex listenersMutex_;
    std::map<int, std::function<void()>> listeners_;  // listenersMutex_, also while they are called
    int nextListener_ = 1;                            // listenersMutex_

    std::mutex pollingMutex_;
    std::map<int, std::vector<host::Tag>> pollings_;  // pollingMutex_
    int nextPolling_ = 1;                             // pollingMutex_

    std::atomic<bool> isStopping_{false};
    std::atomic<bool> mustLook_{false};  // a write was ordered: what it writes is pending
    std::thread collector_;
};

}  // namespace ac500::gateway

#endif
