#include "vars/read_planner.h"

#include <algorithm>

#include "protocol/bytes.h"

namespace ac500 {

namespace {

// An object, because the compiler makes its body part of the sort.
struct StandsBefore {
    bool operator()(const ReadRun& a, const ReadRun& b) const {
        if (a.area != b.area) {
            return a.area < b.area;
        }
        return a.offset != b.offset ? a.offset < b.offset : a.source < b.source;
    }
};

ReadRequest opened(const ReadRun& run) {
    const ReadRequest request = {run.area, run.offset, run.size, run.source};
    return request;
}

// Appends `lengthBytes` bytes from the offset of `request` on, in pieces within the limit.
void appendCut(ReadRequest request, int lengthBytes, int maxBytes, QVector<ReadRequest>& requests) {
    for (int remaining = lengthBytes; remaining > 0; remaining -= request.size) {
        request.size = qMin(remaining, maxBytes);
        requests.append(request);
        request.offset = wrapAdd(request.offset, request.size);
    }
}

// Grows the last request to `lengthBytes`, continuing in further requests beyond the limit.
void growLast(int lengthBytes, int maxBytes, QVector<ReadRequest>& requests) {
    if (lengthBytes > 0) {
        ReadRequest& group = requests.last();
        group.size = qMin(lengthBytes, maxBytes);
        ReadRequest next = group;
        next.offset = wrapAdd(group.offset, group.size);
        appendCut(next, lengthBytes - group.size, maxBytes, requests);
    }
}

bool isInReach(const ReadRun& run, const ReadRequest& group, int maxBytes) {
    return run.area == group.area && run.offset < wrapAdd(group.offset, maxBytes);
}

// REQUIRES: maxBytes is at least 2.
void merge(const QVector<ReadRun>& sorted, int maxBytes, QVector<ReadRequest>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const ReadRun& run = sorted.at(k);
        // The group is what the last request covers. Behind leading runs without bytes that may be one of another area,
        // which never grows (quirk 36).
        if (k == 0 || requests.isEmpty() || !isInReach(run, requests.last(), maxBytes)) {
            appendCut(opened(run), run.size, maxBytes, requests);
            continue;
        }
        const ReadRequest& group = requests.last();
        const qint32 end = wrapAdd(run.offset, run.size);
        if (wrapAdd(group.offset, group.size) < end) {
            growLast(wrapSub(end, group.offset), maxBytes, requests);
        }
    }
}

void keepLargestPerOffset(const QVector<ReadRun>& sorted, QVector<ReadRequest>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const ReadRun& run = sorted.at(k);
        if (k == 0 || run.offset != sorted.at(k - 1).offset) {
            requests.append(opened(run));
        } else {
            requests.last().size = qMax(requests.last().size, run.size);
        }
    }
}

}  // namespace

void sortRuns(QVector<ReadRun>& runs) {
    std::sort(runs.begin(), runs.end(), StandsBefore());
}

QVector<ReadRequest> planReads(const QVector<ReadRun>& sorted, int maxBytes, QVector<ReadRequest> requests) {
    if (maxBytes == 1) {
        keepLargestPerOffset(sorted, requests);
    } else if (maxBytes > 1) {
        merge(sorted, maxBytes, requests);
    }
    return requests;
}

}  // namespace ac500
