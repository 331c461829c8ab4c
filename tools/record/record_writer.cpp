#include "tools/record/record_writer.h"

#include "tools/record/record_codec.h"

namespace ac500::record {

namespace {

constexpr std::size_t kFullChunk = std::size_t{32} << 10;

}  // namespace

RecordWriter::RecordWriter(const RunInfo& run) : bytes_(fileHead()) {
    std::string payload;
    put(payload, run);
    bytes_ += chunkBytes({ChunkType::Run, 0, payload});
}

void RecordWriter::add(const Event& event) {
    if (const auto* start = std::get_if<SegmentStart>(&event.what)) {
        beginSegment(event, *start);
        return;
    }
    encoder_.add(event);
    ++next_;
    if (encoder_.size() >= kFullChunk) {
        endChunk();
    }
}

// The symbols of a checkpoint go before it, those that are not there yet.
void RecordWriter::beginSegment(const Event& event, const SegmentStart& start) {
    endChunk();
    if (start.checkpoint) {
        for (; symbolLists_ < start.checkpoint->symbols.size(); ++symbolLists_) {
            std::string payload;
            put(payload, start.checkpoint->symbols[symbolLists_]);
            bytes_ += chunkBytes({ChunkType::Symbols, symbolLists_, payload});
        }
    }
    const Moment moment{event.monotonicUs, event.utcUs, event.thread};
    next_ = event.number;
    first_ = next_;
    encoder_.restart(moment);
    bytes_ += chunkBytes({ChunkType::Segment, next_, segmentPayload(start, moment)});
}

void RecordWriter::endChunk() {
    const std::string payload = encoder_.take();
    if (!payload.empty()) {
        bytes_ += chunkBytes({ChunkType::Events, first_, payload});
    }
    first_ = next_;
}

void RecordWriter::close() {
    endChunk();
    bytes_ += chunkBytes({ChunkType::End, next_, {}});
}

}  // namespace ac500::record
