#include "symbols/member_index.h"

#include "symbols/symbol_lookup.h"

namespace ac500 {

MemberIndex::MemberIndex(const QList<Label_Type_Info>& members)
    : members_(members), positions_(static_cast<std::size_t>(members.size())) {
    for (int i = 0; i < members_.size(); ++i) {
        positions_.insert(qHash(members_.at(i).name), static_cast<quint32>(i));
    }
}

quint32 MemberIndex::find(const QString& name) const {
    return positions_.find(qHash(name), [&](quint32 i) { return members_.at(static_cast<int>(i)).name == name; });
}

const Label_Type_Info* MemberIndexes::find(const Label_Type_Info& record, const QString& name) {
    enum { kFewMembers = 8 };  // asking each is as fast, and an index costs memory
    const QList<Label_Type_Info>& members = record.members;
    if (members.size() <= kFewMembers) {
        return findMember(record, name);
    }

    QHash<const Label_Type_Info*, MemberIndex>::const_iterator index = indexes_.constFind(&members.first());
    if (index == indexes_.constEnd()) {
        index = indexes_.insert(&members.first(), MemberIndex(members));
    }
    const quint32 position = index.value().find(name);
    const bool isSearched = position != PositionTable::kNone && position < record.memberCount;
    return isSearched ? &members.at(static_cast<int>(position)) : nullptr;
}

}  // namespace ac500
