#include "tools/record/record_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/record/chunk.h"
#include "tools/record/event_codec.h"
#include "tools/record/record_codec.h"
#include "tools/record/record_sink.h"

namespace ac500::record {

// A file of a record.
struct RecordPart {
    std::string file;  // empty: bytes in memory
    std::string bytes;
    RunInfo run;
    std::uint64_t firstNumber = 0;  // of its first segment
};

namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{64} << 10;

constexpr char kNotClosed[] = "it was not closed: the program that wrote it was ended, or writes it still";

// Takes up to `count` bytes more of a file. Returns the error, 0 for none, at the end too.
int readUpTo(int descriptor, std::size_t count, std::string* bytes) {
    std::size_t done = bytes->size();
    const std::size_t wanted = done + count;
    bytes->resize(wanted);
    int error = 0;
    while (done < wanted && error == 0) {
        const ssize_t got = ::read(descriptor, &(*bytes)[done], wanted - done);
        if (got == 0) {
            break;
        }
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    bytes->resize(done);
    return error;
}

// All of a file, but no more of one that is no record than its beginning: it may have no end. Returns what is wrong, in words.
std::string readAll(int descriptor, std::string* bytes) {
    struct stat about {};
    if (::fstat(descriptor, &about) != 0) {
        return std::strerror(errno);
    }
    if (S_ISDIR(about.st_mode)) {
        return "it is a folder";
    }
    int error = readUpTo(descriptor, kFileHeadBytes, bytes);
    if (error == 0 && isBeginningOfRecord(*bytes)) {
        bytes->reserve(static_cast<std::size_t>(std::max<off_t>(about.st_size, 0)) + kBytesAtOnce);
        std::size_t before = 0;
        while (error == 0 && bytes->size() > before) {
            before = bytes->size();
            error = readUpTo(descriptor, kBytesAtOnce, bytes);
        }
    }
    return error == 0 ? "" : std::strerror(error);
}

// Returns what is wrong, in words. *isThere: is there a file that has anything to read?
std::string readFile(const std::string& path, std::string* bytes, bool* isThere) {
    *isThere = false;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        *isThere = errno != ENOENT && errno != ENOTDIR;
        return errno == ENOENT ? "there is no such file" : std::strerror(errno);
    }
    const std::string problem = readAll(descriptor, bytes);
    ::close(descriptor);
    *isThere = !problem.empty() || !bytes->empty();
    return problem.empty() && bytes->empty() ? "it is empty" : problem;
}

// The head and the first chunks. An empty text when all is well; else *isCut tells whether the rest is only missing.
std::string readBeginning(RecordPart* part, bool* isCut) {
    ChunkReader chunks(part->bytes);
    std::string reason = chunks.readHead();
    *isCut = part->bytes.size() < kFileHeadBytes;
    if (!reason.empty()) {
        return reason;
    }
    const std::optional<Chunk> run = chunks.next(&reason);
    *isCut = chunks.isCut();
    if (!run) {
        return reason.empty() ? "it ends behind its head" : reason;
    }
    ByteSource source(run->payload);
    part->run = getRun(source);
    if (run->type != ChunkType::Run || source.failed() || !source.atEnd()) {
        return "its first chunk does not say what it is a record of";
    }
    while (const std::optional<Chunk> chunk = chunks.next(&reason)) {
        if (chunk->type == ChunkType::Segment) {
            part->firstNumber = chunk->number;
            break;
        }
    }
    return std::string();
}

std::string unreadable(const std::string& path, const std::string& why) {
    return path + " cannot be read: " + why;
}

}  // namespace

struct RecordReader::Content {
    std::vector<RecordPart> parts;  // in the order of their events
    std::size_t part = 0;
    std::optional<ChunkReader> chunks;
    std::vector<std::vector<LabelRecord>> symbols;  // of the part
    EventDecoder decoder;
    bool isInSegment = false;
    bool isInChunk = false;
    std::uint64_t chunkOffset = 0;
    std::optional<std::uint64_t> expected;  // number of the next event
    RecordEnd end;
    bool isAtEnd = false;
    std::vector<std::string> remarks;
    bool isDamaged = false;
    std::string earlierRun;

    std::size_t openRemarks = 0;  // of the remarks, those that opening made
    bool wasDamaged = false;      // as opening found it

    bool takeFile(const std::string& file, bool isFirst, std::string* problem);

