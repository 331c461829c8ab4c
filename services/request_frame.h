// Encodes a batch as a read or write request: pure functions of the variables and the session bytes.
//
// Both requests (multi-byte numbers big-endian):
//
//   offset  bytes  content
//   0       2      magic 0xBB 0xBB
//   2       2      upper half of the payload length, always 0
//   4       2      payload length, low 16 bits
//   6       1      service code: 0x2E read, 0x3C write
//   7       1      0
//   8       4      number of items
//   12      ...    the items, one after another
//   end-4   4      the session bytes
//
// An item is area (2 bytes, low half), offset (4) and size (4); in a write its data bytes follow at once.
// docs/wire-format.md has a worked example of each.
#ifndef AC500_SERVICES_REQUEST_FRAME_H
#define AC500_SERVICES_REQUEST_FRAME_H

#include <QtCore/QByteArray>

#include "vars/rw_var.h"

namespace ac500 {

enum {
    kRequestHeaderBytes = 2 + 4 + 1 + 1 + 4,  // magic, payload length, service, zero, item count
    kItemHeadBytes = 2 + 4 + 4,               // area, offset, size
    kSessionFieldBytes = 4
};

// The variables of one request and the session bytes that close it. Points at memory of the caller.
struct RequestContent {
    const RW_VAR* vars;
    int count;
    const quint8* sessionBytes;  // kSessionFieldBytes of them
};

QByteArray encodeReadRequest(const RequestContent& content);

// Data shorter than an item's size is filled up with zeros. Returns an empty array when the frame would not fit into a
// byte array (1 GiB), which only sizes without sense can cause.
QByteArray encodeWriteRequest(const RequestContent& content);

}  // namespace ac500

#endif
