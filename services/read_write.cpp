#include "services/read_write.h"

#include <cstring>
#include <limits>

#include "core/communication_protocol.h"
#include "protocol/bytes.h"
#include "protocol/frames.h"
#include "values/local_area.h"

using namespace ac500;

namespace {

enum Service { kReadService = 0x2E, kWriteService = 0x3C };

// The variables of one request and the session bytes that close it. Points at memory of the caller.
struct RequestContent {
    const RW_VAR* vars;
    int count;
    const quint8* sessionBytes;  // kSessionBytes of them
};

// A negative size travels as 0 (quirk 37).
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
        std::memcpy(next_, sessionBytes, kSessionBytes);
        return frame_;
    }

private:
    QByteArray frame_;
    char* next_;
};

qint64 writeFrameBytes(const RequestContent& content) {
    qint64 total = kItemsAt + kSessionBytes;
    for (int i = 0; i < content.count; ++i) {
        total += static_cast<qint64>(kItemHeadBytes) + itemBytes(content.vars[i]);
    }
    return total;
}

QByteArray encodeReadRequest(const RequestContent& content) {
    const int frameBytes = kItemsAt + content.count * kItemHeadBytes + kSessionBytes;
    RequestWriter writer(kReadService, content.count, frameBytes);
    for (int i = 0; i < content.count; ++i) {
        writer.putItemHead(content.vars[i]);
    }
    return writer.finish(content.sessionBytes);
}

// An empty array when the frame would not fit into a byte array, which only sizes without sense can cause.
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

RequestContent batchContent() {
    const RequestContent content = {PLC_driver.batch, PLC_driver.batchCount, PLC_driver.handshakeBytes};
    return content;
}

// Where the first item of the reply begins.
enum ReplyDataOffset { kNoReplyData = 0, kReadReplyDataAt = kItemsAt };

// Queues `frame` on behalf of `var` as the one frame of a new request. An empty frame is not queued: false.
bool queueRequest(const QByteArray& frame, ReplyDataOffset replyDataOffset, const RW_VAR& var) {
    if (frame.isEmpty()) {
        return false;
    }
    Protocol request = newRequest(frame, var);
    request.replyDataOffset = replyDataOffset;
    PLC_driver.frameList.append(request);
    PLC_driver.comInfo->frameDone = 0;
    PLC_driver.comInfo->frameTotal = 1;
    return true;
}

bool queueWriteRequest(const RW_VAR& var) {
    return queueRequest(encodeWriteRequest(batchContent()), kNoReplyData, var);
}

}  // namespace

void ReadRegister(RW_VAR* var) noexcept {
    ReadAnalog(var);
}

void ReadAnalog(RW_VAR* var) noexcept {
    queueRequest(encodeReadRequest(batchContent()), kReadReplyDataAt, *var);
}

void WriteRegister(RW_VAR* var) noexcept {
    if (queueWriteRequest(*var) && PLC_driver.commFailed == 0) {  // quirk 25
        WriteDataToLocal(var);                                    // the first of the batch alone (quirk 29)
    }
}

void WriteAnalog(RW_VAR* var) noexcept {
    queueWriteRequest(*var);
}
