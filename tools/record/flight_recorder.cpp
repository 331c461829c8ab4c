#include "tools/record/flight_recorder.h"

#include <poll.h>

#include <algorithm>
#include <chrono>

#include "tools/record/chunk.h"
#include "tools/record/record_codec.h"
#include "tools/record/save_signal.h"

namespace ac500::record {

namespace {

constexpr std::size_t kChunkBytes = std::size_t{32} << 10;
constexpr std::size_t kSegmentsOfMemory = 16;
constexpr std::size_t kSegmentsOfRing = 32;
constexpr std::size_t kLongestSegment = std::size_t{4} << 20;
constexpr std::size_t kShortestSegment = std::size_t{4} << 10;
// What waits for a disk that does not keep up.
constexpr std::size_t kMostPending = std::size_t{64} << 20;
// A segment is at least so many times as long as what it begins with.
constexpr std::size_t kCheckpointShare = 4;
constexpr std::int64_t kOffsetAgeUs = 100000;

std::int64_t systemUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::size_t segmentBytesFor(const RecorderSettings& settings) {
    std::size_t bytes = kLongestSegment;
    if (settings.memoryBytes > 0) {
        bytes = std::min(bytes, settings.memoryBytes / kSegmentsOfMemory);
    }
    if (!settings.ringFile.empty()) {
        bytes = std::min(bytes, settings.ringBytes / kSegmentsOfRing);
    }
    return std::max(bytes, kShortestSegment);
}

Event eventOf(const Moment& moment, What what) {
    Event event;
    event.monotonicUs = moment.monotonicUs;
    event.utcUs = moment.utcUs;
    event.thread = moment.thread;
    event.what = std::move(what);
    return event;
}

SharedBytes shared(std::string bytes) {
    return std::make_shared<const std::string>(std::move(bytes));
}

}  // namespace

FlightRecorder::FlightRecorder(const RecorderSettings& settings, const RunInfo& run, Tell tell)
    : settings_(settings),
      tell_(std::move(tell)),
      segmentBytes_(segmentBytesFor(settings)),
      memory_(settings.memoryBytes) {
    std::string payload;
    put(payload, run);
    preamble_.head = shared(fileHead() + chunkBytes({ChunkType::Run, 0, payload}));
    keepSegmentStart({SegmentBegin::Fresh, false, std::nullopt}, now());
    if (!settings_.wholeFile.empty()) {
        wholeFile_.emplace();
        problem(&wholeFile_, wholeFile_->open(settings_.wholeFile));
    }
    if (!settings_.ringFile.empty()) {
        ring_.emplace(settings_.ringFile, settings_.ringBytes);
        problem(&ring_, ring_->open());
    }
    remarkedUs_ = steadyUs();
    thread_ = std::thread([this] { work(); });
}

FlightRecorder::~FlightRecorder() {
    finish();
}

void FlightRecorder::saveWhen(std::function<std::optional<std::string>()> trigger) {
    const std::lock_guard<std::mutex> lock(triggerMutex_);
    trigger_ = std::move(trigger);
}

void FlightRecorder::remarkWith(const std::string& id, Remarks remarks) {
    const std::lock_guard<std::mutex> lock(triggerMutex_);
    remarksId_ = id;
    remarks_ = std::move(remarks);
}

void FlightRecorder::remark() {
    remarkedUs_ = steadyUs();
    const std::lock_guard<std::mutex> lock(triggerMutex_);
    if (remarks_) {
        for (const std::string& text : remarks_()) {
            note(NoteKind::Remark, remarksId_, text);
        }
    }
}

Moment FlightRecorder::now() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return momentOf(steadyUs());
}

Moment FlightRecorder::momentOf(std::int64_t monotonicUs) {
    Moment moment;
    moment.monotonicUs = monotonicUs;
    if (moment.monotonicUs - offsetTakenUs_ > kOffsetAgeUs || offsetTakenUs_ == 0) {
        utcOffsetUs_ = systemUs() - moment.monotonicUs;
        offsetTakenUs_ = moment.monotonicUs;
    }
    moment.utcUs = moment.monotonicUs + utcOffsetUs_;
    const std::thread::id self = std::this_thread::get_id();
    if (self != lastThread_) {
        const auto known = std::find(threads_.begin(), threads_.end(), self);
        lastThreadNumber_ = static_cast<std::uint32_t>(known - threads_.begin());
        lastThread_ = self;
        if (known == threads_.end()) {
            threads_.push_back(self);
        }
    }
    moment.thread = lastThreadNumber_;
    return moment;
}

