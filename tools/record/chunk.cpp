#include "tools/record/chunk.h"

#include <algorithm>

#include "tools/record/byte_stream.h"
#include "tools/record/record_codec.h"
#include "tools/text/checksum.h"

namespace ac500::record {

namespace {

constexpr std::string_view kMagic(
    "\x89"
    "AC5REC\n",
    8);

// Looking for whole chunks ends after so many that were none: a file may be made of such beginnings.
constexpr int kMostCandidates = 16;

bool isKnown(std::uint32_t type) {
    switch (static_cast<ChunkType>(type)) {
        case ChunkType::Run:
        case ChunkType::Symbols:
        case ChunkType::Segment:
        case ChunkType::Events:
        case ChunkType::End:
            return true;
    }
    return false;
}

// Is there a whole chunk anywhere in it?
bool holdsWholeChunk(std::string_view bytes) {
    int candidates = 0;
    for (std::size_t at = bytes.find('C'); at != std::string_view::npos; at = bytes.find('C', at + 1)) {
        const std::string_view rest = bytes.substr(at);
        if (rest.size() < kChunkHeadBytes) {
            return false;
        }
        ByteSource head(rest);
        const auto type = head.fixed<std::uint32_t>();
        const auto length = head.fixed<std::uint32_t>();
        head.fixed<std::uint64_t>();
        const auto sum = head.fixed<std::uint32_t>();
        if (!isKnown(type) || length > head.left()) {
            continue;
        }
        if (text::crc32(head.take(length), text::crc32(rest.substr(0, kChunkHeadBytes - sizeof sum))) == sum) {
            return true;
        }
        if (++candidates == kMostCandidates) {
            return false;
        }
    }
    return false;
}

}  // namespace

std::string fileHead() {
    std::string head(kMagic);
    putFixed(head, kFormatVersion);
    putFixed(head, std::uint16_t{0});
    return head;
}

std::string chunkBytes(const Chunk& chunk) {
    std::string bytes;
    bytes.reserve(kChunkHeadBytes + chunk.payload.size());
    putFixed(bytes, static_cast<std::uint32_t>(chunk.type));
    putFixed(bytes, static_cast<std::uint32_t>(chunk.payload.size()));
    putFixed(bytes, chunk.number);
    putFixed(bytes, text::crc32(chunk.payload, text::crc32(bytes)));
    bytes.append(chunk.payload);
    return bytes;
}

std::string segmentPayload(const SegmentStart& start, const Moment& moment) {
    std::string payload;
    putU8(payload, static_cast<unsigned>(start.begin));
    putSigned(payload, moment.monotonicUs);
    putSigned(payload, moment.utcUs);
    putNumber(payload, moment.thread);
    if (start.begin == SegmentBegin::Checkpoint) {
        put(payload, *start.checkpoint);
    }
    return payload;
}

bool isBeginningOfRecord(std::string_view bytes) {
    const std::size_t count = std::min(bytes.size(), kMagic.size());
    return count > 0 && bytes.substr(0, count) == kMagic.substr(0, count);
}

std::string ChunkReader::readHead() {
    if (file_.size() < kFileHeadBytes) {
        return file_ == fileHead().substr(0, file_.size()) && !file_.empty() ? "it ends within its head"
                                                                             : "it is no record of this program";
    }
    ByteSource head(file_.substr(0, kFileHeadBytes));
    if (head.take(kMagic.size()) != kMagic) {
        return "it is no record of this program";
    }
    const auto version = head.fixed<std::uint16_t>();
    if (version != kFormatVersion) {
        return "it has version " + std::to_string(version) + " of the format; this program reads version " +
               std::to_string(kFormatVersion);
    }
    if (head.fixed<std::uint16_t>() != 0) {
        return "its head is damaged";
    }
    offset_ = kFileHeadBytes;
    return std::string();
}

std::optional<Chunk> ChunkReader::next(std::string* reason) {
    const std::string_view rest = file_.substr(static_cast<std::size_t>(offset_));
    if (rest.empty()) {
        isCut_ = true;
        return std::nullopt;
    }
    if (rest.size() < kChunkHeadBytes) {
        isCut_ = true;
        *reason = "it ends within the head of a chunk";
        return std::nullopt;
    }
    ByteSource head(rest);
    const auto type = head.fixed<std::uint32_t>();
    const auto length = head.fixed<std::uint32_t>();
    const auto number = head.fixed<std::uint64_t>();
    const auto sum = head.fixed<std::uint32_t>();
    const bool hasPayload = static_cast<ChunkType>(type) != ChunkType::End;
    if (!isKnown(type) || length > kLongestPayload || (length > 0 && !hasPayload)) {
        *reason = "what should be the head of a chunk is none";
        return std::nullopt;
    }
    if (length > head.left()) {
        if (holdsWholeChunk(rest.substr(1))) {
            *reason = "a chunk says that it is longer than it is";
            return std::nullopt;
        }
        isCut_ = true;
        *reason = "it ends within a chunk";
        return std::nullopt;
    }
    const std::string_view payload = head.take(length);
    if (text::crc32(payload, text::crc32(rest.substr(0, kChunkHeadBytes - sizeof sum))) != sum) {
        *reason = "the checksum of a chunk is wrong";
        return std::nullopt;
    }
    offset_ += kChunkHeadBytes + length;
    return Chunk{static_cast<ChunkType>(type), number, payload};
}

}  // namespace ac500::record
