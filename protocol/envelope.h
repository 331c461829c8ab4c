// The envelope of every frame, and what is read of a reply before anything else.
//
//   offset  bytes  content
//   0       2      magic 0xBB 0xBB
//   2       4      length of the payload, unsigned; replies are judged by the low half alone (quirk 2)
//   6       n      payload: the service code in a request, the status word in a data reply
#ifndef AC500_PROTOCOL_ENVELOPE_H
#define AC500_PROTOCOL_ENVELOPE_H

#include <QtCore/QByteArray>

#include "protocol/bytes.h"

namespace ac500 {

enum EnvelopeOffset { kMagicAt = 0, kLengthAt = 2, kLengthLowAt = 4, kPayloadAt = 6, kStatusWordAt = kPayloadAt };

enum { kMagic = 0xBBBB, kEnvelopeBytes = kPayloadAt, kStatusWordBytes = 2 };

// REQUIRES: the reply holds the whole envelope.
inline int payloadLength(const QByteArray& reply) {
    return getU16(reply.constData() + kLengthLowAt);
}

// True when the reply holds exactly the envelope and the payload that its length field announces.
inline bool isComplete(const QByteArray& reply) {
    return reply.size() >= kEnvelopeBytes && reply.size() == kEnvelopeBytes + payloadLength(reply);
}

}  // namespace ac500

#endif
