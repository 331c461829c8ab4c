#include "protocol/handshake.h"

#include "core/codes.h"
#include "core/communication_protocol.h"
#include "protocol/frames.h"

using namespace ac500;

namespace {

const char kOpenRequest[] = "BB BB 00 00 00 0E 01 00 00 00 02 00 00 00 06 00 00 00 00 00";
const char kSymbolFileRequest[] =
    "BB BB 00 00 00 11 31 00 00 0D 44 4F 57 4E 4C 4F 41 44 2E 53 44 42 00";  // DOWNLOAD.SDB

enum { kSessionBytesAt = 24 };  // in the reply to the symbol file request

enum { kLeastOpenPayload = 200, kLeastSymbolFilePayload = 30 };

void queueHandshakeFrame(const char* hexText, const RW_VAR& var) {
    Protocol request = newRequest(QByteArray::fromHex(hexText), var);
    request.minReplyLength = kEnvelopeBytes;
    PLC_driver.frameList.append(request);
    PLC_driver.comInfo->frameTotal += 1;
}

int checkOpenReply(const QByteArray& reply) {
    return payloadLength(reply) < kLeastOpenPayload ? kOpenReplyTooSmall : kHandshakeAccepted;
}

int takeSessionBytes(const QByteArray& reply) {
    if (payloadLength(reply) < kLeastSymbolFilePayload || reply.size() < kSessionBytesAt + kSessionBytes) {
        return kSymbolFileReplyTooSmall;
    }
    for (int i = 0; i < kSessionBytes; ++i) {  // requests carry them in reverse order
        PLC_driver.handshakeBytes[i] = byteAt(reply.constData(), kSessionBytesAt + kSessionBytes - 1 - i);
    }
    return kHandshakeAccepted;
}

}  // namespace

void handshake_data(RW_VAR* var) noexcept {
    PLC_driver.comInfo->frameTotal = 0;
    queueHandshakeFrame(kOpenRequest, *var);
    queueHandshakeFrame(kSymbolFileRequest, *var);
    PLC_driver.comInfo->frameDone = 0;
}

int handshake_data_check(QByteArray* reply) noexcept {
    const QList<Protocol>& frames = PLC_driver.frameList;
    if (frames.isEmpty()) {
        return kHandshakeNotExpected;
    }
    if (reply->size() < qMax<int>(frames.first().minReplyLength, kEnvelopeBytes)) {
        return kHandshakeTooShort;
    }
    switch (PLC_driver.comInfo->frameDone) {
        case 0:
            return checkOpenReply(*reply);
        case 1:
            return takeSessionBytes(*reply);
        default:
            return kHandshakeNotExpected;
    }
}
