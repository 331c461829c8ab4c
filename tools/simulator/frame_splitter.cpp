#include "tools/simulator/frame_splitter.h"

namespace ac500::sim {

FrameSplitter::Result FrameSplitter::next(Bytes* frame) {
    if (!wire::mayBeginFrame(buffer_)) {
        return Result::BadMagic;
    }
    if (buffer_.size() < wire::kEnvelopeBytes) {
        return Result::NeedMore;
    }
    const std::size_t payloadBytes = wire::getU32(buffer_.data() + wire::kLengthAt);
    if (payloadBytes > wire::kMaxPayloadBytes) {
        return Result::TooLong;
    }
    const std::size_t frameBytes = wire::kEnvelopeBytes + payloadBytes;
    if (buffer_.size() < frameBytes) {
        return Result::NeedMore;
    }
    *frame = buffer_.substr(0, frameBytes);
    buffer_.erase(0, frameBytes);
    return Result::Frame;
}

}  // namespace ac500::sim