    // REQUIRES: no event was read.
    void beginReading() {
        openRemarks = remarks.size();
        wasDamaged = isDamaged;
        beginPart();
    }

    void rewind() {
        part = 0;
        expected.reset();
        end = RecordEnd();
        isAtEnd = false;
        remarks.resize(openRemarks);
        isDamaged = wasDamaged;
        beginPart();
    }

    void beginPart() {
        chunks.emplace(parts[part].bytes);
        chunks->readHead();
        symbols.clear();
        isInSegment = false;
        isInChunk = false;
    }

    // The part cannot be read further. Goes on with the next one.
    void endPart(EndKind kind, std::uint64_t offset, const std::string& reason) {
        end = {kind, parts[part].file, offset, reason};
        const bool isLast = part + 1 == parts.size();
        isDamaged = isDamaged || kind == EndKind::Damaged || (!isLast && !reason.empty());
        if (isLast) {
            isAtEnd = true;
            return;
        }
        // A part of a ring that was closed for the next one ends whole.
        if (!reason.empty()) {
            remarks.push_back(unreadable(parts[part].file, reason + ", at byte " + std::to_string(offset)));
        }
        ++part;
        beginPart();
    }

    // Nothing: look again.
    std::optional<Event> readChunk() {
        const std::uint64_t offset = chunks->offset();
        std::string reason;
        const std::optional<Chunk> chunk = chunks->next(&reason);
        if (!chunk) {
            const bool isCut = chunks->isCut();
            const bool isUnclosed = isCut && reason.empty() && part + 1 == parts.size();
            endPart(isCut ? EndKind::Cut : EndKind::Damaged, offset, isUnclosed ? kNotClosed : reason);
            return std::nullopt;
        }
        ByteSource payload(chunk->payload);
        switch (chunk->type) {
            case ChunkType::Run:
                return std::nullopt;
            case ChunkType::Symbols: {
                std::vector<LabelRecord> labels = getLabels(payload);
                if (payload.failed() || !payload.atEnd() || chunk->number != symbols.size()) {
                    return nonsense(offset);
                }
                symbols.push_back(std::move(labels));
                return std::nullopt;
            }
            case ChunkType::Segment:
                return beginSegment(*chunk, payload, offset);
            case ChunkType::Events:
                if (!isInSegment || chunk->number != expected) {
                    return nonsense(offset);
                }
                decoder.begin(chunk->payload, chunk->number);
                isInChunk = true;
                chunkOffset = offset;
                return std::nullopt;
            case ChunkType::End:
                endPart(EndKind::Complete, chunks->offset(), "");
                return std::nullopt;
        }
        return std::nullopt;
    }

    std::optional<Event> nonsense(std::uint64_t offset) {
        endPart(EndKind::Damaged, offset, "a chunk with the right checksum makes no sense");
        return std::nullopt;
    }

    std::optional<Event> beginSegment(const Chunk& chunk, ByteSource& payload, std::uint64_t offset) {
        SegmentStart start;
        const unsigned begin = payload.u8();
        Moment moment;
        moment.monotonicUs = payload.signedNumber();
        moment.utcUs = payload.signedNumber();
        moment.thread = payload.u32();
        if (begin > static_cast<unsigned>(SegmentBegin::Unknown)) {
            return nonsense(offset);
        }
        start.begin = static_cast<SegmentBegin>(begin);
        if (start.begin == SegmentBegin::Checkpoint) {
            std::size_t lists = 0;
            start.checkpoint = getCheckpoint(payload, &lists);
            if (lists > symbols.size()) {
                return nonsense(offset);
            }
            start.checkpoint->symbols.assign(symbols.begin(), symbols.begin() + static_cast<std::ptrdiff_t>(lists));
        }
        if (payload.failed() || !payload.atEnd()) {
            return nonsense(offset);
        }
        start.isContinuation = expected == chunk.number;
        expected = chunk.number;
        isInSegment = true;
        decoder.restart(moment);
        Event event;
        event.number = chunk.number;
        event.monotonicUs = moment.monotonicUs;
        event.utcUs = moment.utcUs;
        event.thread = moment.thread;
        event.what = std::move(start);
        return event;
    }

    std::optional<Event> next() {
        while (!isAtEnd) {
            if (!isInChunk) {
                if (std::optional<Event> start = readChunk()) {
                    return start;
                }
                continue;
            }
            if (std::optional<Event> event = decoder.next()) {
                expected = decoder.nextNumber();
                return event;
            }
            isInChunk = false;
            if (decoder.failed()) {
                nonsense(chunkOffset);
            }
        }
        return std::nullopt;
    }
};

