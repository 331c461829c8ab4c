// Which stations the host has switched off. The poll scheduler does not look here: the host asks and decides (quirk 31).
#include <QtCore/QMutexLocker>

#include "core/host_interface.h"

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
