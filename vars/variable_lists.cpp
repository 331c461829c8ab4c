#include "vars/variable_lists.h"

#include "core/codes.h"
#include "core/host_interface.h"
#include "core/list_lock.h"
#include "protocol/bytes.h"
#include "symbols/tag_resolution.h"
#include "vars/pending_writes.h"
#include "vars/request_size.h"

using namespace ac500;

namespace {

enum { kMaxOnceReads = 1024 };

bool isSameRequest(const RW_VAR& a, const RW_VAR& b) {
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId && a.comWord == b.comWord && a.offset == b.offset &&
           a.size == b.size && a.aux4 == b.aux4 && a.dataType == b.dataType && a.area == b.area;
}

bool isQueued(const QList<RW_VAR>& list, const RW_VAR& request) {
    for (int i = 0; i < list.size(); ++i) {
        if (isSameRequest(list.at(i), request)) {
            return true;
        }
    }
    return false;
}

// The host's record is the working copy: it is left with the size of the last piece and the offset behind it. There may
// be millions of pieces, but only as many are looked at as find a place or stand in the list already.
// REQUIRES: the list lock is held.
void appendPieces(RW_VAR& var, int lengthBytes, int maxBytes) {
    if (maxBytes <= 0) {
        return;
    }
    QList<RW_VAR>& list = PLC_driver.onceReadList;
    int remaining = lengthBytes;
    while (remaining > 0 && list.size() < kMaxOnceReads) {
        var.size = qMin(remaining, maxBytes);
        if (!isQueued(list, var)) {
            list.append(var);
        }
        var.offset = wrapAdd(var.offset, var.size);
        remaining -= var.size;
    }
    if (remaining > 0) {  // the rest is dropped (quirk 12)
        const int lastPiece = remaining % maxBytes;
        var.size = lastPiece != 0 ? lastPiece : maxBytes;
        var.offset = wrapAdd(var.offset, remaining);
    }
}

}  // namespace

QueuedWrite ac500::queueWrite(RW_VAR& var) {
    const ListLock lock;
    pendingWriteList.append(var);
    const QList<RW_VAR>& writes = PLC_driver.writeList;
    const QueuedWrite queued = {writes.size(), PLC_driver.commFailed != 0};
    if (queued.communicationFailed) {
        var = writes.last();
    }
    return queued;
}

int AddListReadVar(RW_VAR* var) noexcept {
    PLC_driver.readList.append(*var);  // quirk 30
    return PLC_driver.readList.size();
}

int AddListWriteVar(RW_VAR* var) noexcept {
    RW_VAR copy = *var;
    return queueWrite(copy).pendingWrites;
}

int AddListOnceReadVar(RW_VAR* var) noexcept {
    QString tag = var->labelName;
    ControlInformationM info;
    if (resolveTag(tag, &var->labelArg, info) != kResolved) {
        return 0;
    }

    var->area = info.area;
    var->resolveResult = kResolved;
    var->dataType = info.dataType;
    var->comWord = PLC_driver.comInfo->comWord;
    var->offset = info.address;

    const ReadExtent extent = readExtent(info, var->size);
    if (!extent.transferable) {
        return 0;  // quirk 32
    }

    const ListLock lock;
    var->dataType = extent.dataType;
    var->offset = extent.startByte;
    appendPieces(*var, extent.lengthBytes, maxRequestBytes());
    return PLC_driver.onceReadList.size();
}
