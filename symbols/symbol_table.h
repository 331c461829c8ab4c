// The table of scopes and what its records say. Records come from the host and may contradict themselves: nothing here
// reads an entry that is not there.
#ifndef AC500_SYMBOLS_SYMBOL_TABLE_H
#define AC500_SYMBOLS_SYMBOL_TABLE_H

#include "core/codes.h"
#include "symbols/label_type_info.h"
#include "symbols/resolution_cache.h"
#include "symbols/tag_path.h"

namespace ac500 {

inline bool hasFlag(const Label_Type_Info& record, TypeWord flag) {
    return (record.type & flag) != 0;
}

inline int typeCode(const Label_Type_Info& record) {
    return record.type & kTypeCodeMask;
}

// True when the record's component, `index` of `components`, is the last but one and its bits may be named.
inline bool mayNameBit(const Label_Type_Info& record, int components, int index) {
    return hasFlag(record, kBitsFlag) && index == components - 2;
}

// Structures within structures; what lies deeper is not found. Records that a host makes of a PLC program have a few.
const int kMostNestedStructures = 100;

// The first of the record's searched members with that name, or null. Points into the record.
const Label_Type_Info* findMember(const Label_Type_Info& record, const TextSpan& name);

struct FoundVariable {
    ResolutionCode code;
    const Label_Type_Info* variable;  // set when code is kResolved; points into the table
};

// The variable of a scope that a tag names: its first two components. Valid as long as the table is not changed.
FoundVariable findVariable(const TextSpans& components, ResolutionCache::Use& cache);

}  // namespace ac500

#endif
