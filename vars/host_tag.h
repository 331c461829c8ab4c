// HostTag is one entry of the list that a host hands to ReCreatReadVarList: a tag that is to be read cyclically.
#ifndef AC500_VARS_HOST_TAG_H
#define AC500_VARS_HOST_TAG_H

#include <cstddef>

#include <QtCore/QString>

// The host owns the records; the driver only reads them, during the call.
struct HostTag {
    qint32 hostWord0;  // not read
    qint32 hostWord1;  // not read
    QString argument;  // decimal text for "%%" in tagName; empty or unreadable means 0
    QString tagName;   // e.g. "Main.motor.speed", "Main.values[%%,0]"
    qint32 count;      // elements wanted (16-bit words for wider types and strings, see docs/host-interface.md)
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(HostTag, hostWord0) == 0, "HostTag::hostWord0");
static_assert(offsetof(HostTag, hostWord1) == 4, "HostTag::hostWord1");
static_assert(offsetof(HostTag, argument) == 8, "HostTag::argument");
static_assert(offsetof(HostTag, tagName) == 12, "HostTag::tagName");
static_assert(offsetof(HostTag, count) == 16, "HostTag::count");
static_assert(sizeof(HostTag) == 20, "HostTag is 20 bytes on 32-bit targets");
#else
static_assert(sizeof(HostTag) == 32, "HostTag is 32 bytes on 64-bit targets");
#endif
#endif

#endif
