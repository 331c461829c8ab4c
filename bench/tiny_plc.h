// TinyPlc answers requests out of one flat memory with as little work as possible, so that what is measured is the
// client. It knows the handshake, and reads and writes of area kArea, and nothing else; docs/wire-format.md gives the
// frames.
#ifndef AC500_BENCH_TINY_PLC_H
#define AC500_BENCH_TINY_PLC_H

#include <string>
#include <vector>

#include "tools/wire/frame.h"

namespace ac500::bench {

class TinyPlc {
public:
    explicit TinyPlc(int areaBytes);

    // Fills the memory anew (memoryByte).
    void setGeneration(int generation);

    char byteAt(int address) const { return memory_[static_cast<std::size_t>(address)]; }

    // The bytes that the request at the front of the buffer takes, or 0 when it is not complete yet.
    static int requestBytes(const char* buffer, int size);

    // The reply to a complete request, valid until the next call; empty for a request it does not know.
    const std::string& answer(const char* request, int size);

private:
    void answerRead(const char* request, int size);
    void answerWrite(const char* request, int size);
    bool holds(const wire::ByteRun& run) const;

    std::vector<char> memory_;
    std::string reply_;
};

}  // namespace ac500::bench

#endif
