#include "bench/tiny_plc.h"

#include <algorithm>

#include "bench/corpus.h"
#include "tools/wire/frame.h"

namespace ac500::bench {

namespace {

using wire::Service;

constexpr char kLeadByte = '\xFF';

}  // namespace

TinyPlc::TinyPlc(int areaBytes) : memory_(static_cast<std::size_t>(areaBytes)) {
    setGeneration(0);
}

void TinyPlc::setGeneration(int generation) {
    for (int address = 0; address < static_cast<int>(memory_.size()); ++address) {
        memory_[static_cast<std::size_t>(address)] = memoryByte(address, generation);
    }
}

bool TinyPlc::holds(const wire::ByteRun& run) const {
    return run.area == kArea && run.address + run.size <= static_cast<std::int64_t>(memory_.size());
}

int TinyPlc::requestBytes(const char* buffer, int size) {
    if (size < wire::kEnvelopeBytes) {
        return 0;
    }
    const int whole = wire::kEnvelopeBytes + wire::getU16(buffer + wire::kLowLengthAt);
    return size < whole ? 0 : whole;
}

const std::string& TinyPlc::answer(const char* request, int size) {
    reply_.clear();
    if (size <= wire::kServiceAt) {
        return reply_;
    }
    switch (Service{wire::byteAt(request, wire::kServiceAt)}) {
        case Service::Hello:
            reply_.assign(wire::kHelloReplyBytes, '\0');
            break;
        case Service::Symbols:
            reply_.assign(wire::kSymbolsReplyBytes, '\0');
            wire::putU32(&reply_[wire::kSessionAt], 0x11223344);
            break;
        case Service::Read:
            answerRead(request, size);
            break;
        case Service::Write:
            answerWrite(request, size);
            break;
    }
    if (!reply_.empty()) {
        wire::putEnvelope(reply_);
    }
    return reply_;
}

void TinyPlc::answerRead(const char* request, int size) {
    reply_.assign(wire::kReadReplyHeadBytes, '\0');
    const std::uint32_t items = wire::getU32(request + wire::kItemCountAt);
    const char* item = request + wire::kItemsAt;
    for (std::uint32_t i = 0; i < items && item + wire::kItemHeadBytes <= request + size; ++i) {
        const wire::ByteRun run = wire::getItemHead(item);
        item += wire::kItemHeadBytes;
        if (!holds(run)) {
            reply_.clear();
            return;
        }
        reply_.push_back(kLeadByte);
        reply_.append(memory_.data() + run.address, static_cast<std::size_t>(run.size));
    }
}

void TinyPlc::answerWrite(const char* request, int size) {
    const std::uint32_t items = wire::getU32(request + wire::kItemCountAt);
    const char* item = request + wire::kItemsAt;
    const char* const end = request + size - wire::kSessionBytes;
    for (std::uint32_t i = 0; i < items; ++i) {
        if (end - item < wire::kItemHeadBytes) {
            return;
        }
        const wire::ByteRun run = wire::getItemHead(item);
        item += wire::kItemHeadBytes;
        if (!holds(run) || end - item < run.size) {
            return;
        }
        std::copy(item, item + run.size, memory_.begin() + static_cast<std::ptrdiff_t>(run.address));
        item += run.size;
    }
    reply_.assign(wire::kShortReplyBytes, '\0');
}

}  // namespace ac500::bench
