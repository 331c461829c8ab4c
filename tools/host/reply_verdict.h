// judgeReply says what a complete reply is, before the driver sees it. The driver remembers the length of the first
// reply it measures for a frame and refuses another length on a retry (quirk 9), and it judges handshake replies and
// lengths loosely; so the host hands over only replies that can be the answer, and everything else as "no reply".
#ifndef AC500_TOOLS_HOST_REPLY_VERDICT_H
#define AC500_TOOLS_HOST_REPLY_VERDICT_H

#include <QtCore/QByteArray>
#include <string>

#include "tools/host/request_frame.h"

namespace ac500::host {

enum class Verdict {
    Good,         // hand it to the driver
    WrongMagic,   // what answers is no PLC of this kind, or the stream is out of step
    NoStatus,     // too short to carry a status word
    Refused,      // status word not 0: the PLC understood and said no
    WrongLength,  // not what the answer has: a read brings exactly what was asked for, a write the status word alone
};

struct ReplyVerdict {
    Verdict verdict = Verdict::Good;
    std::string text;  // not Good: what was expected and what came
};

// REQUIRES: `reply` is complete by its envelope.
ReplyVerdict judgeReply(const RequestFrame& request, const QByteArray& reply);

// Whether the next reply on the connection can still be told apart. A refusal is a proper answer; anything else that is
// not good means that the two sides no longer agree on where a reply begins or what it answers.
bool keepsConnection(Verdict verdict);

}  // namespace ac500::host

#endif
