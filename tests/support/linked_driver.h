// The driver that is linked into a program, as the tools call one that they have loaded.
#ifndef AC500_TESTS_SUPPORT_LINKED_DRIVER_H
#define AC500_TESTS_SUPPORT_LINKED_DRIVER_H

#include "tools/driver/driver_functions.h"

namespace ac500::test {

inline host::DriverFunctions linkedDriver() {
    host::DriverFunctions driver;
    driver.setComInfo = SetComInfo;
    driver.registerCallbacks = RegistCallBackFuncIntf;
    driver.setLocalRegisters = FlashLocalRegister;
    driver.passSymbols = PassVarName_2;
    driver.rebuildReadList = ReCreatReadVarList;
    driver.addCyclicRead = AddListReadVar;
    driver.addOnceRead = AddListOnceReadVar;
    driver.addWrite = AddListWriteVar;
    driver.nextRequest = ComCommunication;
    driver.takeReply = DataCom;
    driver.getValue = GetRegisterData;
    driver.setValue = SetRegisterData;
    driver.resolveTag = static_cast<int (*)(const QString&, ControlInformationM&)>(get_label_address_info);
    return driver;
}

}  // namespace ac500::test

#endif
