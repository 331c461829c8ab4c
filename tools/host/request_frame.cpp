#include "tools/host/request_frame.h"

#include "protocol/bytes.h"

namespace ac500::host {

namespace {

// Offsets in a request: envelope (magic 2, length 4), service 1, zero 1, item count 4, items.
enum RequestOffset { kServiceAt = 6, kItemCountAt = 8, kItemsAt = 12 };
// Offsets in an item: area 2, address 4, size 4; of a write followed by `size` bytes.
enum ItemOffset { kAreaAt = 0, kAddressAt = 2, kSizeAt = 6, kItemHeadBytes = 10 };

const int kReadReplyHeadBytes = 12;
const int kLeadBytes = 1;  // stands before the bytes of each item in a read reply

ByteRun itemAt(const char* item) {
    return {getU16(item + kAreaAt), getU32(item + kAddressAt), getU32(item + kSizeAt)};
}

std::vector<ByteRun> parseItems(const QByteArray& frame, bool carriesData) {
    std::vector<ByteRun> items;
    if (frame.size() < kItemsAt) {
        return items;
    }
    const quint32 count = getU32(frame.constData() + kItemCountAt);
    std::int64_t position = kItemsAt;
    for (quint32 i = 0; i < count && position + kItemHeadBytes <= frame.size(); ++i) {
        items.push_back(itemAt(frame.constData() + position));
        position += kItemHeadBytes + (carriesData ? items.back().size : 0);
    }
    return items;
}

int replyBytesOf(const std::vector<ByteRun>& items) {
    std::int64_t bytes = kReadReplyHeadBytes;
    for (const ByteRun& item : items) {
        bytes += kLeadBytes + item.size;
    }
    return static_cast<int>(bytes);
}

}  // namespace

const char* serviceName(Service service) {
    switch (service) {
        case Service::OpenSession:
            return "open session";
        case Service::SymbolFile:
            return "symbol file";
        case Service::Read:
            return "read";
        case Service::Write:
            return "write";
    }
    return "unknown";
}

bool isHandshake(Service service) {
    return service == Service::OpenSession || service == Service::SymbolFile;
}

RequestFrame parseRequest(const QByteArray& frame) {
    RequestFrame request;
    if (frame.size() <= kServiceAt) {
        return request;
    }
    request.service = static_cast<Service>(byteAt(frame.constData(), kServiceAt));
    if (request.service == Service::Read) {
        request.items = parseItems(frame, false);
        request.expectedReplyBytes = replyBytesOf(request.items);
    } else if (request.service == Service::Write) {
        request.items = parseItems(frame, true);
    }
    return request;
}

}  // namespace ac500::host
