// The worked records of docs/host-interface.md, which shows this file's functions as they stand here: written as the
// author of a decoder would, for any C++ since C++98.
#ifndef AC500_TESTS_LAYOUT_WORKED_RECORDS_H
#define AC500_TESTS_LAYOUT_WORKED_RECORDS_H

#include "core/host_interface.h"

// Every number of a record is set: the constructor leaves them as they are (quirk 20).
inline Label_Type_Info record(const char* name, int type, int offset) {
    Label_Type_Info info;
    info.name = QString::fromLatin1(name);
    info.type = static_cast<quint16>(type);
    info.offset = offset;
    info.dimensions = 0;
    info.memberCount = 0;
    info.extra1 = 0;
    info.extra2 = 0;
    return info;
}

inline Label_Type_Info withMembers(Label_Type_Info info, const QList<Label_Type_Info>& members) {
    info.members = members;
    info.memberCount = static_cast<quint32>(members.size());
    return info;
}

// One dimension, lower to upper as the PLC program declares them. The record's bound lies outside (quirk 16).
inline Label_Type_Info withIndices(Label_Type_Info info, int lower, int upper) {
    info.type |= ac500::kArrayFlag;
    info.dimensions = 1;
    info.arrayBounds = QList<int>() << 10 << lower << upper + 1;
    return info;
}

// A variable stands directly below a scope, and needs its memory area. Members have none.
inline Label_Type_Info inArea(Label_Type_Info info, int area) {
    info.areaList << area;
    return info;
}

// TYPE Motor: STRUCT run: BOOL; speed: INT; torque: REAL; temps: ARRAY[1..4] OF INT; END_STRUCT
// The structure's own record: members with their offsets in it, and its size in place of an offset.
inline Label_Type_Info motorType() {
    const int kSizeBytes = 16;
    return withMembers(record("Motor", ac500::kStructureFlag | ac500::kStructureType, kSizeBytes),
                       QList<Label_Type_Info>()
                           << record("run", ac500::kBoolType, 0) << record("speed", ac500::kIntType, 2)
                           << record("torque", ac500::kRealType, 4)
                           << withIndices(record("temps", ac500::kIntType, 8), 1, 4));
}

// motor: Motor; a variable of type 12, whose element type is the structure.
inline Label_Type_Info structureVariable() {
    Label_Type_Info motor = inArea(record("motor", ac500::kStructureType, 300), 1);
    motor.elementType << motorType();
    return motor;
}

// motors: ARRAY[1..4] OF Motor; the same, and the array's bounds.
inline Label_Type_Info arrayOfStructures() {
    Label_Type_Info motors = withIndices(inArea(record("motors", ac500::kStructureType, 400), 1), 1, 4);
    motors.elementType << motorType();
    return motors;
}

// flags: WORD; its bits may be named. They are described as an array, in which "b[%%]" counts.
inline Label_Type_Info bitAddressableWord() {
    Label_Type_Info flags = inArea(record("flags", ac500::kWordType | ac500::kBitsFlag, 500), 1);
    flags.elementType << withIndices(record("bits", ac500::kBitAddressedType, 0), 0, 15);
    return flags;
}

// The scope: a record of type 12, whose element type is a structure that has the variables as members.
inline Label_Type_Info scope() {
    Label_Type_Info main = record("Main", ac500::kStructureType, 0);
    main.elementType << withMembers(record("Main", ac500::kStructureFlag | ac500::kStructureType, 0),
                                    QList<Label_Type_Info>()
                                        << structureVariable() << arrayOfStructures() << bitAddressableWord());
    return main;
}

inline void handOverSymbols() {
    QList<Label_Type_Info> scopes = QList<Label_Type_Info>() << scope();
    PassVarName_2(&scopes);
}

#endif
