// ComInfo is the host's settings record: 32-bit signed words in the host's memory, shared with the driver.
//
// The host owns the record and keeps it alive while the driver is in use; the driver keeps a pointer only
// (SetComInfo). Set the settings before polling starts. While polling runs, the words marked "driver" are written
// by the driver with its list lock held or from the loop thread; a host thread that reads them meanwhile must
// allow for a value that is one turn old.
#ifndef AC500_CORE_COM_INFO_H
#define AC500_CORE_COM_INFO_H

#include <cstddef>

#include <QtCore/qglobal.h>

// A host may hand over a longer record: the driver touches no word beyond stationId and none called hostWord.
//
// maxRequestWords limits each item, that is one run of bytes, to 2 x maxRequestWords bytes: cyclic and one-shot reads and
// written values are cut into such items. It does not limit a request, which takes items as long as they stay below a
// threshold of 800 bytes, and one in any case (docs/host-interface.md). With 0 or less nothing is read and no value is
// written but single bits. Not cut at all: single bits, and what AddListReadVar and AddListWriteVar are given.
struct ComInfo {
    qint32 hostWord0;
    qint32 hostWord4;
    qint32 hostWord8;
    qint32 hostWord12;
    qint32 maxRequestWords;  // setting: largest item of a request, in 16-bit words, 1 to 32757; see above
    qint32 hostWord20;
    qint32 comWord;     // setting: carried into RW_VAR::comWord of every planned or written variable
    qint32 retryLimit;  // setting: failed replies tolerated before a request is abandoned; 0: the first one abandons
    qint32 retryCount;  // driver: failed replies so far; cleared only when the limit is passed (quirk 8)
    qint32 hostWord36;
    qint32 clearedWord40;  // driver: set to 0 by SetComInfo, never touched again
    qint32 frameTotal;     // driver: frames of the current request: 2 for the handshake, 1 for a read or write
    qint32 frameDone;      // driver: frames of the current request answered so far
    qint32 clearedWord52;  // driver: set to 0 by SetComInfo, never touched again
    qint32 aux3;           // setting: carried into RW_VAR::aux3 of records the driver builds
    qint32 aux4;           // setting: carried into RW_VAR::aux4 of records the driver builds
    qint32 accessMode;     // setting: AccessMode; 2: written values go to the PLC; any other: to the byte image only
    qint32 firstPassDone;  // driver: 1 when the cyclic list was read through once or nothing is left to send
    qint32 stationId;      // setting: first argument of the completion callback
};

#if __cplusplus >= 201103L
static_assert(offsetof(ComInfo, maxRequestWords) == 16, "ComInfo::maxRequestWords");
static_assert(offsetof(ComInfo, comWord) == 24, "ComInfo::comWord");
static_assert(offsetof(ComInfo, retryLimit) == 28, "ComInfo::retryLimit");
static_assert(offsetof(ComInfo, retryCount) == 32, "ComInfo::retryCount");
static_assert(offsetof(ComInfo, clearedWord40) == 40, "ComInfo::clearedWord40");
static_assert(offsetof(ComInfo, frameTotal) == 44, "ComInfo::frameTotal");
static_assert(offsetof(ComInfo, frameDone) == 48, "ComInfo::frameDone");
static_assert(offsetof(ComInfo, clearedWord52) == 52, "ComInfo::clearedWord52");
static_assert(offsetof(ComInfo, aux3) == 56, "ComInfo::aux3");
static_assert(offsetof(ComInfo, aux4) == 60, "ComInfo::aux4");
static_assert(offsetof(ComInfo, accessMode) == 64, "ComInfo::accessMode");
static_assert(offsetof(ComInfo, firstPassDone) == 68, "ComInfo::firstPassDone");
static_assert(offsetof(ComInfo, stationId) == 72, "ComInfo::stationId");
static_assert(sizeof(ComInfo) == 76, "ComInfo ends with stationId");
#endif

#endif
