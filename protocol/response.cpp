// Response handling: what a reply does to the queue, the lists, the image and the connection.
//
// The judging runs without the list lock; what changes state that other threads share (the lists, commFailed, the pass
// counter) runs under it. The image lock is taken and released before, never inside.
#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/host_interface.h"
#include "protocol/batch_completion.h"
#include "protocol/envelope.h"
#include "protocol/reply_step.h"

using namespace ac500;

namespace {

struct RequestEnd {
    int status;
    bool batchDone;
};

RW_VAR* resultWith(int status) {
    PLC_driver.resultVar.status = status;
    return &PLC_driver.resultVar;
}

ReplySituation situationOf(const QByteArray& reply) {
    ReplySituation situation;
    situation.measuredLength = PLC_driver.frameList.first().replyLength;
    situation.complete = isComplete(reply);
    situation.empty = reply.isEmpty();
    situation.connected = PLC_driver.connected != 0;
    return situation;
}

int processHandshakeReply(QByteArray* reply) {
    if (handshake_data_check(reply) != kHandshakeAccepted) {
        PLC_driver.frameList.clear();
        return kStatusHandshakeRejected;
    }
    ComInfo& info = *PLC_driver.comInfo;
    info.frameDone = wrapAdd(info.frameDone, 1);
    if (info.frameDone < info.frameTotal) {
        PLC_driver.frameList.removeFirst();
    } else {
        PLC_driver.frameList.clear();
        PLC_driver.connected = 1;
    }
    return kStatusAccepted;
}

// REQUIRES: the list lock is held.
void countTowardsFirstPass() {
    if (PLC_driver.comInfo->firstPassDone != 0) {
        return;
    }
    PLC_driver.cyclicBatches = wrapAdd(PLC_driver.cyclicBatches, 1);
    if (PLC_driver.cyclicBatches > PLC_driver.readList.size()) {
        PLC_driver.cyclicBatches = 0;
        PLC_driver.comInfo->firstPassDone = 1;
    }
}

// REQUIRES: the list lock is held.
RequestEnd acceptDataReply(int status) {
    ComInfo& info = *PLC_driver.comInfo;
    PLC_driver.commFailed = 0;
    info.frameDone = wrapAdd(info.frameDone, 1);
    const RequestEnd end = {status, info.frameDone >= info.frameTotal};
    if (end.batchDone) {
        countTowardsFirstPass();
    }
    PLC_driver.frameList.removeFirst();
    return end;
}

// REQUIRES: the list lock is held.
void abandonRequest() {
    PLC_driver.commFailed = 1;
    PLC_driver.cyclicBatches = 0;
    PLC_driver.comInfo->firstPassDone = 0;
    PLC_driver.comInfo->retryCount = 0;
    PLC_driver.frameList.clear();
    PLC_driver.connected = 0;
}

// REQUIRES: the list lock is held.
RequestEnd failOrRetry(int failureStatus) {
    ComInfo& info = *PLC_driver.comInfo;
    info.retryCount = wrapAdd(info.retryCount, 1);  // quirk 8
    if (info.retryCount <= info.retryLimit) {
        const RequestEnd retry = {kStatusPending, false};  // the frame keeps its measured length (quirk 9)
        return retry;
    }
    abandonRequest();
    const RequestEnd abandoned = {failureStatus, true};
    return abandoned;
}

RW_VAR* finishRequest(int status) {
    QMutexLocker lock(&PLC_driver.listMutex);
    const RequestEnd end = isAccepted(status) ? acceptDataReply(status) : failOrRetry(status);
    if (end.batchDone) {
        completeBatch();
    }
    return resultWith(end.status);
}

}  // namespace

RW_VAR* DataCom(QByteArray* reply, int received) noexcept {
    if (PLC_driver.frameList.isEmpty()) {
        return resultWith(kStatusAccepted);
    }
    Protocol& head = PLC_driver.frameList.first();
    passRetValue(head.var, PLC_driver.resultVar);

    switch (nextReplyStep(situationOf(*reply))) {
        case kKeepReceiving:
            return resultWith(kStatusPending);
        case kStoreMeasuredLength:
            head.replyLength = reply->size();
            return resultWith(kStatusAccepted);
        case kProcessHandshake:
            return resultWith(processHandshakeReply(reply));
        case kProcessData:
            return finishRequest(DealDataOfLocalArea(reply, received));
        case kFailEmpty:
            return finishRequest(kStatusEmptyReply);
        case kFailMismatch:
            return finishRequest(kStatusLengthMismatch);
    }
    return resultWith(kStatusAccepted);  // not reached: the switch names every step
}

int DealDataOfLocalArea(QByteArray* reply, int received) noexcept {
    if (PLC_driver.frameList.isEmpty()) {
        return GetDriverReturnValue(kReplyRefused);
    }
    const int measuredLength = PLC_driver.frameList.first().replyLength;
    if (received == 0 && measuredLength != 0) {
        return GetDriverReturnValue(kReplyEmpty);
    }
    if (measuredLength == 0) {
        return GetDriverReturnValue(kReplyGood);
    }
    if (measuredLength != received && measuredLength != kNotMeasured) {
        return GetDriverReturnValue(kReplyLengthDiffers);
    }

    switch (CheckGetData(reply, received)) {
        case kGoodReadReply: {
            QMutexLocker lock(&PLC_driver.localAreaMutex);
            SaveToLocalDataErea(reply);
            return GetDriverReturnValue(kReplyGood);
        }
        case kGoodWriteReply:
            return GetDriverReturnValue(kReplyGood);
        default:
            return GetDriverReturnValue(kReplyRefused);
    }
}
