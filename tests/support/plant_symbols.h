// Symbol records of a small plant, as a host decodes them from the PLC's symbol file.
#ifndef AC500_TESTS_SUPPORT_PLANT_SYMBOLS_H
#define AC500_TESTS_SUPPORT_PLANT_SYMBOLS_H

#include <QtCore/QList>

#include "symbols/label_type_info.h"

namespace ac500::test {

struct Place {
    int area;
    qint32 offset;
};

// A scalar variable of this type code.
inline Label_Type_Info variable(const char* name, quint16 type, Place place) {
    Label_Type_Info info;
    info.name = name;
    info.type = type;
    info.offset = place.offset;
    info.dimensions = 0;
    info.memberCount = 0;
    info.extra1 = 0;
    info.extra2 = 0;
    info.areaList = {place.area};
    return info;
}

inline Label_Type_Info scope(const char* name, const QList<Label_Type_Info>& variables) {
    Label_Type_Info contents = variable("contents", 0x200, {0, 0});
    contents.members = variables;
    contents.memberCount = static_cast<quint32>(variables.size());
    Label_Type_Info info = variable(name, 12, {0, 0});
    info.elementType = {contents};
    return info;
}

}  // namespace ac500::test

#endif
