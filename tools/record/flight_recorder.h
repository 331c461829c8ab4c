// FlightRecorder records a run: in memory, the last minutes; on request in a file, the whole run, and in a ring on disk. It
// encodes what it is told at once, in the caller's thread; a thread of its own writes to disk, and saves the minutes in
// memory when a signal or a trigger asks for it. So nobody who records waits for a disk.
//
// All functions may be called from any thread except where said.
#ifndef AC500_TOOLS_RECORD_FLIGHT_RECORDER_H
#define AC500_TOOLS_RECORD_FLIGHT_RECORDER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/record/event.h"
#include "tools/record/event_codec.h"
#include "tools/record/memory_ring.h"
#include "tools/record/piece.h"
#include "tools/record/record_sink.h"
#include "tools/record/steady_time.h"

namespace ac500::record {

struct RecorderSettings {
    std::size_t memoryBytes = kDefaultMemoryBytes;  // 0: nothing is kept in memory
    std::string wholeFile;                          // empty: none
    std::string ringFile;                           // empty: none
    std::size_t ringBytes = 0;
    std::string saveFile;  // where the minutes in memory are saved, while it is there with "-2" and so on in the name

    static constexpr std::size_t kDefaultMemoryBytes = std::size_t{8} << 20;
    static constexpr std::size_t kLeastMemoryBytes = std::size_t{64} << 10;
    static constexpr std::size_t kLeastRingBytes = std::size_t{1} << 20;
};

class FlightRecorder {
public:
    // What was written is safe from a kill after so long, and from a loss of power after so long.
    static constexpr int kWriteIntervalMs = 250;
    static constexpr int kSyncIntervalMs = 1000;
    static constexpr int kRemarkIntervalMs = 60000;

    // Messages for people, one line each: what was saved where, and once for each file what is wrong with it.
    using Tell = std::function<void(bool isProblem, const std::string& text)>;

    FlightRecorder(const RecorderSettings& settings, const RunInfo& run, Tell tell);
    ~FlightRecorder();
    FlightRecorder(const FlightRecorder&) = delete;
    FlightRecorder& operator=(const FlightRecorder&) = delete;

    // Saves the minutes once when `trigger` first answers with a reason. It is asked now and then, on the recorder's thread,
    // and a last time in finish(). To be called at most once.
    void saveWhen(std::function<std::optional<std::string>()> trigger);

    // What `remarks` answers is noted before a record is saved, every kRemarkIntervalMs, and a last time in finish(); asked on
    // the recorder's thread, or in finish(). To be called at most once.
    using Remarks = std::function<std::vector<std::string>()>;
    void remarkWith(const std::string& id, Remarks remarks);

    // Serves the signals and triggers that have come, and ends what is on disk. Nothing is recorded afterwards. Idempotent.
    void finish();

    // When it is, for the calling thread.
    Moment now();

    // Recording. Numbers are given in the order of the calls; Event::number is not looked at.
    void add(const Event& event);
    void add(const Moment& moment, What what);

    // While a Hold exists, no other thread records: so one lock is enough to call the driver and to record what it did. For
    // short calls without callbacks; whoever has it calls nothing else of this class.
    using Hold = std::lock_guard<std::mutex>;
    std::mutex& heldDuringValue() { return mutex_; }
    // At this moment, for the calling thread. REQUIRES: it has a Hold.
    void addGetValue(const Hold& hold, const ValueQuestion& question, const ValueAnswer& answer);
    // The same in two steps, which cost least for what comes most often. Is this value the one that was asked for next the
    // last time, too?
    [[gnu::always_inline]] bool isExpected(const Hold&, const ValueQuestion& question) const {
        return encoder_.isExpected(question);
    }
    // REQUIRES (both): isExpected() said so of the question, under the same Hold, and no value was added since.
    void addExpected(const Hold& hold, const ValueAnswer& answer);
    // Does what addExpected() does, when one more is all there is to say: the answer is the last one, and hardly later than
    // the one before. Otherwise returns false, and has done nothing.
    bool addRepeated(const Hold& hold, const ValueAnswer& answer);
    // What is not a value, under a Hold.
    void add(const Hold& hold, What what);
    // As `text` may name the PLC's variables, it is kept with the rest and nowhere else.
    void note(NoteKind kind, const std::string& id, const std::string& text);

    // Symbols that every later checkpoint includes. To be called with the PassSymbols event.
    void addSymbols(const std::vector<LabelRecord>& labels);
    // Is the segment long enough to be ended? To be asked between two calls into the driver; cheap.
    bool wantsSegment() const { return wantsSegment_.load(std::memory_order_relaxed); }
    // Begins a segment with the state of the driver, without its symbols; with nothing when it was not to be had, which is
    // put up with until the segment is twice as long as wanted.
    void beginSegment(std::optional<Checkpoint> checkpoint);

    // The minutes in memory, as a record of their own; empty without memory. This is what a bundle for support takes.
    std::string minutes();
    // Writes them to a file, as saveRecord() does.
    std::string saveMinutes(const std::string& path, std::string* name);

private:
    // REQUIRES (up to endBytes): mutex_ is held
    Moment momentOf(std::int64_t monotonicUs);
    void addLocked(const Event& event);
    void endChunk();
    void keep(const Piece& piece);
    void keepSegmentStart(const SegmentStart& start, const Moment& moment);
    void watchSize();
    std::string endBytes();

    void work();
    void serve();
    void remark();
    void writePending();
    void saveFor(const std::string& reason);
    template <typename Sink>
    void problem(std::optional<Sink>* sink, const std::string& text);

    // Constant after construction
    const RecorderSettings settings_;
    const Tell tell_;
    const std::size_t segmentBytes_;

    std::atomic<bool> wantsSegment_{false};

    mutable std::mutex mutex_;  // guards the following
    EventEncoder encoder_;
    Preamble preamble_;
    MemoryRing memory_;
    std::vector<Piece> pending_;  // for the disk
    std::size_t pendingBytes_ = 0;
    bool isBehind_ = false;           // the disk: pieces are dropped until the next segment
    std::uint64_t next_ = 0;          // number of the next event
    std::uint64_t first_ = 0;         // of the chunk
    std::size_t bytesOfSegment_ = 0;  // so far, without what it begins with
    std::size_t wantedBytes_ = 0;     // after which it is to end
    bool isFinished_ = false;
    std::int64_t utcOffsetUs_ = 0;
    std::int64_t offsetTakenUs_ = 0;
    std::thread::id lastThread_;
    std::uint32_t lastThreadNumber_ = 0;
    std::vector<std::thread::id> threads_;

    // The recorder's thread, and finish() after its end
    std::optional<RecordFile> wholeFile_;
    std::optional<DiskRing> ring_;
    std::function<std::optional<std::string>()> trigger_;  // guarded by triggerMutex_
    Remarks remarks_;                                      // likewise
    std::string remarksId_;                                // likewise
    std::mutex triggerMutex_;
    std::int64_t remarkedUs_ = 0;
    std::int64_t syncedUs_ = 0;
    bool wasBehind_ = false;

    std::atomic<bool> isStopping_{false};
    std::thread thread_;
};

[[gnu::always_inline]] inline bool FlightRecorder::addRepeated(const Hold&, const ValueAnswer& answer) {
    if (std::this_thread::get_id() != lastThread_ || !encoder_.addRepeated(steadyUs(), lastThreadNumber_, answer)) {
        return false;
    }
    ++next_;
    return true;
}

}  // namespace ac500::record

#endif
