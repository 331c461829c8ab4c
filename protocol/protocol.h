// Protocol is one queued request frame. ComCommunication returns a pointer to the one at the head of the queue; the
// host sends `frame` and hands the reply to DataCom. The driver owns it; the pointer is valid until DataCom removes
// the frame or clears the queue. The layout is a contract with the host.
#ifndef AC500_PROTOCOL_PROTOCOL_H
#define AC500_PROTOCOL_PROTOCOL_H

#include <cstddef>

#include <QtCore/QByteArray>

#include "vars/rw_var.h"

struct Protocol {
    QByteArray frame;        // the complete request, to be sent as it is
    qint32 frameLength;      // bytes in `frame`
    qint32 replyLength;      // -1 until the measuring call of DataCom stores the size of the complete reply
    qint32 replyDataOffset;  // reads: position in the reply of the lead byte of the first item (12); else 0
    qint32 minReplyLength;   // handshake: shorter replies are rejected (6); else 0
    RW_VAR var;              // the variable served: the first of the batch
    qint32 reserved80;       // always 0, never read
    qint32 reserved84;
    qint32 reserved88;
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(Protocol, frame) == 0, "Protocol::frame");
static_assert(offsetof(Protocol, frameLength) == 4, "Protocol::frameLength");
static_assert(offsetof(Protocol, replyLength) == 8, "Protocol::replyLength");
static_assert(offsetof(Protocol, replyDataOffset) == 12, "Protocol::replyDataOffset");
static_assert(offsetof(Protocol, minReplyLength) == 16, "Protocol::minReplyLength");
static_assert(offsetof(Protocol, var) == 20, "Protocol::var");
static_assert(offsetof(Protocol, reserved80) == 80, "Protocol::reserved80");
static_assert(offsetof(Protocol, reserved84) == 84, "Protocol::reserved84");
static_assert(offsetof(Protocol, reserved88) == 88, "Protocol::reserved88");
static_assert(sizeof(Protocol) == 92, "Protocol is 92 bytes on 32-bit targets");
#else
static_assert(sizeof(Protocol) == 112, "Protocol is 112 bytes on 64-bit targets");
#endif
#endif

#endif
