// Reads records: files, rings on disk, and bytes in memory. Whatever the bytes are, reading is safe: every length is
// compared with what is there before memory is taken, and a damaged or cut file yields every event of the whole chunks
// before the damage.
#ifndef AC500_TOOLS_RECORD_RECORD_READER_H
#define AC500_TOOLS_RECORD_RECORD_READER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/record/event.h"

namespace ac500::record {

// How the events of a record came to an end.
enum class EndKind {
    Complete,  // the writer closed it
    Cut,       // it ends between two chunks, or within one: the writer was killed, or is still at it
    Damaged,   // bytes that no writer makes
};

struct RecordEnd {
    EndKind kind = EndKind::Complete;
    std::string file;          // where; empty: bytes in memory
    std::uint64_t offset = 0;  // in it: where the first chunk begins that cannot be read
    std::string reason;        // in words; empty when complete
};

// Not thread-safe. Takes the memory of the files, and of one event at a time.
class RecordReader {
public:
    // A file, or all parts of a ring on disk when `path` is its name: FILE, and FILE.1, FILE.2 ... of the same run. With the
    // name of a part come those that were before it. Null when none of them can be read, or is a record of a known version;
    // *error says why.
    static std::unique_ptr<RecordReader> open(const std::string& path, std::string* error);
    static std::unique_ptr<RecordReader> ofBytes(std::string bytes, std::string* error);
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    const RunInfo& run() const;
    // The part of the ring with which the run before this one ends: a name for open(). Empty: there is none.
    const std::string& earlierRun() const;

    // The next event; nothing at the end, which end() then describes. The first one is a segment start.
    std::optional<Event> next();
    // Begins again: next() answers with the first event. What was read stays in memory, so the events are the same, whatever
    // has become of the files.
    void rewind();
    // REQUIRES: next() has answered with nothing.
    const RecordEnd& end() const;
    // What is wrong with earlier parts of a ring, so far, in words. After such a place a segment begins that is no
    // continuation.
    const std::vector<std::string>& remarks() const;
    // Has any part, so far, bytes that no writer makes, or lost some in its middle? Not: the last one was cut at its end.
    bool isDamaged() const;

private:
    struct Content;
    explicit RecordReader(std::unique_ptr<Content> content);
    std::unique_ptr<Content> content_;
};

// A whole record.
struct LoadedRecord {
    RunInfo run;
    std::string earlierRun;  // as RecordReader::earlierRun()
    std::vector<Event> events;
    RecordEnd end;
    std::vector<std::string> remarks;
    bool isDamaged = false;  // anywhere; a record that was only cut is not
};

// As open(). For short records: a few bytes can stand for thousands of events, and each takes some hundred bytes of memory.
std::optional<LoadedRecord> loadRecord(const std::string& path, std::string* error);

}  // namespace ac500::record

#endif
