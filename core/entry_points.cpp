// The entry points that need no subsystem: settings, callbacks and the services this driver does not offer.
#include "core/host_interface.h"

void SetComInfo(ComInfo* info) noexcept {
    info->clearedWord52 = 0;
    info->clearedWord40 = 0;
    PLC_driver.comInfo = info;
}

void RegistCallBackFuncIntf(VarDoneCallback varDone, CommFailCallback commFail) noexcept {
    PLC_driver.varDoneCallback = varDone;
    PLC_driver.commFailCallback = commFail;
}

int PLCAddressChangeIntef() noexcept {
    return -1;  // quirk 1
}

int QueryFinishFlag() noexcept {
    return 1;  // quirk 1
}

RW_VAR* Remote_ReadVar(RW_VAR* var) noexcept {
    return var;  // quirk 1
}

RW_VAR* Remote_WriteVar(RW_VAR* var) noexcept {
    return var;  // quirk 1
}
