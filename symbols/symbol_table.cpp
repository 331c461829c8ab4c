#include "symbols/symbol_table.h"

#include "core/host_interface.h"

namespace ac500 {

namespace {

FoundVariable notFound(ResolutionCode code) {
    const FoundVariable result = {code, nullptr};
    return result;
}

}  // namespace

const Label_Type_Info* findMember(const Label_Type_Info& record, const TextSpan& name) {
    const int searched = static_cast<int>(qMin(record.memberCount, static_cast<quint32>(record.members.size())));
    for (int i = 0; i < searched; ++i) {
        if (record.members.at(i).name == name) {
            return &record.members.at(i);
        }
    }
    return nullptr;
}

FoundVariable findVariable(const TextSpans& components, ResolutionCache::Use& cache) {
    if (components.size() < 2) {
        return notFound(components.at(0).isEmpty() ? kEmptyTag : kTooFewComponents);
    }
    const FoundScope scope = cache.findScope(splitComponent(components.at(0)).name);
    if (scope.record == nullptr) {
        return notFound(kUnknownScope);
    }
    if (scope.record->elementType.isEmpty()) {
        return notFound(kNoElementType);
    }

    const FoundVariable result = {kResolved, cache.findVariable(scope, splitComponent(components.at(1)).name)};
    if (result.variable == nullptr) {
        return notFound(kNotFound);
    }
    return result.variable->areaList.isEmpty() ? notFound(kNoArea) : result;
}

}  // namespace ac500

void PassVarName_2(QList<Label_Type_Info>* list) noexcept {
    if (list == nullptr) {
        return;
    }
    ac500::resolutionCache.clear();  // or the table would have to leave its data to the cache
    for (int i = 0; i < list->size(); ++i) {
        PLC_driver.labelTable.insert(list->at(i).name, list->at(i));
    }
}
