#include "vars/read_planner.h"

#include "protocol/bytes.h"

namespace ac500 {

namespace {

// Orders runs by area, then by offset; both are signed.
quint64 sortKey(const ReadRun& run) {
    const quint32 signBit = 0x80000000U;
    return static_cast<quint64>(static_cast<quint32>(run.area) ^ signBit) << 32 |
           (static_cast<quint32>(run.offset) ^ signBit);
}

enum { kKeyBits = 64, kDigitBits = 8, kDigits = 1 << kDigitBits };

int digit(const ReadRun& run, int shift) {
    return static_cast<int>(sortKey(run) >> shift & (kDigits - 1));
}

// Moves the runs to `target` by one digit of their keys; equal digits keep their order.
void distribute(const QVector<ReadRun>& runs, int shift, ReadRun* target) {
    int ends[kDigits] = {};
    for (int i = 0; i < runs.size(); ++i) {
        ++ends[digit(runs.at(i), shift)];
    }
    for (int d = 1; d < kDigits; ++d) {
        ends[d] += ends[d - 1];
    }
    for (int i = runs.size() - 1; i >= 0; --i) {
        target[--ends[digit(runs.at(i), shift)]] = runs.at(i);
    }
}

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

// Digit by digit, from the last one on, those that all keys share left out: a list of one area within 64 KiB takes two
// rounds. std::sort takes three times as long for 10,000 runs, and ten times the code.
void sortRuns(QVector<ReadRun>& runs) {
    quint64 differing = 0;
    bool areInOrder = true;
    for (int i = 1; i < runs.size(); ++i) {
        const quint64 key = sortKey(runs.at(i));
        const quint64 before = sortKey(runs.at(i - 1));
        differing |= key ^ before;
        areInOrder = areInOrder && before <= key;
    }
    if (areInOrder) {
        return;
    }
    QVector<ReadRun> other(runs.size());
    for (int shift = 0; shift < kKeyBits; shift += kDigitBits) {
        if ((differing >> shift & (kDigits - 1)) != 0) {
            distribute(runs, shift, other.data());
            runs.swap(other);
        }
    }
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
