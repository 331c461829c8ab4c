// EXTENDVAR is an element of a list that the driver keeps for the host's sake: created, cleared and destroyed with
// the driver object, never filled.
#ifndef AC500_VARS_EXTEND_VAR_H
#define AC500_VARS_EXTEND_VAR_H

#include <cstddef>

#include <QtCore/QByteArray>

struct EXTENDVAR {
    qint32 word0;
    qint32 word1;
    qint32 word2;
    QByteArray data;
};

#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(EXTENDVAR, word0) == 0, "EXTENDVAR::word0");
static_assert(offsetof(EXTENDVAR, word1) == 4, "EXTENDVAR::word1");
static_assert(offsetof(EXTENDVAR, word2) == 8, "EXTENDVAR::word2");
static_assert(offsetof(EXTENDVAR, data) == 12, "EXTENDVAR::data");
static_assert(sizeof(EXTENDVAR) == 16, "EXTENDVAR is 16 bytes on 32-bit targets");
#else
static_assert(sizeof(EXTENDVAR) == 24, "EXTENDVAR is 24 bytes on 64-bit targets");
#endif

#endif
