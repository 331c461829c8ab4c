#include "tools/host/request_frame.h"

namespace ac500::host {

namespace {

std::vector<ByteRun> parseItems(const QByteArray& frame, bool carriesData) {
    std::vector<ByteRun> items;
    if (frame.size() < wire::kItemsAt) {
        return items;
    }
    const std::uint32_t count = wire::getU32(frame.constData() + wire::kItemCountAt);
    std::int64_t position = wire::kItemsAt;
    for (std::uint32_t i = 0; i < count && position + wire::kItemHeadBytes <= frame.size(); ++i) {
        items.push_back(wire::getItemHead(frame.constData() + position));
        position += wire::kItemHeadBytes + (carriesData ? items.back().size : 0);
    }
    return items;
}

int replyBytesOf(const std::vector<ByteRun>& items) {
    std::int64_t bytes = wire::kReadReplyHeadBytes;
    for (const ByteRun& item : items) {
        bytes += wire::kLeadBytes + item.size;
    }
    return static_cast<int>(bytes);
}

}  // namespace

RequestFrame parseRequest(const QByteArray& frame) {
    RequestFrame request;
    if (frame.size() <= wire::kServiceAt) {
        return request;
    }
    request.service = Service{wire::byteAt(frame.constData(), wire::kServiceAt)};
    if (request.service == Service::Read) {
        request.items = parseItems(frame, false);
        request.expectedReplyBytes = replyBytesOf(request.items);
    } else if (request.service == Service::Write) {
        request.items = parseItems(frame, true);
        request.expectedReplyBytes = wire::kShortReplyBytes;
    }
    return request;
}

}  // namespace ac500::host
