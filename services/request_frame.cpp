#include "services/request_frame.h"

#include <cstring>
#include <limits>

#include "protocol/envelope.h"

namespace ac500 {

namespace {

enum Service { kReadService = 0x2E, kWriteService = 0x3C };

enum RequestOffset { kServiceAt = kPayloadAt, kItemCountAt = 8, kItemsAt = 12 };

static_assert(static_cast<int>(kItemsAt) == static_cast<int>(kRequestHeaderBytes), "items follow the header");

int itemBytes(const RW_VAR& var) {
    return qMax(var.size, 0);
}

// A zero-filled frame of its final size, filled from the front. The sizes were added up before: it never runs over.
class RequestWriter {
public:
    RequestWriter(Service service, int itemCount, int frameBytes) : frame_(frameBytes, '\0'), next_(frame_.data()) {
        putU16(next_ + kMagicAt, kMagic);
        putU16(next_ + kLengthLowAt, static_cast<quint16>((frameBytes - kEnvelopeBytes) & 0xFFFF));
        next_[kServiceAt] = static_cast<char>(service);
        putU32(next_ + kItemCountAt, static_cast<quint32>(itemCount));
        next_ += kItemsAt;
    }

    void putItemHead(const RW_VAR& var) {
        putU16(next_, static_cast<quint16>(var.area & 0xFFFF));
        putU32(next_ + 2, static_cast<quint32>(var.offset));
        putU32(next_ + 6, static_cast<quint32>(itemBytes(var)));
        next_ += kItemHeadBytes;
    }

    void putItemData(const RW_VAR& var) {
        std::memcpy(next_, var.data.constData(), static_cast<size_t>(qMin(itemBytes(var), var.data.size())));
        next_ += itemBytes(var);
    }

    QByteArray finish(const quint8* sessionBytes) {
        std::memcpy(next_, sessionBytes, kSessionFieldBytes);
        return frame_;
    }

private:
    QByteArray frame_;
    char* next_;
};

qint64 writeFrameBytes(const RequestContent& content) {
    qint64 total = kRequestHeaderBytes + kSessionFieldBytes;
    for (int i = 0; i < content.count; ++i) {
        total += static_cast<qint64>(kItemHeadBytes) + itemBytes(content.vars[i]);
    }
    return total;
}

}  // namespace

QByteArray encodeReadRequest(const RequestContent& content) {
    const int frameBytes = kRequestHeaderBytes + content.count * kItemHeadBytes + kSessionFieldBytes;
    RequestWriter writer(kReadService, content.count, frameBytes);
    for (int i = 0; i < content.count; ++i) {
        writer.putItemHead(content.vars[i]);
    }
    return writer.finish(content.sessionBytes);
}

QByteArray encodeWriteRequest(const RequestContent& content) {
    const qint64 frameBytes = writeFrameBytes(content);
    if (frameBytes > std::numeric_limits<qint32>::max() / 2) {
        return QByteArray();
    }
    RequestWriter writer(kWriteService, content.count, static_cast<int>(frameBytes));
    for (int i = 0; i < content.count; ++i) {
        writer.putItemHead(content.vars[i]);
        writer.putItemData(content.vars[i]);
    }
    return writer.finish(content.sessionBytes);
}

}  // namespace ac500
