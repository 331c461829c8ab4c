// The entry points that need no subsystem: settings, callbacks, stations and the services this driver does not offer.
#include <QtCore/QMutexLocker>

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

// Which stations the host has switched off. The poll scheduler does not look here: the host asks and decides (quirk 31).
void EnableEthernet(int station, int enable) noexcept {
    QMutexLocker lock(&PLC_driver.stationMutex);
    if (station < 0) {
        PLC_driver.disabledStations.clear();
    } else if (enable == 0) {
        PLC_driver.disabledStations.insert(station, 0);
    } else if (enable == 1) {
        PLC_driver.disabledStations.remove(station);
    }
}

void EnCommStation(int station, int enable) noexcept {
    EnableEthernet(station, enable);
}

int Ethernetcontains(int station) noexcept {
    QMutexLocker lock(&PLC_driver.stationMutex);
    return PLC_driver.disabledStations.contains(station) ? 1 : 0;
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
