// WriteBook keeps account of every write from the order to its end, so that none is lost without a word. The driver alone
// does not: it reports only the variables of the batch that failed and drops all other pending writes (quirk 10).
//
// A write goes Waiting -> (ReadingFirst ->) WithDriver -> Succeeded or Failed; from every step it can fail.
// Not thread-safe; the session's lock guards it.
#ifndef AC500_TOOLS_HOST_WRITE_BOOK_H
#define AC500_TOOLS_HOST_WRITE_BOOK_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "tools/host/clock.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

enum class WriteStep {
    Waiting,       // with this host: the link is not up, or an earlier write must end first
    ReadingFirst,  // a bit write: the variable that holds the bit is being read
    WithDriver,    // handed over, not reported yet
    Succeeded,     // the PLC has accepted it
    Failed,
};

bool hasEnded(WriteStep step);

struct WriteRecord {
    std::int32_t serial = 0;  // second identity word of the write
    Tag tag;
    HostValues values;
    std::vector<ByteRun> runs;  // the bytes of the tag
    WriteStep step = WriteStep::Waiting;
    Time ordered{0};
    Time ended{0};
    Failure failure;  // of a failed one
};

// What writes mean for the value of a tag.
struct WriteView {
    enum class Kind { None, Pending, Failed } kind = Kind::None;
    Time ended{0};    // Failed: when it did
    Failure failure;  // Failed: why
};

class WriteBook {
public:
    // How long a failed write is shown with its tag.
    static constexpr Milliseconds kFailureShown{10000};

    // Returns the serial number.
    std::int32_t order(const Tag& tag, const HostValues& values, Time now);

    // The write that may go to the driver next, in the order of the orders; null when none may. A bit write is one of the
    // whole variable, made from what the driver's image holds, and waiting writes are not in the image: so a bit write
    // goes alone, with nothing before and nothing beside it.
    const WriteRecord* next() const;
    static bool mustReadFirst(const Tag& tag) { return tag.form.isBit; }

    void readingFirst(std::int32_t serial);
    void withDriver(std::int32_t serial);
    void succeeded(std::int32_t serial, Time now);
    // Serials that do not exist or have ended already are ignored here and above.
    void failed(std::int32_t serial, const Failure& failure, Time now);

    // The writes at a step, oldest first.
    std::vector<std::int32_t> at(WriteStep step) const;
    bool anyWithDriver() const { return withDriver_ > 0; }
    // Fails what has waited longer than `limit`.
    void expire(Time now, Milliseconds limit, const Failure& reason);
    // Is the driver holding a write that was ordered longer than `limit` ago?
    bool isOverdue(Time now, Milliseconds limit) const;

    // Null when the serial does not exist or was forgotten: ended writes are kept for the latest kKeptEnded.
    const WriteRecord* find(std::int32_t serial) const;

    // What the writes mean for a tag that covers `runs`, of which the oldest byte was received at `oldest`.
    WriteView view(const std::vector<ByteRun>& runs, std::optional<Time> oldest, Time now) const;

    static constexpr std::size_t kKeptEnded = 1000;

private:
    void end(WriteRecord& record, WriteStep step, Time now);
    WriteRecord* active(std::int32_t serial);
    void moveTo(WriteRecord& record, WriteStep step);

    std::map<std::int32_t, WriteRecord> records_;
    std::deque<std::int32_t> waiting_;
    std::deque<std::int32_t> ended_;
    int withDriver_ = 0;  // ReadingFirst and WithDriver
    bool bitWriteUnderway_ = false;
    std::int32_t lastSerial_ = 0;
};

}  // namespace ac500::host

#endif
