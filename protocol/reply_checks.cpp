// The two checks that every reply passes: is it complete, and does the PLC say that it went well.
#include "core/codes.h"
#include "core/host_interface.h"
#include "protocol/envelope.h"

using namespace ac500;

namespace {

bool hasGoodStatusWord(const QByteArray& reply) {
    return reply.size() >= kStatusWordAt + kStatusWordBytes && getU16(reply.constData() + kStatusWordAt) == 0;
}

}  // namespace

int infinite_length_data_reception(QByteArray* reply) noexcept {
    return isComplete(*reply) ? kReceptionComplete : kReceptionIncomplete;
}

int CheckGetData(const QByteArray* reply, int) noexcept {
    const QList<Protocol>& frames = PLC_driver.frameList;
    if (frames.isEmpty() || !isComplete(*reply) || !hasGoodStatusWord(*reply)) {
        return kBadDataReply;
    }
    return frames.first().var.writeFlag == 0 ? kGoodReadReply : kGoodWriteReply;
}
