#include "symbols/symbol_lookup.h"

#include "symbols/tag_path.h"

namespace ac500 {

namespace {

FoundVariable notFound(ResolutionCode code) {
    FoundVariable result;
    result.code = code;
    result.variable = nullptr;
    return result;
}

}  // namespace

const Label_Type_Info* findMember(const Label_Type_Info& record, const QString& name) {
    const int searched = static_cast<int>(qMin(record.memberCount, static_cast<quint32>(record.members.size())));
    for (int i = 0; i < searched; ++i) {
        if (record.members.at(i).name == name) {
            return &record.members.at(i);
        }
    }
    return nullptr;
}

FoundVariable findVariable(const LabelTable& table, const QString& tag, SymbolMemory::Use& memory) {
    if (tag.isEmpty()) {
        return notFound(kEmptyTag);
    }
    FoundVariable result = {kResolved, nullptr, splitTag(tag)};
    if (result.parts.size() < 2) {
        return notFound(kTooFewComponents);
    }

    const LabelTable::const_iterator scope = table.constFind(splitComponent(result.parts.at(0)).name);
    if (scope == table.constEnd()) {
        return notFound(kUnknownScope);
    }
    if (scope.value().elementType.isEmpty()) {
        return notFound(kNoElementType);
    }

    result.variable = memory.findMember(scope.value().elementType.first(), splitComponent(result.parts.at(1)).name);
    if (result.variable == nullptr) {
        return notFound(kNotFound);
    }
    if (result.variable->areaList.isEmpty()) {
        return notFound(kNoArea);
    }
    return result;
}

}  // namespace ac500
