// Builders for the records that a host hands to the driver.
#ifndef AC500_TESTS_SUPPORT_RECORDS_H
#define AC500_TESTS_SUPPORT_RECORDS_H

#include "core/com_info.h"
#include "tests/support/wire.h"
#include "vars/rw_var.h"

namespace ac500::test {

// Settings in which every word that is carried somewhere has a value of its own.
inline ComInfo testSettings() {
    ComInfo settings = ComInfo();
    settings.maxRequestWords = 100;
    settings.comWord = 2424;
    settings.retryLimit = 2;
    settings.aux3 = 5656;
    settings.aux4 = 6060;
    settings.accessMode = 2;
    settings.stationId = 7;
    return settings;
}

// A planned read of `size` bytes; every other field is 0 or empty.
inline RW_VAR readVar(qint32 area, qint32 offset, qint32 size) {
    RW_VAR var = RW_VAR();
    var.area = area;
    var.offset = offset;
    var.size = size;
    return var;
}

// A planned write of the bytes that `data` spells in hexadecimal.
inline RW_VAR writeVar(qint32 area, qint32 offset, const char* data) {
    RW_VAR var = RW_VAR();
    var.writeFlag = 1;
    var.area = area;
    var.offset = offset;
    var.data = bytes(data);
    var.size = var.data.size();
    return var;
}

// The same record under the host's identity.
inline RW_VAR identified(RW_VAR var, qint32 hostId, qint32 hostSubId) {
    var.hostId = hostId;
    var.hostSubId = hostSubId;
    return var;
}

}  // namespace ac500::test

#endif
