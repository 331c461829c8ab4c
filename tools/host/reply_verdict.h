// judgeReply says what a complete reply is, before the driver sees it. The driver remembers the length of the first
// reply it measures for a frame and refuses another length on a retry (quirk 9), and it judges handshake replies and
// lengths loosely; so the host hands over only replies that can be the answer, and everything else as "no reply".
#ifndef AC500_TOOLS_HOST_REPLY_VERDICT_H
#define AC500_TOOLS_HOST_REPLY_VERDICT_H

#include <QtCore/QByteArray>
#include <cstdint>
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
    std::string text;              // not Good: what was expected and what came
    std::uint16_t statusWord = 0;  // Refused: the PLC's
};

// REQUIRES: `reply` is complete by its envelope.
ReplyVerdict judgeReply(const RequestFrame& request, const QByteArray& reply);

// Whether the same request, sent again, may be taken. What a status word means the maker of the PLC knows; this host knows
// of one alone that passes, 0x0F01, which the simulated PLC gives to a reply that it spoils. Of all others it assumes that
// they stand: to repeat a refused request brings nothing then, and a write that is taken at the third attempt comes when
// nobody expects it any more.
bool mayPass(std::uint16_t statusWord);

// Whether the next reply on the connection can still be told apart. A refusal is a proper answer; anything else that is
// not good means that the two sides no longer agree on where a reply begins or what it answers.
bool keepsConnection(Verdict verdict);

}  // namespace ac500::host

#endif
