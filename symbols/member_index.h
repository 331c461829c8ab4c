// Finding one of thousands of members by name without asking each.
#ifndef AC500_SYMBOLS_MEMBER_INDEX_H
#define AC500_SYMBOLS_MEMBER_INDEX_H

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>

#include "symbols/label_type_info.h"
#include "symbols/position_table.h"

namespace ac500 {

// The members of one list by name. Holds a copy of the list, which shares its data: the records stay where they are
// for as long as the index lives, and whoever changes the list gets another one.
class MemberIndex {
public:
    MemberIndex() {}  // of no members; QHash wants it
    explicit MemberIndex(const QList<Label_Type_Info>& members);

    // Position of the first member with that name; PositionTable::kNone when there is none.
    quint32 find(const QString& name) const;

private:
    QList<Label_Type_Info> members_;
    PositionTable positions_;
};

// The indexes of all lists that were searched. Lists are told apart by where their first record stands, which no other
// list can hold as long as the index holds a copy.
// Not thread-safe. What `find` returns is what findMember (symbols/symbol_lookup.h) returns without an index.
class MemberIndexes {
public:
    // The first of the record's searched members with that name, or null. Points into the record.
    const Label_Type_Info* find(const Label_Type_Info& record, const QString& name);

    void clear() { indexes_.clear(); }

private:
    QHash<const Label_Type_Info*, MemberIndex> indexes_;
};

}  // namespace ac500

#endif
