// DriverFunctions are the driver's entry points as the tools call them, wherever they come from: a library that was loaded,
// or something that stands between a host and the driver.
#ifndef AC500_TOOLS_DRIVER_DRIVER_FUNCTIONS_H
#define AC500_TOOLS_DRIVER_DRIVER_FUNCTIONS_H

#include <functional>

#include "core/host_interface.h"

namespace ac500::host {

// Those that a host of ours calls. core/host_interface.h says what each does, and on which thread. Each can hold any
// callable, so that something with a state of its own can stand between a host and the driver.
struct DriverFunctions {
    std::function<void(ComInfo*)> setComInfo;
    std::function<void(VarDoneCallback, CommFailCallback)> registerCallbacks;
    std::function<void**(void*, void*, void*)> setLocalRegisters;
    std::function<void(QList<Label_Type_Info>*)> passSymbols;
    std::function<int(QList<HostTag>*)> rebuildReadList;
    std::function<int(RW_VAR*)> addCyclicRead;
    std::function<int(RW_VAR*)> addOnceRead;
    std::function<int(RW_VAR*)> addWrite;
    std::function<Protocol*()> nextRequest;
    std::function<RW_VAR*(QByteArray*, int)> takeReply;
    std::function<quint32(QString*, qint32, QString*, qint32, QByteArray*, qint32)> getValue;
    std::function<quint32(QString*, qint32, QString*, qint32, QByteArray*, qint32, qint32, qint32)> setValue;
    std::function<int(const QString&, ControlInformationM&)> resolveTag;

    // The driver's one object: the same for the same loaded copy, whatever stands between. Never dereferenced.
    const void* object = nullptr;
};

}  // namespace ac500::host

#endif
