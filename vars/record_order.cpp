#include "vars/record_order.h"

#include <algorithm>

#include <QtCore/QVector>

namespace ac500 {

namespace {

// Offset and position in the list in one number: unique, so that any sort of them keeps the order of equal offsets.
typedef qint64 SortKey;

const SortKey kOneOffset = Q_INT64_C(1) << 32;

SortKey sortKey(qint32 offset, int position) {
    return offset * kOneOffset + position;
}

int positionOf(SortKey key) {
    return static_cast<int>(key & (kOneOffset - 1));
}

QVector<SortKey> sortKeys(const QList<RW_VAR>& list) {
    QVector<SortKey> keys(list.size());
    SortKey* key = keys.data();
    for (int i = 0; i < list.size(); ++i) {
        key[i] = sortKey(list.at(i).offset, i);
    }
    return keys;
}

void exchange(QList<RW_VAR>& list, int i, int j) {
#if QT_VERSION >= QT_VERSION_CHECK(5, 13, 0)
    list.swapItemsAt(i, j);
#else
    list.swap(i, j);
#endif
}

// Reverses the entries from `first` up to, not including, `end`.
void reverse(QList<RW_VAR>& list, int first, int end) {
    for (int last = end - 1; first < last; ++first, --last) {
        exchange(list, first, last);
    }
}

}  // namespace

void sortByOffset(QList<RW_VAR>& list) {
    QVector<SortKey> keys = sortKeys(list);
    if (std::is_sorted(keys.begin(), keys.end())) {
        return;
    }
    std::sort(keys.begin(), keys.end());
    SortKey* keyAt = keys.data();
    // Walks every cycle of the permutation once; a key that is done becomes that of the record in its place.
    for (int start = 0; start < list.size(); ++start) {
        int place = start;
        for (;;) {
            SortKey& key = keyAt[place];
            const int source = positionOf(key);
            key = sortKey(0, place);
            if (source == start) {
                break;
            }
            exchange(list, place, source);
            place = source;
        }
    }
}

void rotateLeft(QList<RW_VAR>& list, int count) {
    enum { kFewMoves = 12 };  // each shifts all pointers at once, which beats exchanging all of them
    if (list.isEmpty() || count <= 0) {
        return;
    }
    const int first = count % list.size();
    if (first <= kFewMoves) {
        for (int i = 0; i < first; ++i) {
            list.move(0, list.size() - 1);
        }
        return;
    }
    reverse(list, 0, first);
    reverse(list, first, list.size());
    reverse(list, 0, list.size());
}

}  // namespace ac500
