#include "vars/read_planner.h"

#include <algorithm>

#include "protocol/bytes.h"

namespace ac500 {

namespace {

bool standsBefore(const ReadRun& a, const ReadRun& b) {
    return a.offset != b.offset ? a.offset < b.offset : a.source < b.source;
}

// Appends `var`'s identity for the bytes [var.offset, var.offset + lengthBytes), cut by the limit.
void appendRun(RW_VAR var, int lengthBytes, int maxBytes, QList<RW_VAR>& requests) {
    for (int remaining = lengthBytes; remaining > 0; remaining -= var.size) {
        var.size = qMin(remaining, maxBytes);
        requests.append(var);
        var.offset = wrapAdd(var.offset, var.size);
    }
}

// Grows the last request to `lengthBytes`, continuing in further requests beyond the limit.
void growLast(int lengthBytes, int maxBytes, QList<RW_VAR>& requests) {
    if (lengthBytes > maxBytes) {
        appendRun(requests.takeLast(), lengthBytes, maxBytes, requests);
    } else if (lengthBytes > 0) {
        requests.last().size = lengthBytes;
    }
}

}  // namespace

void sortByOffset(QVector<ReadRun>& runs) {
    std::sort(runs.begin(), runs.end(), standsBefore);
}

void mergeReads(const QVector<ReadRun>& sorted, int maxBytes, const RecordSource& records, QList<RW_VAR>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const ReadRun& run = sorted.at(k);
        // The group is what the last request covers; a request of another area (or none) is not this area's group.
        const bool hasGroup = k > 0 && !requests.isEmpty() && requests.last().area == run.area;
        if (!hasGroup || run.offset >= wrapAdd(requests.last().offset, maxBytes)) {
            if (run.size > 0) {
                appendRun(records.record(run.source), run.size, maxBytes, requests);
            }
            continue;
        }
        const RW_VAR& group = requests.last();
        const qint32 end = wrapAdd(run.offset, run.size);
        if (wrapAdd(group.offset, group.size) < end) {
            growLast(wrapSub(end, group.offset), maxBytes, requests);
        }
    }
}

void keepLargestPerOffset(const QVector<ReadRun>& sorted, const RecordSource& records, QList<RW_VAR>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const ReadRun& run = sorted.at(k);
        if (k == 0 || run.offset != sorted.at(k - 1).offset) {
            requests.append(records.record(run.source));
        } else if (run.size > requests.last().size) {
            requests.last().size = run.size;
        }
    }
}

}  // namespace ac500
