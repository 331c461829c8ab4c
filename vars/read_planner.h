// Merges the cyclic reads of one area into requests.
//
// Why merge at all: every request costs a round trip and 10 bytes of item head, a byte read in vain costs one byte. So
// a request grows over any gap, as long as the next variable begins within one request's length of the group's start
// (quirk 14). A group that grows beyond the limit is cut into full requests and goes on from the last of them.
//
// Planning looks at runs of bytes; a record is made only for a variable that opens a group, because of thousands of tags
// few do.
#ifndef AC500_VARS_READ_PLANNER_H
#define AC500_VARS_READ_PLANNER_H

#include <QtCore/QList>
#include <QtCore/QVector>

#include "vars/rw_var.h"

namespace ac500 {

// The bytes that one variable wants read.
struct ReadRun {
    qint32 area;
    qint32 offset;
    qint32 size;  // 0 or less: nothing
    int source;   // whose bytes they are: a number that RecordSource knows
};

// Where the records of runs come from.
class RecordSource {
public:
    virtual ~RecordSource() {}

    // The record of that source, with the offset and the size of its run.
    virtual RW_VAR record(int source) const = 0;
};

// By offset, ascending; runs with equal offsets by their sources.
void sortByOffset(QVector<ReadRun>& runs);

// Appends requests of at most `maxBytes` bytes that cover every byte of the runs. A merged request keeps the identity,
// names and type of the variable that opened its group. Runs of size 0 or less open nothing.
// REQUIRES: `sorted` holds one area, ascending by offset; maxBytes is at least 2. The last of `requests` may grow when
// it is of the same area.
void mergeReads(const QVector<ReadRun>& sorted, int maxBytes, const RecordSource& records, QList<RW_VAR>& requests);

// The degenerate limit of one byte: variables stay whole; of those that start at the same byte one request remains,
// with the largest size.
void keepLargestPerOffset(const QVector<ReadRun>& sorted, const RecordSource& records, QList<RW_VAR>& requests);

}  // namespace ac500

#endif
