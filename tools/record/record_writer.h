// Writes a record of events that are at hand: for tests, and for records made of other records. A running host records
// through FlightRecorder.
#ifndef AC500_TOOLS_RECORD_RECORD_WRITER_H
#define AC500_TOOLS_RECORD_RECORD_WRITER_H

#include <cstdint>
#include <string>

#include "tools/record/chunk.h"
#include "tools/record/event.h"
#include "tools/record/event_codec.h"

namespace ac500::record {

class RecordWriter {
public:
    explicit RecordWriter(const RunInfo& run);

    // Events get the numbers in which they come, from that of the first; a segment start, which begins each record, has the
    // number of the event after it. Of a continuation nothing is written: a reader sees it.
    void add(const Event& event);
    // Puts what was added into a chunk, so that it can be read whatever is added later.
    void endChunk();
    // Nothing may be added afterwards.
    void close();

    // The whole record so far, without what waits for endChunk().
    const std::string& bytes() const { return bytes_; }

private:
    void beginSegment(const Event& event, const SegmentStart& start);

    EventEncoder encoder_;
    std::string bytes_;
    std::uint64_t next_ = 0;   // number of the next event
    std::uint64_t first_ = 0;  // of the chunk
    std::size_t symbolLists_ = 0;
};

}  // namespace ac500::record

#endif
