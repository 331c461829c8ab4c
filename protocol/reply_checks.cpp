#include "protocol/reply_checks.h"

#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/communication_protocol.h"
#include "protocol/bytes.h"
#include "protocol/frames.h"
#include "values/local_area.h"

using namespace ac500;

namespace {

bool hasGoodStatusWord(const QByteArray& reply) {
    return reply.size() >= static_cast<int>(kStatusWordAt) + kStatusWordBytes &&
           getU16(reply.constData() + kStatusWordAt) == 0;
}

int hostIdInCode(int hostId) {
    return hostId >= 1 && hostId <= kLargestHostIdInCode ? hostId : 0;
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

int DealDataOfLocalArea(QByteArray* reply, int received) noexcept {
    if (PLC_driver.frameList.isEmpty()) {
        return GetDriverReturnValue(kReplyRefused);
    }
    const int measuredLength = PLC_driver.frameList.first().replyLength;
    if (received == 0 && measuredLength != 0) {
        return GetDriverReturnValue(kReplyEmpty);
    }
    if (measuredLength == 0) {
        return GetDriverReturnValue(kReplyGood);
    }
    if (measuredLength != received && measuredLength != kNotMeasured) {
        return GetDriverReturnValue(kReplyLengthDiffers);
    }

    switch (CheckGetData(reply, received)) {
        case kGoodReadReply: {
            QMutexLocker lock(&PLC_driver.localAreaMutex);
            SaveToLocalDataErea(reply);
            return GetDriverReturnValue(kReplyGood);
        }
        case kGoodWriteReply:
            return GetDriverReturnValue(kReplyGood);
        default:
            return GetDriverReturnValue(kReplyRefused);
    }
}

int GetDriverReturnValue(int outcome) noexcept {
    switch (outcome) {
        case kReplyGood:
            return kStatusAccepted;
        case kReplyRefused:
            return SwitchErrorReturn(kRefusedBase);
        case kReplyEmpty:
            return SwitchErrorReturn(kEmptyBase);
        case kReplyLengthDiffers:
            return SwitchErrorReturn(kLengthBase);
        case kReplyOutcome4:
            return kStatusAcceptedOther;
        case kReplyOutcome5:
            return SwitchErrorReturn(kReserved5Base);
        case kReplyOutcome6:
            return SwitchErrorReturn(kReserved6Base);
        case kReplyOutcome7:
            return SwitchErrorReturn(kReserved7Base);
        default:
            return kStatusUnknownOutcome;
    }
}

int SwitchErrorReturn(int base) noexcept {
    const QList<Protocol>& frames = PLC_driver.frameList;
    const int hostId = frames.isEmpty() ? 0 : frames.first().var.hostId;
    return wrapAdd(base, hostIdInCode(hostId) + 1);
}

void passRetValue(RW_VAR const& source, RW_VAR& target) noexcept {
    target = source;
    target.data.clear();  // quirk 11
}
