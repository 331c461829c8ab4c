#include "vars/read_planner.h"

#include "protocol/bytes.h"

namespace ac500 {

namespace {

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
    if (lengthBytes > maxBytes)
        appendRun(requests.takeLast(), lengthBytes, maxBytes, requests);
    else if (lengthBytes > 0)
        requests.last().size = lengthBytes;
}

}  // namespace

void mergeReads(const QList<RW_VAR>& sorted, int maxBytes, QList<RW_VAR>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const RW_VAR& var = sorted.at(k);
        // The group is what the last request covers; a request of another area (or none) is not this area's group.
        const bool hasGroup = k > 0 && !requests.isEmpty() && requests.last().area == var.area;
        if (!hasGroup || var.offset >= wrapAdd(requests.last().offset, maxBytes)) {
            appendRun(var, var.size, maxBytes, requests);
            continue;
        }
        const RW_VAR& group = requests.last();
        const qint32 end = wrapAdd(var.offset, var.size);
        if (wrapAdd(group.offset, group.size) < end)
            growLast(wrapSub(end, group.offset), maxBytes, requests);
    }
}

void keepLargestPerOffset(const QList<RW_VAR>& sorted, QList<RW_VAR>& requests) {
    for (int k = 0; k < sorted.size(); ++k) {
        const RW_VAR& var = sorted.at(k);
        if (k == 0 || var.offset != sorted.at(k - 1).offset)
            requests.append(var);
        else if (var.size > requests.last().size)
            requests.last().size = var.size;
    }
}

}  // namespace ac500
