// A host as one for QtCore 4.8 is written: in C++98. It hands over the records of docs/host-interface.md, runs the loop, and
// understands the codes.
// scripts/check-qt4 compiles and links it, in C++98 and later; `exchange` stands for a host's own socket.
#include <cstdio>

#include "../layout/worked_records.h"
#include "core/host_interface.h"
#include "core/inner_steps.h"

QByteArray exchange(const QByteArray& request);

namespace {

int failures = 0;

quint32 onVariableDone(quint32, quint32, quint32, quint32 outcome) {
    failures += outcome == quint32(ac500::kVariableFailed) ? 1 : 0;
    return 0;
}

quint32 onCommunicationFailed(QList<RW_VAR>* emptyList, quint32, quint32) {
    return quint32(emptyList->size());
}

bool isFailure(const RW_VAR& result) {
    const int status = result.status;
    return !ac500::isAccepted(status) && status != ac500::kStatusPending;
}

bool oneTurn() {
    Protocol* request = ComCommunication();
    if (request == NULL) {
        return true;
    }
    QByteArray reply = exchange(request->frame);
    if (request->replyLength == ac500::kNotMeasured && !reply.isEmpty()) {
        DataCom(&reply, reply.size());
    }
    const RW_VAR* result = DataCom(&reply, reply.size());
    if (result->status == ac500::kStatusHandshakeRejected) {
        std::printf("no session\n");
    }
    return !isFailure(*result);
}

bool isBit(const QString& tag) {
    ControlInformationM place = ControlInformationM();
    return get_label_address_info(tag, place) == ac500::kResolved && place.isBit != 0;
}

int registerTags() {
    HostTag tag = {0, 0, QString::fromLatin1("2"), QString::fromLatin1("Main.motor.temps[%%]"), 1};
    QList<HostTag> tags = QList<HostTag>() << tag;
    RW_VAR once = RW_VAR();
    once.labelName = QString::fromLatin1("Main.motors[3].speed");
    once.size = 1;
    return ReCreatReadVarList(&tags) + AddListOnceReadVar(&once);
}

quint32 writeAndRead() {
    QString tag = QString::fromLatin1("Main.motor.temps[4]");
    QString argument;
    QByteArray value("\x01\x02", 2);
    SetRegisterData(&tag, 0, &argument, 0, &value, 1, 0, 1);
    return GetRegisterData(&tag, 0, &argument, 0, &value, 1);
}

}  // namespace

int main() {
    ComInfo settings = ComInfo();
    settings.maxRequestWords = 100;
    settings.retryLimit = 2;
    settings.accessMode = ac500::kAccessPlc;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(onVariableDone, onCommunicationFailed);
    handOverSymbols();
    std::printf("%d %u %d\n", registerTags(), writeAndRead(), int(isBit(QString::fromLatin1("Main.flags.b[3]"))));
    for (int turn = 0; turn < 10 && oneTurn(); ++turn) {
    }
    unsigned char text[] = "123456789";
    std::printf("%d %u %d\n", failures, CalCRC(text, 9), PLC_driver.readList.size());
    return 0;
}
