// Builders for symbol records, and the small PLC program whose names most tests resolve.
//
// Every builder fills every field of its record: default-constructed ones hold arbitrary integers (quirk 20).
#ifndef AC500_TESTS_SUPPORT_LABEL_BUILDERS_H
#define AC500_TESTS_SUPPORT_LABEL_BUILDERS_H

#include <QtCore/QList>

#include "core/host_interface.h"

namespace ac500::test {

enum TypeFlag { kArrayFlag = 0x100, kStructureFlag = 0x200, kBitAddressableFlag = 0x400 };

using Labels = QList<Label_Type_Info>;

// A structure member: it has no memory area of its own. `type` is a type code, with flags where a test wants them.
inline Label_Type_Info member(const char* name, int type, qint32 offset) {
    Label_Type_Info record;
    record.name = QString::fromUtf8(name);
    record.type = static_cast<quint16>(type);
    record.offset = offset;
    record.dimensions = 0;
    record.memberCount = 0;
    record.extra1 = 0;
    record.extra2 = 0;
    return record;
}

inline Label_Type_Info inArea(Label_Type_Info record, int area) {
    record.areaList = QList<int>{area};
    return record;
}

// A variable that stands directly below a scope, in area 1.
inline Label_Type_Info variable(const char* name, int type, qint32 offset) {
    return inArea(member(name, type, offset), 1);
}

// `bounds`: number base, then lower and upper bound per dimension, outermost first.
inline Label_Type_Info asArray(Label_Type_Info record, const QList<int>& bounds) {
    record.type = static_cast<quint16>(record.type | kArrayFlag);
    record.dimensions = (bounds.size() - 1) / 2;
    record.arrayBounds = bounds;
    return record;
}

inline Label_Type_Info structure(const char* name, qint32 sizeBytes, const Labels& members) {
    Label_Type_Info record = member(name, kStructureFlag, sizeBytes);
    record.memberCount = static_cast<quint32>(members.size());
    record.members = members;
    return record;
}

// A variable or member of type 12 whose structure is `type`.
inline Label_Type_Info ofStructure(Label_Type_Info record, const Label_Type_Info& type) {
    record.type = static_cast<quint16>(record.type | 12);
    record.elementType = Labels{type};
    return record;
}

// A variable whose bits may be named, with bit numbers 0 to `bits` - 1.
inline Label_Type_Info withBits(Label_Type_Info record, int bits) {
    record.type = static_cast<quint16>(record.type | kBitAddressableFlag);
    record.elementType = Labels{asArray(member("bits", 1, 0), {10, 0, bits})};
    return record;
}

inline Label_Type_Info scope(const char* name, const Labels& variables) {
    Label_Type_Info record = member(name, kStructureFlag, 0);
    record.elementType = Labels{structure("variables", 0, variables)};
    return record;
}

inline void load(Labels records) {
    PLC_driver.labelTable.clear();
    PassVarName_2(&records);
}

// Loads a scope Main that holds exactly these variables.
inline void loadMain(const Labels& variables) {
    load(Labels{scope("Main", variables)});
}

// Motor: 20 bytes; speed, torque, temps (an array with indices 1 to 4 whose upper bound, 5, lies outside), status (a
// byte with eight named bits) and drive, a structure of 4 bytes with one member current at offset 2.
inline Label_Type_Info motorType() {
    const Label_Type_Info drive = structure("Drive", 4, {member("current", 3, 2)});
    return structure("Motor", 20,
                     {member("speed", 3, 2), member("torque", 7, 4), asArray(member("temps", 3, 8), {10, 1, 5}),
                      withBits(member("status", 15, 14), 8), ofStructure(member("drive", 0, 16), drive)});
}

// Main: area 1 throughout, except `remote`, which lies in area 9.
inline void loadPlant() {
    loadMain({variable("counter", 3, 4), asArray(variable("values", 3, 100), {10, 0, 4, 1, 6}),
              asArray(variable("grid", 3, 150), {10, 0, 4, 0, 3}), asArray(variable("vector", 3, 200), {10, 0, 5}),
              ofStructure(variable("motor", 0, 300), motorType()),
              asArray(ofStructure(variable("motors", 0, 400), motorType()), {10, 1, 5}),
              withBits(variable("flags", 3, 500), 16), variable("text", 10, 600),
              asArray(variable("texts", 10, 700), {10, 0, 3}), inArea(variable("remote", 5, 40), 9)});
}

}  // namespace ac500::test

#endif
