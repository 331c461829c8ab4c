#include "tools/broker/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "tools/broker/store_lock.h"
#include "tools/text/checksum.h"

namespace ac500::broker {

namespace {

namespace fs = std::filesystem;
using Kind = StoreResult::Kind;

constexpr std::int64_t kApplication = 0x41433578;  // "AC5x"
constexpr std::int64_t kVersion = 1;               // of the tables below

// Rows have their sizes before their texts, so that those can be told without reading the texts. `written` is what is
// known of all: one row.
constexpr const char* kTables =
    "CREATE TABLE messages(sequence INTEGER PRIMARY KEY, born INTEGER NOT NULL, at INTEGER NOT NULL,"
    " bytes INTEGER NOT NULL, checksum INTEGER NOT NULL, topic BLOB NOT NULL, payload BLOB NOT NULL);"
    "CREATE TABLE gaps(place INTEGER PRIMARY KEY, first INTEGER NOT NULL, last INTEGER NOT NULL, start INTEGER NOT "
    "NULL,"
    " end INTEGER NOT NULL, reason BLOB NOT NULL, sequence INTEGER, at INTEGER, topic BLOB, payload BLOB);"
    "CREATE TABLE written(one INTEGER PRIMARY KEY CHECK(one = 1), settled INTEGER NOT NULL, age INTEGER NOT NULL,"
    " at INTEGER NOT NULL, messages INTEGER NOT NULL, bytes INTEGER NOT NULL);"
    "INSERT INTO written VALUES(1, 0, 0, 0, 0, 0);";

// How SQLite lays out rows: a page holds as many as fit; what is longer goes into pages of its own.
constexpr std::uint64_t kPageBytes = 4096;
constexpr std::uint64_t kPageRoom = 4084;   // of a page, for rows
constexpr std::uint64_t kRowOverhead = 48;  // numbers, sizes, the row's place in its page
// Pages of the tree above the rows, gaps and notes; a little more than they take.
constexpr std::uint64_t kReservedBytes = 16 * kPageBytes;

std::uint64_t bytesOf(const Message& message) {
    return message.topic.size() + message.payload.size();
}

// What a row takes of the file.
std::uint64_t fileBytes(std::uint64_t textBytes) {
    const std::uint64_t row = textBytes + kRowOverhead;
    if (row <= kPageRoom) {
        return kPageBytes / (kPageRoom / row) + kPageBytes / 256;
    }
    return (2 + row / kPageRoom) * kPageBytes;
}

std::uint32_t checksumOf(const Message& message) {
    return text::crc32(message.payload, text::crc32(message.topic));
}

// The files of damaged stores, by N.
std::vector<unsigned long> asideNumbers(const std::string& file) {
    const std::string begin = fs::path(file).filename().string() + ".damaged-";
    const fs::path folder = fs::path(file).parent_path();
    std::vector<unsigned long> numbers;
    std::error_code ignored;
    // By hand: the loop of the language throws when a disk that is going cannot be read on.
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, ignored); entry != fs::directory_iterator();
         entry.increment(ignored)) {
        const std::string name = entry->path().filename().string();
        const std::string number = name.size() > begin.size() ? name.substr(begin.size()) : "";
        constexpr std::size_t kMostDigits = 9;
        if (name.compare(0, begin.size(), begin) == 0 && !number.empty() && number.size() <= kMostDigits &&
            number.find_first_not_of("0123456789") == std::string::npos) {
            numbers.push_back(std::stoul(number));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace

// One statement of SQL, run once. The first problem stays, and nothing is done after it.
class Store::Statement {
public:
    Statement(Store& store, const char* sql) : store_(store) {
        take(sqlite3_prepare_v2(store.database_, sql, -1, &statement_, nullptr));
        // The tables are not those that this program makes.
        if (result_.kind == Kind::Unwritable && sqlite3_errcode(store.database_) == SQLITE_ERROR) {
            result_.kind = Kind::Damaged;
        }
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(std::int64_t value) {
        ++parameter_;
        if (result_.isGood()) {
            take(sqlite3_bind_int64(statement_, parameter_, value));
        }
        return *this;
    }
    // The text must live until the statement has run.
    Statement& bind(const std::string& text) {
        ++parameter_;
        if (result_.isGood()) {
            take(sqlite3_bind_blob64(statement_, parameter_, text.data(), text.size(), SQLITE_STATIC));
        }
        return *this;
    }

    // Is there one more row?
    bool next() {
        if (!result_.isGood()) {
            return false;
        }
        const int code = sqlite3_step(statement_);
        if (code != SQLITE_ROW && code != SQLITE_DONE) {
            take(code);
        }
        return code == SQLITE_ROW;
    }
    std::int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
    bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    std::string text(int column) const {
        const char* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
        const int size = sqlite3_column_bytes(statement_, column);
        return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(size));
    }
    Message message(int sequence, int at, int topic, int payload) const {
        return {text(topic), text(payload), number(sequence), number(at)};
    }

    StoreResult run() {
        next();
        return result_;
    }
    const StoreResult& result() const { return result_; }

private:
    void take(int code) {
        if (code != SQLITE_OK && result_.isGood()) {
            result_ = store_.problem(code);
        }
    }

    Store& store_;
    sqlite3_stmt* statement_ = nullptr;
    int parameter_ = 0;
    StoreResult result_;
};

Store::~Store() {
    sqlite3_close(database_);
}

std::unique_ptr<Store> Store::open(const std::string& file, StoreResult* result) {
    std::unique_ptr<Store> store(new Store);
    const int code = sqlite3_open_v2(file.c_str(), &store->database_,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_PRIVATECACHE, nullptr);
    *result = code == SQLITE_OK ? store->prepareFile() : store->problem(code);
    if (result->isGood()) {
        *result = store->loadContents();
    }
    if (!result->isGood()) {
        return nullptr;
    }
    return store;
}

StoreResult Store::problem(int code) const {
    const int kind = code & 0xFF;
    std::string text = database_ == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(database_);
    const int systemCode = database_ == nullptr ? 0 : sqlite3_system_errno(database_);
    const bool isOfSystem = kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN || kind == SQLITE_FULL;
    if (isOfSystem && systemCode != 0) {
        text += std::string(" (") + std::strerror(systemCode) + ")";
    }
    const bool isDamaged = kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB || kind == SQLITE_FORMAT ||
                           kind == SQLITE_MISMATCH || kind == SQLITE_CONSTRAINT;
    return {isDamaged ? Kind::Damaged : Kind::Unwritable, text};
}

StoreResult Store::execute(const char* sql) {
    const int code = sqlite3_exec(database_, sql, nullptr, nullptr, nullptr);
    return code == SQLITE_OK ? StoreResult() : problem(code);
}

StoreResult Store::number(const char* sql, std::int64_t* value) {
    Statement statement(*this, sql);
    if (statement.next()) {
        *value = statement.number(0);
    }
    return statement.result();
}

// Looks what it is before anything of it is changed. The lock of SQLite is held as long as the file is open, so that its log
// needs no shared memory; some other program that has the file open for a moment is waited for.
StoreResult Store::prepareFile() {
    if (sqlite3_db_readonly(database_, "main") == 1) {
        return {Kind::Unwritable, "it is read-only"};
    }
    constexpr int kWaitMs = 1000;
    sqlite3_busy_timeout(database_, kWaitMs);
    std::int64_t application = 0;
    std::int64_t version = 0;
    std::int64_t tables = 0;
    StoreResult result = execute("PRAGMA locking_mode = EXCLUSIVE; PRAGMA cell_size_check = ON;");
    if (result.isGood()) {
        result = number("SELECT count(*) FROM sqlite_master", &tables);
    }
    if (result.isGood()) {
        result = number("PRAGMA application_id", &application);
    }
    if (result.isGood()) {
        result = number("PRAGMA user_version", &version);
    }
    if (!result.isGood()) {
        return result;
    }
    const bool isNew = tables == 0 && application == 0 && version == 0;
    if (!isNew && application != kApplication) {
        return {Kind::Damaged, "it is a database of something else"};
    }
    if (!isNew && version != kVersion) {
        return {Kind::Damaged,
                "its version is " + std::to_string(version) + ", and this program knows " + std::to_string(kVersion)};
    }
    result = execute(
        "PRAGMA page_size = 4096; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
        "PRAGMA journal_size_limit = 4194304; PRAGMA wal_autocheckpoint = 1000;"
        // What was deleted need not be written over, which would put each freed page into the log.
        "PRAGMA temp_store = MEMORY; PRAGMA cache_size = -1024; PRAGMA secure_delete = OFF;");
    return result.isGood() && isNew ? makeTables() : result;
}

// All in one commit: a kill leaves an empty file or a whole one.
StoreResult Store::makeTables() {
    const std::string sql = "BEGIN IMMEDIATE;" + std::string(kTables) +
                            "PRAGMA application_id = " + std::to_string(kApplication) +
                            ";PRAGMA user_version = " + std::to_string(kVersion) + ";COMMIT;";
    const StoreResult result = execute(sql.c_str());
    if (!result.isGood()) {
        sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    } else {
        syncFolderOf(sqlite3_db_filename(database_, "main"));
    }
    return result;
}

StoreResult Store::loadContents() {
    StoreContents found;
    Statement written(*this, "SELECT settled, age, at, messages, bytes FROM written");
    const bool hasWritten = written.next();
    if (!written.result().isGood()) {
        return written.result();
    }
    if (!hasWritten) {
        return {Kind::Damaged, "it does not say what is in it"};
    }
    found.settled = written.number(0);
    found.ageClockMs = written.number(1);
    found.writtenMs = written.number(2);
    found.messages = static_cast<std::size_t>(written.number(3));
    found.bytes = static_cast<std::uint64_t>(written.number(4));
    Statement gaps(*this,
                   "SELECT first, last, start, end, reason, sequence, at, topic, payload FROM gaps ORDER BY place");
    while (gaps.next()) {
        GapRecord record{{gaps.number(0), gaps.number(1), gaps.number(2), gaps.number(3), gaps.text(4)}, {}};
        if (!gaps.isNull(5)) {
            record.message = gaps.message(5, 6, 7, 8);
        }
        found.gaps.add(std::move(record));
    }
    Statement oldest(*this, "SELECT at FROM messages ORDER BY sequence LIMIT 1");
    if (oldest.next()) {
        found.oldestMs = oldest.number(0);
    }
    StoreResult result = !gaps.result().isGood() ? gaps.result() : oldest.result();
    if (result.isGood()) {
        result = number("SELECT coalesce(max(sequence), 0) FROM messages", &found.lastSequence);
    }
    if (result.isGood()) {
        contents_ = std::move(found);
    }
    return result;
}

StoreResult Store::write(const StoreChanges& changes, StoreDropped* dropped) {
    StoreContents after = contents_;
    *dropped = {};
    StoreResult result = execute("BEGIN IMMEDIATE");
    if (result.isGood()) {
        result = change(changes, &after, dropped);
    }
    if (result.isGood()) {
        result = execute("COMMIT");
    }
    if (!result.isGood()) {
        sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
        *dropped = {};
        return result;
    }
    contents_ = std::move(after);
    return result;
}

StoreResult Store::change(const StoreChanges& changes, StoreContents* after, StoreDropped* dropped) {
    after->gaps = changes.gaps;
    after->settled = changes.settled;
    after->ageClockMs = changes.ageClockMs;
    after->writtenMs = changes.writtenMs;
    StoreResult result =
        changes.acknowledged == nullptr ? StoreResult() : removeAcknowledged(*changes.acknowledged, after);
    if (result.isGood()) {
        result = drop(changes.bornBefore, UINT64_MAX, kGapTooOld, after, dropped);
    }
    std::uint64_t coming = kReservedBytes;
    for (const StoredMessage* added : changes.added) {
        coming += fileBytes(bytesOf(added->message));
    }
    std::uint64_t used = 0;
    // Rows that go leave pages half full at times, which the next round takes into account.
    for (bool hasDropped = true; result.isGood() && hasDropped;) {
        result = usedBytes(&used);
        const std::uint64_t before = dropped->count;
        if (result.isGood() && used + coming > changes.largestBytes) {
            result = drop(INT64_MAX, used + coming - changes.largestBytes, kGapStoreFull, after, dropped);
        }
        hasDropped = dropped->count > before;
    }
    for (const StoredMessage* added : changes.added) {
        if (result.isGood() && used + coming > changes.largestBytes) {
            const Message& message = added->message;
            coming -= fileBytes(bytesOf(message));
            after->gaps.add({message.sequence, message.sequence, message.atMs, message.atMs, kGapStoreFull}, 0);
            ++dropped->count;
            dropped->last = message.sequence;
        } else if (result.isGood()) {
            result = insert(*added, after);
        }
    }
    if (result.isGood()) {
        result = writeGaps(after->gaps);
    }
    return result.isGood() ? writeNotes(after) : result;
}

StoreResult Store::removeAcknowledged(const std::set<std::int64_t>& acknowledged, StoreContents* after) {
    StoreResult result;
    for (auto sequence = acknowledged.begin(); result.isGood() && sequence != acknowledged.end(); ++sequence) {
        Statement removed(*this, "DELETE FROM messages WHERE sequence = ? RETURNING bytes");
        removed.bind(*sequence);
        while (removed.next()) {
            --after->messages;
            after->bytes -= static_cast<std::uint64_t>(removed.number(0));
        }
        result = removed.result();
    }
    return result;
}

// Drops from the oldest on, as long as they were born before `bornBefore`, until they free `enough` bytes of the file.
StoreResult Store::drop(std::int64_t bornBefore, std::uint64_t enough, const char* reason, StoreContents* after,
                        StoreDropped* dropped) {
    Gap gap{0, 0, 0, 0, reason};
    std::uint64_t freed = 0;
    std::uint64_t bytes = 0;
    std::size_t count = 0;
    Statement rows(*this, "SELECT sequence, at, bytes, born FROM messages ORDER BY sequence");
    while (freed < enough && rows.next() && rows.number(3) < bornBefore) {
        if (count == 0) {
            gap.first = rows.number(0);
            gap.fromMs = rows.number(1);
        }
        gap.last = rows.number(0);
        gap.toMs = rows.number(1);
        bytes += static_cast<std::uint64_t>(rows.number(2));
        freed += fileBytes(static_cast<std::uint64_t>(rows.number(2)));
        ++count;
    }
    if (!rows.result().isGood() || count == 0) {
        return rows.result();
    }
    after->messages -= count;
    after->bytes -= bytes;
    after->gaps.add(gap, 0);
    dropped->count += count;
    dropped->last = gap.last;
    return Statement(*this, "DELETE FROM messages WHERE sequence <= ?").bind(gap.last).run();
}

StoreResult Store::insert(const StoredMessage& stored, StoreContents* after) {
    const Message& message = stored.message;
    const std::uint64_t bytes = bytesOf(message);
    ++after->messages;
    after->bytes += bytes;
    Statement inserted(*this, "INSERT INTO messages VALUES(?, ?, ?, ?, ?, ?, ?)");
    return inserted.bind(message.sequence)
        .bind(stored.bornMs)
        .bind(message.atMs)
        .bind(static_cast<std::int64_t>(bytes))
        .bind(static_cast<std::int64_t>(checksumOf(message)))
        .bind(message.topic)
        .bind(message.payload)
        .run();
}

StoreResult Store::usedBytes(std::uint64_t* bytes) {
    std::int64_t pages = 0;
    std::int64_t unused = 0;
    StoreResult result = number("PRAGMA page_count", &pages);
    if (result.isGood()) {
        result = number("PRAGMA freelist_count", &unused);
    }
    *bytes = static_cast<std::uint64_t>(pages - unused) * kPageBytes;
    return result;
}

StoreResult Store::writeGaps(const GapList& gaps) {
    StoreResult result = execute("DELETE FROM gaps");
    for (const GapRecord& record : gaps.records()) {
        Statement inserted(*this,
                           "INSERT INTO gaps(first, last, start, end, reason, sequence, at, topic, payload)"
                           " VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
        const Gap& gap = record.gap;
        inserted.bind(gap.first).bind(gap.last).bind(gap.fromMs).bind(gap.toMs).bind(gap.reason);
        if (record.message) {
            const Message& message = *record.message;
            inserted.bind(message.sequence).bind(message.atMs).bind(message.topic).bind(message.payload);
        }
        if (result.isGood()) {
            result = inserted.run();
        }
    }
    return result;
}

StoreResult Store::writeNotes(StoreContents* after) {
    StoreResult result = Statement(*this, "UPDATE written SET settled = ?, age = ?, at = ?, messages = ?, bytes = ?")
                             .bind(after->settled)
                             .bind(after->ageClockMs)
                             .bind(after->writtenMs)
                             .bind(static_cast<std::int64_t>(after->messages))
                             .bind(static_cast<std::int64_t>(after->bytes))
                             .run();
    after->oldestMs.reset();
    Statement oldest(*this, "SELECT at FROM messages ORDER BY sequence LIMIT 1");
    if (oldest.next()) {
        after->oldestMs = oldest.number(0);
    }
    if (result.isGood()) {
        result = oldest.result();
    }
    return result.isGood() ? number("SELECT coalesce(max(sequence), 0) FROM messages", &after->lastSequence) : result;
}

StoreResult Store::read(std::int64_t after, std::int64_t before, std::uint64_t bytes, std::deque<Message>* messages) {
    Statement rows(*this,
                   "SELECT sequence, at, topic, payload, checksum FROM messages WHERE sequence > ? AND sequence < ?"
                   " ORDER BY sequence");
    rows.bind(after).bind(before);
    std::uint64_t read = 0;
    while (read < bytes && rows.next()) {
        Message message = rows.message(0, 1, 2, 3);
        if (rows.number(4) != static_cast<std::int64_t>(checksumOf(message))) {
            return {Kind::Damaged, "message " + std::to_string(message.sequence) + " is not as it was written"};
        }
        read += bytesOf(message) + kMessageOverhead;
        messages->push_back(std::move(message));
    }
    return rows.result();
}

std::string setAside(const std::string& file, std::string* problem) {
    constexpr std::size_t kMostKept = 3;
    std::vector<unsigned long> numbers = asideNumbers(file);
    const std::string target = file + ".damaged-" + std::to_string(numbers.empty() ? 1 : numbers.back() + 1);
    std::error_code ignored;
    while (numbers.size() >= kMostKept) {
        const std::string oldest = file + ".damaged-" + std::to_string(numbers.front());
        fs::remove(oldest, ignored);
        fs::remove(oldest + "-wal", ignored);
        numbers.erase(numbers.begin());
    }
    if (std::rename(file.c_str(), target.c_str()) != 0) {
        *problem = file + " cannot be renamed to " + target + ": " + std::strerror(errno);
        return {};
    }
    fs::rename(file + "-wal", target + "-wal", ignored);
    fs::remove(file + "-wal", ignored);
    syncFolderOf(file);
    return target;
}

}  // namespace ac500::broker
