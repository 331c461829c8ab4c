#include "symbols/tag_resolution.h"

#include "core/host_interface.h"
#include "protocol/bytes.h"
#include "symbols/data_types.h"
#include "symbols/resolution_steps.h"
#include "symbols/symbol_table.h"

using namespace ac500;

namespace {

struct ArrayPosition {
    unsigned int index;
    unsigned int end;
};

// The components of a tag as the exported steps take them. Valid as long as the list is not changed.
TextSpans spansOf(const QStringList& parts) {
    TextSpans components;
    for (int i = 0; i < parts.size(); ++i) {
        components.append(parts.at(i));
    }
    return components;
}

int arrayPosition(const TextSpan& indexList, int dimensions, const QList<int>& bounds, ArrayPosition& position) {
    const TextSpans texts = split(indexList, ',');
    if (dimensions < 1 || texts.size() != dimensions) {
        return kNotFound;
    }
    if (!hasBoundsFor(bounds, dimensions) || !isNumberBase(bounds.first())) {
        return kBadIndex;
    }

    quint32 linear = 0;
    for (int d = 0; d < dimensions; ++d) {
        qint32 number = 0;
        if (!readNumber(texts.at(d), bounds.first(), &number) || number < lowerBound(bounds, d)) {
            return kBadIndex;
        }
        const qint32 inDimension = wrapSub(number, lowerBound(bounds, d));
        linear = linear * static_cast<quint32>(extent(bounds, d)) + static_cast<quint32>(inDimension);
    }
    position.index = linear;
    position.end = linear + static_cast<quint32>(extent(bounds, dimensions - 1));
    return kResolved;
}

void takeNamedBit(const Label_Type_Info& record, const TextSpans& components, int index, ControlInformationM& info) {
    if (!mayNameBit(record, components.size(), index)) {
        return;
    }
    const TextSpan& last = components.at(components.size() - 1);
    const int open = last.lastIndexOf('[');
    const int close = last.lastIndexOf(']');
    if (open < 1 || open >= close) {
        return;
    }
    info.isBit = 1;
    info.bitIndex = numberOrZero(last.part(open + 1, close - open - 1));
}

void addArrayPosition(const ArrayPosition& position, int elementBytes, ControlInformationM& info) {
    info.arrayIndex = static_cast<qint32>(position.index);
    info.isArray = 1;
    info.arrayReserved = 0;
    info.arrayCount = static_cast<qint32>(position.end - position.index);  // quirk 17
    info.address = wrapAdd(info.address, wrapMul(info.arrayIndex, elementBytes));
}

// What a record that is neither structure nor of a structure's type says. REQUIRES: `index` is one of the components.
void takeElement(const Label_Type_Info& record, const TextSpans& components, int index, const ArrayPosition& position,
                 ControlInformationM& info) {
    const DataType& type = dataType(typeCode(record));
    if (type.elementBytes == 0) {
        return;
    }
    info.dataType = typeCode(record);
    if (type.namesBits) {
        takeNamedBit(record, components, index, info);
    }
    if (hasFlag(record, kArrayFlag)) {
        addArrayPosition(position, type.elementBytes, info);
    }
}

// Follows the components from `index` on, down from a record; a level is a structure entered.
int resolveBelow(const Label_Type_Info& start, const TextSpans& components, int index, ControlInformationM& info) {
    const Label_Type_Info* record = &start;
    int levels = 0;
    while (index >= 0 && index < components.size()) {
        const Component component = splitComponent(components.at(index));
        ArrayPosition position = {0, 0};
        if (hasFlag(*record, kArrayFlag)) {
            const int result = arrayPosition(component.indexList, record->dimensions, record->arrayBounds, position);
            if (result != kResolved) {
                return result;
            }
        }
        if (hasFlag(*record, kStructureFlag)) {
            record = ++levels > kMostNestedStructures ? nullptr : findMember(*record, component.name);
            if (record == nullptr) {
                return kUnknownMember;
            }
            info.address = wrapAdd(info.address, record->offset);  // the same component goes on (quirk 15)
        } else if (typeCode(*record) == kStructureType) {
            if (record->elementType.isEmpty()) {
                return kNoElementType;
            }
            record = &record->elementType.first();
            info.address = wrapAdd(info.address, wrapMul(record->offset, static_cast<qint32>(position.index)));
            ++index;
        } else {
            takeElement(*record, components, index, position, info);
            const bool isIndexUnused = component.hasIndexList && !hasFlag(*record, kArrayFlag);
            return isIndexUnused ? kNotFound : kResolved;  // quirk 18
        }
    }
    return kNotFound;
}

int resolveConcrete(const QString& tag, ControlInformationM& info, ResolutionCache::Use& cache) {
    const TextSpans components = split(tag, '.');
    const FoundVariable found = findVariable(components, cache);
    if (found.code != kResolved) {
        return found.code;
    }
    info.area = found.variable->areaList.first();
    info.address = found.variable->offset;
    return resolveBelow(*found.variable, components, 1, info);
}

int resolveAndKeep(const HashedName& name, const QString& tag, ControlInformationM& info, ResolutionCache::Use& cache) {
    const int code = resolveConcrete(tag, info, cache);
    if (code == kResolved) {
        cache.insert(name, info);
    }
    return code;
}

int resolveTemplate(QString& tag, int argument, ControlInformationM& info, ResolutionCache::Use& cache) {
    const int code = makeConcrete(tag, argument, cache);
    if (code != kResolved) {
        return code;
    }
    if (hasPlaceholder(tag)) {  // still: it is rewritten or refused anew every time
        return resolveConcrete(tag, info, cache);
    }
    const HashedName name(tag);
    return cache.find(name, info) ? kResolved : resolveAndKeep(name, tag, info, cache);
}

// A tag that did not come behind the last one last time.
int resolveOther(QString& tag, const QString* argument, ControlInformationM& info, ResolutionCache::Use& cache) {
    const HashedName name(tag);
    if (cache.find(name, info)) {
        return kResolved;
    }
    info = ControlInformationM();
    if (hasPlaceholder(tag)) {
        return resolveTemplate(tag, argument == nullptr ? 0 : numberOrZero(*argument), info, cache);
    }
    return resolveAndKeep(name, tag, info, cache);
}

}  // namespace

