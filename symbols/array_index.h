// Array bounds as symbol records carry them: entry 0 is the number base of index texts, then one pair (lower, upper) per
// dimension, outermost first. The extent is upper - lower: upper lies outside the array (quirk 16).
#ifndef AC500_SYMBOLS_ARRAY_INDEX_H
#define AC500_SYMBOLS_ARRAY_INDEX_H

#include <QtCore/QList>

#include "protocol/bytes.h"

namespace ac500 {

// True when a pair stands there for each of the dimensions 0 .. dimensions-1. REQUIRES: dimensions is at least 1.
inline bool hasBoundsFor(const QList<int>& bounds, int dimensions) {
    return (bounds.size() - 1) / 2 >= dimensions;
}

// REQUIRES (all three): the pair of `dimension` is there.
inline int lowerBound(const QList<int>& bounds, int dimension) {
    return bounds.at(2 * dimension + 1);
}

inline int upperBound(const QList<int>& bounds, int dimension) {
    return bounds.at(2 * dimension + 2);
}

inline qint32 extent(const QList<int>& bounds, int dimension) {
    return wrapSub(upperBound(bounds, dimension), lowerBound(bounds, dimension));
}

// The bases that text can be converted from: 2 to 36, and 0 for "by prefix".
inline bool isNumberBase(int base) {
    return base == 0 || (base >= 2 && base <= 36);
}

}  // namespace ac500

#endif
