#include "vars/record_order.h"

namespace ac500 {

namespace {

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
