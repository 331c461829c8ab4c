// Making a tag template concrete: "Main.values[0,%%+1]" and a number become "Main.values[1,0]".
#include "core/host_interface.h"
#include "protocol/bytes.h"
#include "symbols/resolution_steps.h"
#include "symbols/symbol_table.h"
#include "symbols/tag_path.h"
#include "symbols/tag_resolution.h"

using namespace ac500;

namespace {

// The value that one index item stands for before it is fitted into its dimension. The plus forms do not count from
// the lower bound, and a carry reaches plain numbers only (quirk 19).
qint32 itemValue(const TextSpan& item, int argument, qint32 lower, qint32 carry) {
    if (!hasPlaceholder(item)) {
        return wrapAdd(carry, numberOrZero(item));
    }
    const TextSpans terms = split(item, '+');
    if (terms.size() == 1) {
        return wrapAdd(lower, argument);
    }
    return wrapAdd(numberOrZero(hasPlaceholder(terms.at(0)) ? terms.at(1) : terms.at(0)), argument);
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

// Rewrites the items of one index list, innermost first, into the concrete list without brackets. kNotFound when there
// are more items than dimensions or the element lies beyond the array; kBadIndex when bounds are missing.
int rewriteIndexList(const Label_Type_Info& record, QString& indexList, int argument) {
    const QString withoutBlanks = indexList.remove(QLatin1Char(' '));
    const TextSpans items = split(withoutBlanks, ',');
    const int outermost = record.dimensions < 1 ? -1 : record.dimensions - items.size();
    if (outermost < 0) {
        return kNotFound;
    }
    if (!hasBoundsFor(record.arrayBounds, record.dimensions)) {
        return kBadIndex;
    }

    QStringList output;
    qint32 carry = 0;
    for (int i = items.size() - 1; i >= 0; --i) {
        const qint32 lower = lowerBound(record.arrayBounds, outermost + i);
        const qint32 upper = upperBound(record.arrayBounds, outermost + i);
        FittedIndex fitted = {itemValue(items.at(i), argument, lower, carry), 0};
        if (fitted.index >= upper) {
            if (i == 0 || upper == lower) {
                return kNotFound;
            }
            fitted = carryOver(fitted.index, lower, upper);
        }
        output.prepend(QString::number(fitted.index));
        carry = fitted.carry;
    }
    indexList = output.join(QString(QLatin1Char(',')));
    return kResolved;
}

int rewriteComponent(const Label_Type_Info& record, const Component& component, int argument, QString& part) {
    QString indexList = component.indexList.toString();
    const int result = rewriteIndexList(record, indexList, argument);
    if (result == kResolved) {
        part = component.name.toString() + QLatin1Char('[') + indexList + QLatin1Char(']');
    }
    return result;
}

}  // namespace

int ac500::makeConcrete(QString& tag, int argument, ResolutionCache::Use& cache) {
    const FoundVariable found = findVariable(split(tag, '.'), cache);
    if (found.code != kResolved) {
        return found.code;
    }
    QStringList parts = tag.split(QLatin1Char('.'));
    const int result = get_label_address_3(*found.variable, parts, 1, argument);
    if (result == kResolved) {
        tag = parts.join(QString(QLatin1Char('.')));
    }
    return result;
}

int get_label_address_info(QString& tag, int argument) noexcept {
    ResolutionCache::Use cache(resolutionCache);
    return makeConcrete(tag, argument, cache);
}

int get_label_address_3(Label_Type_Info const& start, QStringList& parts, int index, int argument) noexcept {
    const Label_Type_Info* record = &start;
    int levels = 0;
    while (index >= 0 && index < parts.size()) {
        const Component component = splitComponent(parts.at(index));
        if (hasFlag(*record, kArrayFlag) && hasPlaceholder(component.indexList)) {
            return rewriteComponent(*record, component, argument, parts[index]);
        }
        if (hasFlag(*record, kStructureFlag)) {
            record = ++levels > kMostNestedStructures ? nullptr : findMember(*record, component.name);
            if (record == nullptr) {
                return kUnknownMember;  // else the same component goes on (quirk 15)
            }
        } else if (typeCode(*record) == kStructureType || mayNameBit(*record, parts.size(), index)) {
            if (record->elementType.isEmpty()) {
                return kNoElementType;
            }
            record = &record->elementType.first();
            ++index;
        } else {
            return component.hasIndexList ? kNotFound : kResolved;  // quirk 33
        }
    }
    return kNotFound;
}
