// Merges the cyclic reads of one area into requests.
//
// Why merge at all: every request costs a round trip and 10 bytes of item head, a byte read in vain costs one byte. So
// a request grows over any gap, as long as the next variable begins within one request's length of the group's start
// (quirk 14). A group that grows beyond the limit is cut into full requests and goes on from the last of them.
#ifndef AC500_VARS_READ_PLANNER_H
#define AC500_VARS_READ_PLANNER_H

#include <QtCore/QList>

#include "vars/rw_var.h"

namespace ac500 {

// Appends requests of at most `maxBytes` bytes that cover every byte of the variables. A merged request keeps the
// identity, names and type of the variable that opened its group. Variables of size 0 or less open nothing.
// REQUIRES: `sorted` holds one area, ascending by offset; maxBytes is at least 2. The last of `requests` may grow when
// it is of the same area.
void mergeReads(const QList<RW_VAR>& sorted, int maxBytes, QList<RW_VAR>& requests);

// The degenerate limit of one byte: variables stay whole; of those that start at the same byte one request remains,
// with the largest size.
void keepLargestPerOffset(const QList<RW_VAR>& sorted, QList<RW_VAR>& requests);

}  // namespace ac500

#endif