int ac500::resolveTag(QString& tag, const QString* argument, ControlInformationM& info) {
    ResolutionCache::Use cache(resolutionCache);
    return cache.findNext(tag, info) ? +kResolved : resolveOther(tag, argument, info, cache);
}

int TagResolver::resolve(const QString& tag, const QString& argument, ControlInformationM& info) {
    cache_.goOn();
    if (cache_.findNext(tag, info)) {
        return kResolved;
    }
    QString name = tag;
    return resolveOther(name, &argument, info, cache_);
}

int get_label_address_info(QString const& tag, ControlInformationM& info) noexcept {
    ResolutionCache::Use cache(resolutionCache);
    return resolveConcrete(tag, info, cache);  // not found in the cache: words that are not reached stay the caller's
}

int get_label_address_1(Label_Type_Info const& record, QStringList const& parts, int index,
                        ControlInformationM& info) noexcept {
    return resolveBelow(record, spansOf(parts), index, info);
}

void get_label_address_2(Label_Type_Info const& record, QStringList const& parts, int index,
                         ControlInformationM& info) noexcept {
    if (!parts.isEmpty()) {
        takeNamedBit(record, spansOf(parts), index, info);
    }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the host links to this signature
int get_label_address_array_memory_index(QString indexList, int dimensions, QList<int> const& bounds,
                                         unsigned int& index, unsigned int* end) noexcept {
    ArrayPosition position = {0, 0};
    const int result = arrayPosition(indexList, dimensions, bounds, position);
    if (result == kResolved) {
        index = position.index;
        *end = position.end;
    }
    return result;
}

int get_label_address_query(QStringList const&, int) noexcept {
    return 0;
}
