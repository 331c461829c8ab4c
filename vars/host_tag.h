// HostTag is one entry of the list that a host hands to ReCreatReadVarList: a tag that is to be read cyclically.
#ifndef AC500_VARS_HOST_TAG_H
#define AC500_VARS_HOST_TAG_H

#include <QtCore/QString>

// The host owns the records; the driver only reads them, during the call.
struct HostTag {
    qint32 hostWord0;  // not read
    qint32 hostWord1;  // not read
    QString argument;  // decimal text for "%%" in tagName; empty or unreadable means 0
    QString tagName;   // e.g. "Main.motor.speed", "Main.values[%%,0]"
    qint32 count;      // elements wanted (16-bit words for wider types and strings, see docs/host-interface.md)
};

#endif