// ---------------------------------------------------------------------------------------------------------------------
// Recording
// ---------------------------------------------------------------------------------------------------------------------

void FlightRecorder::add(const Event& event) {
    const std::lock_guard<std::mutex> lock(mutex_);
    addLocked(event);
}

void FlightRecorder::addLocked(const Event& event) {
    if (isFinished_) {
        return;
    }
    encoder_.add(event);
    ++next_;
    watchSize();
}

void FlightRecorder::add(const Moment& moment, What what) {
    add(eventOf(moment, std::move(what)));
}

void FlightRecorder::add(const Hold&, What what) {
    addLocked(eventOf(momentOf(steadyUs()), std::move(what)));
}

void FlightRecorder::addGetValue(const Hold&, const ValueQuestion& question, const ValueAnswer& answer) {
    if (isFinished_) {
        return;
    }
    encoder_.addGetValue(momentOf(steadyUs()), question, answer);
    ++next_;
    watchSize();
}

void FlightRecorder::addExpected(const Hold&, const ValueAnswer& answer) {
    if (isFinished_) {
        return;
    }
    encoder_.addExpected(momentOf(steadyUs()), answer);
    ++next_;
    watchSize();
}

void FlightRecorder::note(NoteKind kind, const std::string& id, const std::string& text) {
    add(now(), Note{kind, id, text});
}

void FlightRecorder::watchSize() {
    if (encoder_.size() >= kChunkBytes) {
        endChunk();
    }
    if (bytesOfSegment_ + encoder_.size() >= wantedBytes_) {
        wantsSegment_.store(true, std::memory_order_relaxed);
    }
}

void FlightRecorder::endChunk() {
    const std::string payload = encoder_.take();
    if (!payload.empty()) {
        keep({shared(chunkBytes({ChunkType::Events, first_, payload})), false, 0});
    }
    first_ = next_;
}

void FlightRecorder::keep(const Piece& piece) {
    bytesOfSegment_ += piece.chunk->size();
    if (settings_.memoryBytes > 0) {
        memory_.add(piece);
    }
    if (settings_.wholeFile.empty() && settings_.ringFile.empty()) {
        return;
    }
    if (pendingBytes_ > kMostPending) {
        isBehind_ = true;
    }
    if (piece.beginsSegment && pendingBytes_ == 0) {
        isBehind_ = false;
    }
    if (!isBehind_) {
        pending_.push_back(piece);
        pendingBytes_ += piece.chunk->size();
    }
}

void FlightRecorder::keepSegmentStart(const SegmentStart& start, const Moment& moment) {
    encoder_.restart(moment);
    wantsSegment_.store(false, std::memory_order_relaxed);
    const std::size_t lists = start.checkpoint ? start.checkpoint->symbols.size() : 0;
    const SharedBytes chunk = shared(chunkBytes({ChunkType::Segment, next_, segmentPayload(start, moment)}));
    keep({chunk, true, lists});
    wantedBytes_ = std::max(segmentBytes_, kCheckpointShare * chunk->size());
    bytesOfSegment_ = 0;
}

void FlightRecorder::beginSegment(std::optional<Checkpoint> checkpoint) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isFinished_ || (!checkpoint && bytesOfSegment_ + encoder_.size() < 2 * wantedBytes_)) {
        return;
    }
    endChunk();
    SegmentStart start{checkpoint ? SegmentBegin::Checkpoint : SegmentBegin::Unknown, true, std::move(checkpoint)};
    if (start.checkpoint) {
        start.checkpoint->symbols.resize(preamble_.symbols.size());  // their number is all that is written of them here
    }
    keepSegmentStart(start, momentOf(steadyUs()));
}

// One that repeats the one before changes nothing.
void FlightRecorder::addSymbols(const std::vector<LabelRecord>& labels) {
    std::string payload;
    put(payload, labels);
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto chunkOf = [&payload](std::size_t number) { return chunkBytes({ChunkType::Symbols, number, payload}); };
    if (payload.size() > kLongestPayload) {
        return;
    }
    const std::size_t lists = preamble_.symbols.size();
    if (lists > 0 && *preamble_.symbols.back() == chunkOf(lists - 1)) {
        return;
    }
    preamble_.symbols.push_back(shared(chunkOf(lists)));
}

std::string FlightRecorder::endBytes() {
    return chunkBytes({ChunkType::End, next_, {}});
}

// ---------------------------------------------------------------------------------------------------------------------
// Saving
// ---------------------------------------------------------------------------------------------------------------------

