#include "core/return_codes.h"

#include "core/host_interface.h"
#include "protocol/bytes.h"

using namespace ac500;

namespace {

// Failure families: a code is its family's base + 1, plus the hostId of the variable when that is 1 to 11.
enum FamilyBase { kRefusedBase = 10, kEmptyBase = 40, kLengthBase = 70, kBase5 = 110, kBase6 = 140, kBase7 = 170 };

enum { kLargestHostIdInCode = 11 };

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
            return SwitchErrorReturn(kBase5);
        case kReplyOutcome6:
            return SwitchErrorReturn(kBase6);
        case kReplyOutcome7:
            return SwitchErrorReturn(kBase7);
        default:
            return kStatusUnknownOutcome;
    }
}

int SwitchErrorReturn(int base) noexcept {
    const QList<Protocol>& frames = PLC_driver.frameList;
    const int hostId = frames.isEmpty() ? 0 : frames.first().var.hostId;
    return wrapAdd(base, hostIdInCode(hostId) + 1);
}
