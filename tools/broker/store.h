// Store is the file that messages wait in: a database of SQLite, read and written by one process, which holds the lock
// beside it. What write() has written survives a kill and, as far as the disk keeps what it said it wrote, a power cut.
//
// The journal is a write-ahead log, and each commit waits for the disk (PRAGMA synchronous = FULL): with NORMAL a power cut
// could take commits that were told as done, and messages with them that the broker does not get any more. That costs one
// wait a commit, and there is at most one a second.
//
// Not thread-safe.
#ifndef AC500_TOOLS_BROKER_STORE_H
#define AC500_TOOLS_BROKER_STORE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/broker/gap_list.h"
#include "tools/broker/message.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ac500::broker {

// How a step ended. Unwritable: the disk is full or read-only, the file is in use, ...: later it may be better, and nothing
// has changed. Damaged: what is in the file cannot be trusted; text says why.
struct StoreResult {
    enum class Kind { Good, Unwritable, Damaged };
    Kind kind = Kind::Good;
    std::string text;

    bool isGood() const { return kind == Kind::Good; }
};

struct StoredMessage {
    Message message;
    std::int64_t bornMs = 0;  // by the clock of ages: ms for which gateways have run with this store
};

// What the store says of itself, as of the last commit.
struct StoreContents {
    std::size_t messages = 0;
    std::uint64_t bytes = 0;               // of their topics and payloads
    std::int64_t settled = 0;              // of numbers below it is known what has become of them; 0: a new store
    std::int64_t ageClockMs = 0;           // grows while a gateway runs
    std::int64_t writtenMs = 0;            // Message::atMs of the latest message then
    std::optional<std::int64_t> oldestMs;  // Message::atMs of the oldest message
    std::int64_t lastSequence = 0;         // the highest of a message; 0: none
    GapList gaps;
};

// What a commit changes.
struct StoreChanges {
    std::vector<const StoredMessage*> added;  // ascending, all higher than what the store has
    const std::set<std::int64_t>* acknowledged = nullptr;
    std::int64_t bornBefore = 0;     // messages born before are too old
    std::uint64_t largestBytes = 0;  // of the file; the oldest go before it would grow beyond
    std::int64_t settled = 0;
    std::int64_t ageClockMs = 0;
    std::int64_t writtenMs = 0;
    GapList gaps;  // to which what is dropped is added
};

// Messages that went for age or size.
struct StoreDropped {
    std::uint64_t count = 0;
    std::int64_t last = 0;  // all up to this number are gone
};

class Store {
public:
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // Opens the file or makes it. Null unless *result is good.
    static std::unique_ptr<Store> open(const std::string& file, StoreResult* result);

    const StoreContents& contents() const { return contents_; }

    // All or nothing, in one commit. contents() has the gaps of what was dropped.
    StoreResult write(const StoreChanges& changes, StoreDropped* dropped);
    // The messages with the lowest numbers of (after, before), as many as `bytes` hold, but one at least if there is one.
    StoreResult read(std::int64_t after, std::int64_t before, std::uint64_t bytes, std::deque<Message>* messages);

private:
    class Statement;

    Store() = default;
    StoreResult prepareFile();
    StoreResult makeTables();
    StoreResult loadContents();
    StoreResult execute(const char* sql);
    StoreResult problem(int code) const;
    StoreResult number(const char* sql, std::int64_t* value);

    StoreResult change(const StoreChanges& changes, StoreContents* after, StoreDropped* dropped);
    StoreResult removeAcknowledged(const std::set<std::int64_t>& acknowledged, StoreContents* after);
    StoreResult drop(std::int64_t bornBefore, std::uint64_t enough, const char* reason, StoreContents* after,
                     StoreDropped* dropped);
    StoreResult insert(const StoredMessage& stored, StoreContents* after);
    StoreResult usedBytes(std::uint64_t* bytes);
    StoreResult writeGaps(const GapList& gaps);
    StoreResult writeNotes(StoreContents* after);

    sqlite3* database_ = nullptr;
    StoreContents contents_;
};

// The file and what belongs to it get the name FILE.damaged-N, N one more than the highest there is; of more than three the
// oldest is removed, so that they do not fill the disk. The new name; empty, and *problem says why, when that failed.
std::string setAside(const std::string& file, std::string* problem);

}  // namespace ac500::broker

#endif