std::string FlightRecorder::minutes() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (settings_.memoryBytes == 0) {
        return std::string();
    }
    endChunk();
    std::string bytes = *preamble_.head;
    std::size_t lists = 0;
    for (const Piece& piece : memory_.pieces()) {
        for (; piece.beginsSegment && lists < piece.symbolLists; ++lists) {
            bytes += *preamble_.symbols[lists];
        }
        bytes += *piece.chunk;
    }
    return bytes + endBytes();
}

std::string FlightRecorder::saveMinutes(const std::string& path, std::string* name) {
    std::vector<Piece> pieces;
    Preamble preamble;
    std::string end;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        endChunk();
        pieces = memory_.pieces();
        preamble = preamble_;
        end = endBytes();
    }
    return saveRecord(path, pieces, preamble, end, name);
}

void FlightRecorder::saveFor(const std::string& reason) {
    if (settings_.memoryBytes == 0) {
        tell_(true, "nothing is recorded in memory, so there is nothing to save (" + reason + ")");
        return;
    }
    remark();
    note(NoteKind::Trigger, "saved", reason);
    std::string name;
    const std::string problem = saveMinutes(settings_.saveFile, &name);
    if (problem.empty()) {
        tell_(false, "the last minutes are recorded in " + name + " (" + reason + ")");
    } else {
        tell_(true, problem + " (" + reason + ")");
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The recorder's thread
// ---------------------------------------------------------------------------------------------------------------------

void FlightRecorder::work() {
    while (!isStopping_.load()) {
        pollfd wakeup{saveSignalDescriptor(), POLLIN, 0};
        if (poll(&wakeup, 1, kWriteIntervalMs) > 0) {
            takeWakeups();
        }
        serve();
    }
}

void FlightRecorder::serve() {
    std::optional<std::string> reason;
    {
        const std::lock_guard<std::mutex> lock(triggerMutex_);
        if (trigger_) {
            reason = trigger_();
            if (reason) {
                trigger_ = nullptr;
            }
        }
    }
    if (reason) {
        saveFor(*reason);
    }
    if (takeSaveSignals()) {
        saveFor("SIGUSR1");
    }
    if (steadyUs() - remarkedUs_ >= std::int64_t{kRemarkIntervalMs} * 1000) {
        remark();
    }
    writePending();
}

template <typename Sink>
void FlightRecorder::problem(std::optional<Sink>* sink, const std::string& text) {
    if (!text.empty()) {
        sink->reset();
        tell_(true, text + "; the run goes on without it");
    }
}

void FlightRecorder::writePending() {
    if (!wholeFile_ && !ring_) {
        const std::lock_guard<std::mutex> lock(mutex_);
        pending_.clear();
        pendingBytes_ = 0;
        return;
    }
    std::vector<Piece> pieces;
    Preamble preamble;
    bool isBehind = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        endChunk();
        pieces.swap(pending_);
        pendingBytes_ = 0;
        preamble = preamble_;
        isBehind = isBehind_;
    }
    if (isBehind && !wasBehind_) {
        tell_(true, "the disk is too slow for the record: a part of it is missing there");
    }
    wasBehind_ = isBehind;
    for (const Piece& piece : pieces) {
        if (wholeFile_) {
            problem(&wholeFile_, wholeFile_->write(piece, preamble));
        }
        if (ring_) {
            problem(&ring_, ring_->write(piece, preamble, 2 * segmentBytes_));
        }
    }
    const std::int64_t nowUs = steadyUs();
    if (nowUs - syncedUs_ >= std::int64_t{kSyncIntervalMs} * 1000) {
        syncedUs_ = nowUs;
        if (wholeFile_) {
            problem(&wholeFile_, wholeFile_->sync());
        }
        if (ring_) {
            problem(&ring_, ring_->sync());
        }
    }
}

void FlightRecorder::finish() {
    if (!thread_.joinable()) {
        return;
    }
    isStopping_.store(true);
    wakeWaiters();
    thread_.join();
    serve();
    remark();
    std::string end;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        endChunk();  // and with it a run of values, so that none is counted any more
        isFinished_ = true;
        end = endBytes();
    }
    writePending();
    if (wholeFile_) {
        problem(&wholeFile_, wholeFile_->writeBytes(end));
    }
    if (wholeFile_) {
        problem(&wholeFile_, wholeFile_->close());
    }
    if (ring_) {
        problem(&ring_, ring_->close(end));
    }
}

}  // namespace ac500::record
