// RequestFrame is what a host can read out of a request that the driver wants sent. The wire has no transaction number,
// so knowing what was asked is the only way to tell whether a reply can be its answer.
#ifndef AC500_TOOLS_HOST_REQUEST_FRAME_H
#define AC500_TOOLS_HOST_REQUEST_FRAME_H

#include <QtCore/QByteArray>
#include <vector>

#include "tools/wire/frame.h"

namespace ac500::host {

using wire::ByteRun;
using wire::Service;

struct RequestFrame {
    Service service = Service::Hello;
    std::vector<ByteRun> items;   // of a read or a write, in frame order; of a handshake frame none
    int expectedReplyBytes = -1;  // of a good reply, envelope included; -1: unknown until the reply says it
};

// REQUIRES: `frame` comes from the driver. A frame that is cut short yields the items that are whole.
RequestFrame parseRequest(const QByteArray& frame);

}  // namespace ac500::host

#endif
