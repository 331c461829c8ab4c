// The frame of a record: a head of the file and a row of chunks with a checksum each, so that a file that was cut, by a
// kill or a loss of power, is readable up to its last whole chunk.
#ifndef AC500_TOOLS_RECORD_CHUNK_H
#define AC500_TOOLS_RECORD_CHUNK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/record/event.h"
#include "tools/record/event_codec.h"

namespace ac500::record {

constexpr std::uint16_t kFormatVersion = 1;

// 89 41 43 35 52 45 43 0A, the version, and two bytes that are 0.
constexpr std::size_t kFileHeadBytes = 8 + 2 + 2;
// Type, length of the payload, number, checksum.
constexpr std::size_t kChunkHeadBytes = 4 + 4 + 8 + 4;
// No writer makes a longer one.
constexpr std::uint32_t kLongestPayload = std::uint32_t{1} << 26;

enum class ChunkType : std::uint32_t {
    Run = 0x4E555243,      // "CRUN": a RunInfo; the first of every file
    Symbols = 0x4D595343,  // "CSYM": one list of symbols; number: which, from 0
    Segment = 0x47455343,  // "CSEG": a SegmentStart; number: of the first event after it
    Events = 0x54564543,   // "CEVT": events; number: of the first
    End = 0x444E4543,      // "CEND": nothing follows; number: of the event that would have been next
};

struct Chunk {
    ChunkType type = ChunkType::End;
    std::uint64_t number = 0;
    std::string_view payload;
};

std::string fileHead();
// Can a file that begins with these bytes be a record, of whatever version? A few bytes may be all that was written of one.
bool isBeginningOfRecord(std::string_view bytes);
// REQUIRES: the payload is no longer than kLongestPayload.
std::string chunkBytes(const Chunk& chunk);

std::string segmentPayload(const SegmentStart& start, const Moment& moment);

// Goes through the chunks of a file that lies in memory.
class ChunkReader {
public:
    explicit ChunkReader(std::string_view file) : file_(file) {}

    // To be called first. Nothing is wrong: an empty text.
    std::string readHead();
    // The next whole and undamaged chunk. Nothing at the end; *reason then says why, empty when the file simply ends.
    std::optional<Chunk> next(std::string* reason);
    bool isCut() const { return isCut_; }
    // Where the next chunk begins, or the one that could not be read.
    std::uint64_t offset() const { return offset_; }

private:
    std::string_view file_;
    std::uint64_t offset_ = 0;
    bool isCut_ = false;
};

}  // namespace ac500::record

#endif
