// The layout of frames, and the record in which a new request is queued. Numbers are big-endian.
//
// Every frame is an envelope:
//
//   offset  bytes  content
//   0       2      magic 0xBB 0xBB
//   2       4      length of the payload, unsigned; replies are judged by the low half alone (quirk 2)
//   6       n      payload
//
// The payload of requests that read or write runs of bytes, and of the replies to them:
//
//   offset  bytes  request                                  reply
//   6       1      service code: 0x2E read, 0x3C write      status word, 2 bytes, 0 when all went well
//   7       1      0
//   8       4      number of items                          not looked at
//   12      ...    the items, one after another             read: the items, one after another
//   end-4   4      the session bytes
//
// An item of a request is area (2 bytes, low half), offset (4) and size (4); in a write its data bytes follow at once.
// An item of a read reply is a lead byte that carries no data and the data bytes. docs/wire-format.md has a worked
// example of each.
#ifndef AC500_PROTOCOL_FRAMES_H
#define AC500_PROTOCOL_FRAMES_H

#include <QtCore/QByteArray>

#include "core/codes.h"
#include "protocol/bytes.h"
#include "protocol/protocol.h"

namespace ac500 {

enum { kMagic = 0xBBBB };

enum FrameOffset {
    kMagicAt = 0,
    kLengthAt = 2,
    kLengthLowAt = kLengthAt + 2,
    kPayloadAt = kLengthAt + 4,
    kServiceAt = kPayloadAt,     // of requests
    kStatusWordAt = kPayloadAt,  // of data replies
    kItemCountAt = kServiceAt + 1 + 1,
    kItemsAt = kItemCountAt + 4
};

enum FrameBytes {
    kEnvelopeBytes = kPayloadAt,
    kStatusWordBytes = 2,
    kItemHeadBytes = 2 + 4 + 4,  // of requests: area, offset, size
    kLeadByteBytes = 1           // of read replies
};

// REQUIRES: the reply holds the whole envelope.
inline int payloadLength(const QByteArray& reply) {
    return getU16(reply.constData() + kLengthLowAt);
}

// True when the reply holds exactly the envelope and the payload that its length field announces.
inline bool isComplete(const QByteArray& reply) {
    return reply.size() >= kEnvelopeBytes && reply.size() == kEnvelopeBytes + payloadLength(reply);
}

// The queue record of `frame` on behalf of `var`: its reply not measured yet, everything else 0.
inline Protocol newRequest(const QByteArray& frame, const RW_VAR& var) {
    Protocol request = Protocol();
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = kNotMeasured;
    request.var = var;
    return request;
}

}  // namespace ac500

#endif
