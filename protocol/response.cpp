// Response handling: what a reply does to the queue, the lists, the image and the connection.
//
// The judging runs without the list lock; what changes state that other threads share (the lists, commFailed, the pass
// counter) runs under it. The image lock is taken and released before, never inside.
#include "core/codes.h"
#include "core/host_interface.h"
#include "core/list_lock.h"
#include "protocol/batch_completion.h"
#include "protocol/bytes.h"
#include "protocol/frames.h"
#include "protocol/handshake.h"
#include "protocol/reply_checks.h"

using namespace ac500;

namespace {

// What a reply means for the frame at the head of the queue, before its content is looked at.
enum ReplyStep {
    kKeepReceiving,        // incomplete so far
    kStoreMeasuredLength,  // complete: the host calls again to have it processed
    kFailEmpty,            // no reply at all
    kFailMismatch,         // measured before, now incomplete
    kProcessHandshake,
    kProcessData
};

ReplyStep measuringStep(const QByteArray& reply) {
    if (isComplete(reply)) {
        return kStoreMeasuredLength;
    }
    return reply.isEmpty() ? kFailEmpty : kKeepReceiving;
}

ReplyStep nextReplyStep(const QByteArray& reply, int measuredLength, bool connected) {
    if (measuredLength == kNotMeasured) {
        return measuringStep(reply);
    }
    if (measuredLength > 0 && !isComplete(reply)) {
        return kFailMismatch;
    }
    return connected ? kProcessData : kProcessHandshake;
}

struct RequestEnd {
    int status;
    bool batchDone;
};

RW_VAR* resultWith(int status) {
    PLC_driver.resultVar.status = status;
    return &PLC_driver.resultVar;
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
    const ListLock lock;
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

    switch (nextReplyStep(*reply, head.replyLength, PLC_driver.connected != 0)) {
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
