// A driver that is broken on purpose, to show that the benchmarks notice: loaded before the real one (LD_PRELOAD), it
// stands in for some of its functions. AC500_BROKEN says how:
//
//   stale-value     GetRegisterData goes on answering with the value that it found first under a name
//   dropped-reply   now and then DataCom accepts a read reply and stores nothing of it
//   unsent-write    now and then a write is reported as done and never sent
//   unread-tags     ReCreatReadVarList leaves out every tag of the list's second half
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include <QtCore/QHash>
#include <QtCore/QMutexLocker>

#include "core/host_interface.h"

namespace {

constexpr int kNowAndThen = 7;

bool isBroken(const char* how) {
    const char* chosen = std::getenv("AC500_BROKEN");
    return chosen != nullptr && std::strcmp(chosen, how) == 0;
}

// The real driver's function.
template <class Function>
Function* next(const char* name) {
    void* found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::abort();
    }
    return reinterpret_cast<Function*>(found);
}

bool isDue() {
    static int calls = 0;
    return ++calls % kNowAndThen == 0;
}

}  // namespace

quint32 GetRegisterData(QString* label, qint32 unused1, QString* labelArg, qint32 unused2, QByteArray* out,
                        qint32 count) noexcept {
    static auto* real = next<decltype(GetRegisterData)>("GetRegisterData");
    static const bool isStale = isBroken("stale-value");
    static QHash<QString, QByteArray> firstValues;
    const quint32 result = real(label, unused1, labelArg, unused2, out, count);
    if (isStale) {
        const QString name(label->constData(), label->size());
        if (firstValues.contains(name)) {
            *out = firstValues.value(name);
        } else {
            firstValues.insert(name, QByteArray(out->constData(), out->size()));
        }
    }
    return result;
}

RW_VAR* DataCom(QByteArray* reply, int received) noexcept {
    static auto* real = next<decltype(DataCom)>("DataCom");
    static const bool drops = isBroken("dropped-reply");
    const bool stores = PLC_driver.connected != 0 && PLC_driver.batchKind == kCyclicBatch &&
                        !PLC_driver.frameList.isEmpty() && PLC_driver.frameList.first().replyLength != -1;
    if (!drops || !stores || !isDue()) {
        return real(reply, received);
    }
    const QHash<quint64, char> before = PLC_driver.localValues;
    RW_VAR* result = real(reply, received);
    const QMutexLocker lock(&PLC_driver.localAreaMutex);
    PLC_driver.localValues = before;
    return result;
}

quint32 SetRegisterData(QString* label, qint32 unused1, QString* labelArg, qint32 unused2, QByteArray* in, qint32 count,
                        qint32 hostId, qint32 hostSubId) noexcept {
    static auto* real = next<decltype(SetRegisterData)>("SetRegisterData");
    static const bool forgets = isBroken("unsent-write");
    const quint32 result = real(label, unused1, labelArg, unused2, in, count, hostId, hostSubId);
    if (forgets && isDue()) {
        const QMutexLocker lock(&PLC_driver.listMutex);
        PLC_driver.writeList.removeLast();
        PLC_driver.varDoneCallback(0, static_cast<quint32>(hostId), static_cast<quint32>(hostSubId),
                                   ac500::kVariableDone);
    }
    return result;
}

int ReCreatReadVarList(QList<HostTag>* tags) noexcept {
    static auto* real = next<decltype(ReCreatReadVarList)>("ReCreatReadVarList");
    static const bool leavesOut = isBroken("unread-tags");
    if (!leavesOut) {
        return real(tags);
    }
    QList<HostTag> fewer = tags->mid(0, tags->size() / 2);
    return real(&fewer);
}
