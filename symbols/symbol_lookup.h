// Finding records by name. Records come from the host and may contradict themselves: nothing here reads an entry that
// is not there.
#ifndef AC500_SYMBOLS_SYMBOL_LOOKUP_H
#define AC500_SYMBOLS_SYMBOL_LOOKUP_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include "core/codes.h"
#include "symbols/label_type_info.h"
#include "symbols/symbol_memory.h"

namespace ac500 {

inline bool hasFlag(const Label_Type_Info& record, TypeFlag flag) {
    return (record.type & flag) != 0;
}

inline int typeCode(const Label_Type_Info& record) {
    return record.type & kTypeCodeMask;
}

// The first of the record's searched members with that name, or null. Points into the record.
const Label_Type_Info* findMember(const Label_Type_Info& record, const QString& name);

struct FoundVariable {
    ResolutionCode code;
    const Label_Type_Info* variable;  // set when code is kResolved; points into the table
    QStringList parts;                // the components of the tag
};

// The variable of a scope that a tag names: its first two components. Valid as long as the table is not changed.
FoundVariable findVariable(const LabelTable& table, const QString& tag, SymbolMemory::Use& memory);

// True when the record's component is the last but one and its bits may be named.
inline bool mayNameBit(const Label_Type_Info& record, const QStringList& parts, int index) {
    return hasFlag(record, kBitsFlag) && index == parts.size() - 2;
}

}  // namespace ac500

#endif
