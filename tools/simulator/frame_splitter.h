// Cuts the stream of one connection into requests. Holds at most kMaxRequestBytes; trusts nothing. After BadMagic or
// TooLong nothing tells where the next request begins: the connection must be given up. Not thread-safe.
#ifndef AC500_TOOLS_SIMULATOR_FRAME_SPLITTER_H
#define AC500_TOOLS_SIMULATOR_FRAME_SPLITTER_H

#include <cstddef>

#include "tools/wire/frame.h"

namespace ac500::sim {

using wire::Bytes;

constexpr std::size_t kMaxRequestBytes = wire::kEnvelopeBytes + wire::kMaxPayloadBytes;

class FrameSplitter {
public:
    enum class Result { NeedMore, Frame, BadMagic, TooLong };

    // No byte of an unfinished request is there.
    bool isEmpty() const { return buffer_.empty(); }
    // How many bytes append() takes now.
    std::size_t room() const { return kMaxRequestBytes - buffer_.size(); }
    // REQUIRES: size <= room()
    void append(const char* bytes, std::size_t size) { buffer_.append(bytes, size); }

    // Frame: *frame is the next complete request, removed from the buffer. Else *frame is untouched.
    Result next(Bytes* frame);

private:
    Bytes buffer_;
};

}  // namespace ac500::sim

#endif