RecordReader::RecordReader(std::unique_ptr<Content> content) : content_(std::move(content)) {}

RecordReader::~RecordReader() = default;

std::unique_ptr<RecordReader> RecordReader::ofBytes(std::string bytes, std::string* error) {
    auto content = std::make_unique<Content>();
    content->parts.push_back({"", std::move(bytes), {}, 0});
    bool isCut = false;
    *error = readBeginning(&content->parts.front(), &isCut);
    if (!error->empty()) {
        return nullptr;
    }
    content->beginReading();
    return std::unique_ptr<RecordReader>(new RecordReader(std::move(content)));
}

namespace {

// The files that may belong to a record, in the order of the ring: with FILE come FILE.1 to FILE.15, with FILE.3 come FILE.4
// and on.
std::vector<std::string> filesOf(const std::string& path) {
    std::vector<std::string> files{path};
    std::string ring = path;
    int number = 0;
    if (const std::size_t dot = path.rfind('.'); dot != std::string::npos) {
        for (int part = 1; part < kMostRingFiles; ++part) {
            if (path.substr(dot + 1) == std::to_string(part)) {
                ring = path.substr(0, dot);
                number = part;
            }
        }
    }
    for (int part = number + 1; part < kMostRingFiles; ++part) {
        files.push_back(ring + "." + std::to_string(part));
    }
    return files;
}

}  // namespace

// Reads the part of one file. False: what comes behind it in the ring does not belong to the record either.
bool RecordReader::Content::takeFile(const std::string& file, bool isFirst, std::string* problem) {
    RecordPart taken;
    taken.file = file;
    bool isThere = false;
    bool isCut = false;
    std::string itsProblem = readFile(file, &taken.bytes, &isThere);
    if (itsProblem.empty()) {
        itsProblem = readBeginning(&taken, &isCut);
    }
    if (isFirst) {
        *problem = itsProblem;
    }
    // A part of a ring that was begun a moment before the end has no bytes, or not even a name.
    if (!isThere) {
        return true;
    }
    if (!itsProblem.empty()) {
        // The part that is written to may have been begun a moment before the end.
        isDamaged = isDamaged || !isFirst || !isCut;
        remarks.push_back(unreadable(file, itsProblem));
        return true;
    }
    if (!parts.empty() && taken.run.runId != parts.front().run.runId) {
        earlierRun = file;
        return false;
    }
    parts.push_back(std::move(taken));
    return true;
}

std::unique_ptr<RecordReader> RecordReader::open(const std::string& path, std::string* error) {
    auto content = std::make_unique<Content>();
    std::string problem;
    for (const std::string& file : filesOf(path)) {
        if (!content->takeFile(file, file == path, &problem)) {
            break;
        }
    }
    if (content->parts.empty()) {
        *error = unreadable(path, problem);
        return nullptr;
    }
    std::stable_sort(content->parts.begin(), content->parts.end(),
                     [](const RecordPart& a, const RecordPart& b) { return a.firstNumber < b.firstNumber; });
    content->beginReading();
    return std::unique_ptr<RecordReader>(new RecordReader(std::move(content)));
}

const RunInfo& RecordReader::run() const {
    return content_->parts.back().run;
}

std::optional<Event> RecordReader::next() {
    return content_->next();
}

void RecordReader::rewind() {
    content_->rewind();
}

const RecordEnd& RecordReader::end() const {
    return content_->end;
}

const std::vector<std::string>& RecordReader::remarks() const {
    return content_->remarks;
}

bool RecordReader::isDamaged() const {
    return content_->isDamaged;
}

const std::string& RecordReader::earlierRun() const {
    return content_->earlierRun;
}

std::optional<LoadedRecord> loadRecord(const std::string& path, std::string* error) {
    const std::unique_ptr<RecordReader> reader = RecordReader::open(path, error);
    if (reader == nullptr) {
        return std::nullopt;
    }
    LoadedRecord record;
    record.run = reader->run();
    record.earlierRun = reader->earlierRun();
    while (std::optional<Event> event = reader->next()) {
        record.events.push_back(std::move(*event));
    }
    record.end = reader->end();
    record.remarks = reader->remarks();
    record.isDamaged = reader->isDamaged();
    return record;
}

}  // namespace ac500::record
