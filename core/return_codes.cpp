// From the outcome of a reply check to the status code that the host sees.
#include "core/codes.h"
#include "core/host_interface.h"
#include "protocol/bytes.h"

using namespace ac500;

namespace {

int hostIdInCode(int hostId) {
    return hostId >= 1 && hostId <= kLargestHostIdInCode ? hostId : 0;
}

}  // namespace

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
