// Label_Type_Info describes one named thing of the PLC program: a scope, a variable, a structure type or a member.
// The host decodes the PLC's symbol information into a list of these and hands it to PassVarName_2.
//
// A plain value with implicitly shared members. The integer members of a default-constructed record are not
// initialised, on purpose (quirk 20): fill every field. The layout is a contract with the host.
#ifndef AC500_SYMBOLS_LABEL_TYPE_INFO_H
#define AC500_SYMBOLS_LABEL_TYPE_INFO_H

#include <cstddef>

#include <QtCore/QList>
#include <QtCore/QString>

struct Label_Type_Info {
    QString name;   // compared exactly; the table key of a scope
    quint16 type;   // TypeWord: a type code and flags (core/codes.h)
    qint32 offset;  // bytes from the start of area, scope or structure (bits for type 13); a structure type: its size
    qint32 dimensions;       // number of array dimensions, meaningful for arrays
    quint32 memberCount;     // how many entries of `members` are searched
    QList<int> arrayBounds;  // number base of index texts (10), then lower, upper per dimension, outermost first;
                             // an index equal to `upper` lies outside the array (quirk 16)
    QList<Label_Type_Info> members;      // members of a structure, variables of a scope
    QList<Label_Type_Info> elementType;  // entry 0: a scope's variables; the structure of a variable of type 12
    QString typeName;                    // carried only
    qint32 extra1;                       // carried only
    qint32 extra2;                       // carried only
    QList<int> areaList;                 // entry 0: memory area of a variable that stands directly below a scope
    QList<QString> textList;             // carried only
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(Label_Type_Info, name) == 0, "Label_Type_Info::name");
static_assert(offsetof(Label_Type_Info, type) == 4, "Label_Type_Info::type");
static_assert(offsetof(Label_Type_Info, offset) == 8, "Label_Type_Info::offset");
static_assert(offsetof(Label_Type_Info, dimensions) == 12, "Label_Type_Info::dimensions");
static_assert(offsetof(Label_Type_Info, memberCount) == 16, "Label_Type_Info::memberCount");
static_assert(offsetof(Label_Type_Info, arrayBounds) == 20, "Label_Type_Info::arrayBounds");
static_assert(offsetof(Label_Type_Info, members) == 24, "Label_Type_Info::members");
static_assert(offsetof(Label_Type_Info, elementType) == 28, "Label_Type_Info::elementType");
static_assert(offsetof(Label_Type_Info, typeName) == 32, "Label_Type_Info::typeName");
static_assert(offsetof(Label_Type_Info, extra1) == 36, "Label_Type_Info::extra1");
static_assert(offsetof(Label_Type_Info, extra2) == 40, "Label_Type_Info::extra2");
static_assert(offsetof(Label_Type_Info, areaList) == 44, "Label_Type_Info::areaList");
static_assert(offsetof(Label_Type_Info, textList) == 48, "Label_Type_Info::textList");
static_assert(sizeof(Label_Type_Info) == 52, "Label_Type_Info is 52 bytes on 32-bit targets");
#else
static_assert(sizeof(Label_Type_Info) == 80, "Label_Type_Info is 80 bytes on 64-bit targets");
#endif
#endif

#endif
