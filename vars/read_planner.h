// Plans the cyclic reads: runs of bytes in, requests out. Pure functions of their arguments.
//
// Why merge at all: every request costs a round trip and 10 bytes of item head, a byte read in vain costs one byte. So
// a request grows over any gap, as long as the next variable begins within one request's length of the group's start
// (quirk 14). A group that grows beyond the limit is cut into full requests and goes on from the last of them.
//
// Planning looks at runs of bytes alone. Of thousands of variables few open a group, and only these need a record, which
// the caller makes afterwards.
#ifndef AC500_VARS_READ_PLANNER_H
#define AC500_VARS_READ_PLANNER_H

#include <QtCore/QVector>

namespace ac500 {

// The bytes that one variable wants read.
struct ReadRun {
    qint32 area;
    qint32 offset;
    qint32 size;  // 0 or less: nothing
    int source;   // whose bytes they are: a number of the caller's
};

// The bytes of one request. It has the area, and is to get the identity, of the run that opened its group.
struct ReadRequest {
    qint32 area;
    qint32 offset;
    qint32 size;
    int opener;  // `source` of that run
};

// By area, then by offset, ascending; equal ones keep their order.
void sortRuns(QVector<ReadRun>& runs);

// Returns `requests` and behind them requests that cover every byte of the runs, each of at most `maxBytes` bytes and of
// one area. The last of `requests` may grow when a run of its area begins in its reach; the first run opens a request
// of its own in any case. Runs of size 0 or less open nothing.
// With a limit of 1 variables stay whole, and of those that start at the same byte one request remains, with the
// largest size. With a limit of 0 or less nothing is planned.
// REQUIRES: the runs of an area stand together and ascend by offset.
QVector<ReadRequest> planReads(const QVector<ReadRun>& sorted, int maxBytes,
                               QVector<ReadRequest> requests = QVector<ReadRequest>());

}  // namespace ac500

#endif
