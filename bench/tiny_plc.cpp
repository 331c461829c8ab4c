#include "bench/tiny_plc.h"

#include "bench/corpus.h"
#include "protocol/bytes.h"

namespace ac500::bench {

namespace {

enum { kEnvelopeBytes = 6, kServiceAt = 6, kItemCountAt = 8, kItemsAt = 12, kItemBytes = 10 };
enum { kHelloService = 0x01, kSymbolsService = 0x31, kReadService = 0x2E };
enum { kHelloReplyBytes = 206, kSymbolsReplyBytes = 36, kSessionBytesAt = 24 };

constexpr char kLeadByte = '\xFF';

void putEnvelope(std::string& reply) {
    putU16(&reply[0], 0xBBBB);
    putU32(&reply[2], static_cast<quint32>(reply.size() - kEnvelopeBytes));
}

}  // namespace

TinyPlc::TinyPlc(int areaBytes) {
    for (int address = 0; address < areaBytes; ++address) {
        memory_.push_back(memoryByte(address));
    }
}

int TinyPlc::requestBytes(const char* buffer, int size) {
    if (size < kEnvelopeBytes) {
        return 0;
    }
    const int whole = kEnvelopeBytes + getU16(buffer + 4);
    return size < whole ? 0 : whole;
}

const std::string& TinyPlc::answer(const char* request, int size) {
    reply_.clear();
    switch (size > kServiceAt ? request[kServiceAt] : 0) {
        case kHelloService:
            reply_.assign(kHelloReplyBytes, '\0');
            break;
        case kSymbolsService:
            reply_.assign(kSymbolsReplyBytes, '\0');
            putU32(&reply_[kSessionBytesAt], 0x11223344);
            break;
        case kReadService:
            answerRead(request, size);
            break;
        default:
            return reply_;
    }
    if (!reply_.empty()) {
        putEnvelope(reply_);
    }
    return reply_;
}

void TinyPlc::answerRead(const char* request, int size) {
    reply_.assign(kItemsAt, '\0');
    const quint32 items = getU32(request + kItemCountAt);
    const char* item = request + kItemsAt;
    for (quint32 i = 0; i < items && item + kItemBytes <= request + size; ++i, item += kItemBytes) {
        const std::size_t start = getU32(item + 2);
        const std::size_t bytes = getU32(item + 6);
        if (getU16(item) != kArea || start + bytes > memory_.size()) {
            reply_.clear();
            return;
        }
        reply_.push_back(kLeadByte);
        reply_.append(memory_.data() + start, bytes);
    }
}

}  // namespace ac500::bench
