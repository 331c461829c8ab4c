// From a concrete tag name to area, address, type, array position and bit.
#include "core/host_interface.h"
#include "protocol/bytes.h"
#include "symbols/array_index.h"
#include "symbols/data_types.h"
#include "symbols/resolution_steps.h"
#include "symbols/symbol_lookup.h"
#include "symbols/tag_path.h"
#include "symbols/tag_resolution.h"

using namespace ac500;

namespace {

struct ArrayPosition {
    unsigned int index;
    unsigned int end;
};

int resolveInStructure(const Label_Type_Info& record, const QStringList& parts, int index, ControlInformationM& info) {
    const Label_Type_Info* member = findMember(record, splitComponent(parts.at(index)).name);
    if (member == nullptr) {
        return kUnknownMember;
    }
    info.address = wrapAdd(info.address, member->offset);
    return get_label_address_1(*member, parts, index, info);  // the same component (quirk 15)
}

int resolveStructureVariable(const Label_Type_Info& record, const QStringList& parts, int index,
                             unsigned int arrayIndex, ControlInformationM& info) {
    if (record.elementType.isEmpty()) {
        return kNoElementType;
    }
    const Label_Type_Info& structure = record.elementType.first();
    info.address = wrapAdd(info.address, wrapMul(structure.offset, static_cast<qint32>(arrayIndex)));
    return get_label_address_1(structure, parts, index + 1, info);
}

void addArrayPosition(const ArrayPosition& position, int elementBytes, ControlInformationM& info) {
    info.arrayIndex = static_cast<qint32>(position.index);
    info.isArray = 1;
    info.arrayReserved = 0;
    info.arrayCount = static_cast<qint32>(position.end - position.index);  // quirk 17
    info.address = wrapAdd(info.address, wrapMul(info.arrayIndex, elementBytes));
}

}  // namespace

int ac500::resolveConcreteTag(const QString& tag, ControlInformationM& info, SymbolMemory::Use& memory) {
    const FoundVariable found = findVariable(PLC_driver.labelTable, tag, memory);
    if (found.code != kResolved) {
        return found.code;
    }
    info.area = found.variable->areaList.first();
    info.address = found.variable->offset;
    return get_label_address_1(*found.variable, found.parts, 1, info);
}

int get_label_address_info(QString const& tag, ControlInformationM& info) noexcept {
    SymbolMemory::Use memory(symbolMemory);
    return resolveConcreteTag(tag, info, memory);  // not by recalling: words that are not reached stay the caller's
}

int get_label_address_1(Label_Type_Info const& record, QStringList const& parts, int index,
                        ControlInformationM& info) noexcept {
    if (index < 0 || index >= parts.size()) {
        return kNotFound;
    }
    const Component component = splitComponent(parts.at(index));
    int result = component.hasIndexList ? kNotFound : kResolved;  // an index that no array takes up (quirk 18)

    ArrayPosition position = {0, 0};
    if (hasFlag(record, kArrayFlag)) {
        result = get_label_address_array_memory_index(component.indexList, record.dimensions, record.arrayBounds,
                                                      position.index, &position.end);
        if (result != kResolved) {
            return result;
        }
    }
    if (hasFlag(record, kStructureFlag)) {
        return resolveInStructure(record, parts, index, info);
    }
    if (typeCode(record) == kStructureType) {
        return resolveStructureVariable(record, parts, index, position.index, info);
    }

    const DataType& type = dataType(typeCode(record));
    if (type.elementBytes == 0) {
        return result;
    }
    info.dataType = typeCode(record);
    if (type.namesBits) {
        get_label_address_2(record, parts, index, info);
    }
    if (hasFlag(record, kArrayFlag)) {
        addArrayPosition(position, type.elementBytes, info);
    }
    return result;
}

void get_label_address_2(Label_Type_Info const& record, QStringList const& parts, int index,
                         ControlInformationM& info) noexcept {
    if (parts.isEmpty() || !mayNameBit(record, parts, index)) {
        return;
    }
    const QString& last = parts.last();
    const int open = last.lastIndexOf(QLatin1Char('['));
    const int close = last.lastIndexOf(QLatin1Char(']'));
    if (open < 1 || open >= close) {
        return;
    }
    info.isBit = 1;
    info.bitIndex = last.mid(open + 1, close - open - 1).toInt();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the host links to this signature
int get_label_address_array_memory_index(QString indexList, int dimensions, QList<int> const& bounds,
                                         unsigned int& index, unsigned int* end) noexcept {
    const QStringList texts = indexList.split(QLatin1Char(','));
    if (dimensions < 1 || texts.size() != dimensions) {
        return kNotFound;
    }
    if (!hasBoundsFor(bounds, dimensions) || !isNumberBase(bounds.first())) {
        return kBadIndex;
    }

    quint32 linear = 0;
    for (int d = 0; d < dimensions; ++d) {
        bool isNumber = false;
        const qint32 number = texts.at(d).toInt(&isNumber, bounds.first());
        if (!isNumber || number < lowerBound(bounds, d)) {
            return kBadIndex;
        }
        const qint32 position = wrapSub(number, lowerBound(bounds, d));
        linear = linear * static_cast<quint32>(extent(bounds, d)) + static_cast<quint32>(position);
    }
    index = linear;
    *end = linear + static_cast<quint32>(extent(bounds, dimensions - 1));
    return kResolved;
}

int get_label_address_query(QStringList const&, int) noexcept {
    return 0;
}
