// Making a tag template concrete: "Main.values[0,%%+1]" and a number become "Main.values[1,0]".
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

// The value that one index item stands for before it is fitted into its dimension. The plus forms do not count from
// the lower bound, and a carry reaches plain numbers only (quirk 19).
qint32 itemValue(const QString& item, int argument, qint32 lower, qint32 carry) {
    if (!hasPlaceholder(item)) {
        return wrapAdd(carry, item.toInt());
    }
    if (!item.contains(QLatin1Char('+'))) {
        return wrapAdd(lower, argument);
    }
    const QStringList terms = item.split(QLatin1Char('+'));
    const QString& number = hasPlaceholder(terms.at(0)) ? terms.at(1) : terms.at(0);
    return wrapAdd(number.toInt(), argument);
}

struct FittedIndex {
    qint32 index;
    qint32 carry;  // into the next outer dimension
};

// REQUIRES: upper and lower differ. 64 bits, because the quotient of the smallest number and -1 needs them.
FittedIndex carryOver(qint32 value, qint32 lower, qint32 upper) {
    const qint64 span = wrapSub(value, lower);
    const qint64 dimensionExtent = wrapSub(upper, lower);
    const FittedIndex fitted = {wrapAdd(static_cast<qint32>(span % dimensionExtent), lower),
                                static_cast<qint32>(span / dimensionExtent)};
    return fitted;
}

// Rewrites the items of one index list, innermost first, and returns the concrete list without brackets; a null text
// when the element lies beyond the array or the bounds do not fit the items.
QString concreteIndexList(const Label_Type_Info& record, QString indexList, int argument) {
    const QStringList items = indexList.remove(QLatin1Char(' ')).split(QLatin1Char(','));
    if (record.dimensions < items.size() || !hasBoundsFor(record.arrayBounds, record.dimensions)) {
        return QString();
    }
    const int outermost = record.dimensions - items.size();

    QStringList output;
    qint32 carry = 0;
    for (int i = items.size() - 1; i >= 0; --i) {
        const qint32 lower = lowerBound(record.arrayBounds, outermost + i);
        const qint32 upper = upperBound(record.arrayBounds, outermost + i);
        FittedIndex fitted = {itemValue(items.at(i), argument, lower, carry), 0};
        if (fitted.index >= upper) {
            if (i == 0 || upper == lower) {
                return QString();
            }
            fitted = carryOver(fitted.index, lower, upper);
        }
        output.prepend(QString::number(fitted.index));
        carry = fitted.carry;
    }
    return output.join(QString(QLatin1Char(',')));
}

int rewriteComponent(const Label_Type_Info& record, const Component& component, int argument, QString& part) {
    const QString indexList = concreteIndexList(record, component.indexList, argument);
    if (indexList.isNull()) {
        return kNotFound;
    }
    part = component.name + QLatin1Char('[') + indexList + QLatin1Char(']');
    return kResolved;
}

int rewriteBelow(const Label_Type_Info& record, QStringList& parts, int index, int argument) {
    if (record.elementType.isEmpty()) {
        return kNoElementType;
    }
    return get_label_address_3(record.elementType.first(), parts, index + 1, argument);
}

}  // namespace

int ac500::makeConcrete(QString& tag, int argument, SymbolMemory::Use& memory) {
    FoundVariable found = findVariable(PLC_driver.labelTable, tag, memory);
    if (found.code != kResolved) {
        return found.code;
    }
    const int result = get_label_address_3(*found.variable, found.parts, 1, argument);
    if (result == kResolved) {
        tag = found.parts.join(QString(QLatin1Char('.')));
    }
    return result;
}

int get_label_address_info(QString& tag, int argument) noexcept {
    SymbolMemory::Use memory(symbolMemory);
    return makeConcrete(tag, argument, memory);
}

int get_label_address_3(Label_Type_Info const& record, QStringList& parts, int index, int argument) noexcept {
    if (index < 0 || index >= parts.size()) {
        return kNotFound;
    }
    const Component component = splitComponent(parts.at(index));
    if (hasFlag(record, kArrayFlag) && hasPlaceholder(component.indexList)) {
        return rewriteComponent(record, component, argument, parts[index]);
    }
    if (hasFlag(record, kStructureFlag)) {
        const Label_Type_Info* member = findMember(record, component.name);
        return member == nullptr ? kUnknownMember : get_label_address_3(*member, parts, index, argument);  // quirk 15
    }
    if (typeCode(record) == kStructureType || mayNameBit(record, parts, index)) {
        return rewriteBelow(record, parts, index, argument);
    }
    return component.hasIndexList ? kNotFound : kResolved;  // quirk 33
}
