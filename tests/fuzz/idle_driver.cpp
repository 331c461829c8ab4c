// A driver that finds every variable at one place and never asks for anything: for a target that opens and closes it a thousand times. It is
// not instrumented, because what counts coverage wants every library to stay where it was loaded.
#include <QtCore/QString>

#include "symbols/control_information.h"

extern "C" {

__attribute__((visibility("default"))) int PLC_driver = 0;

__attribute__((visibility("default"))) void SetComInfo(void*) {}
__attribute__((visibility("default"))) void RegistCallBackFuncIntf(void*, void*) {}
__attribute__((visibility("default"))) void** FlashLocalRegister(void*, void*, void*) {
    return nullptr;
}
__attribute__((visibility("default"))) void PassVarName_2(void*) {}
__attribute__((visibility("default"))) int ReCreatReadVarList(void*) {
    return 0;
}
__attribute__((visibility("default"))) int AddListReadVar(void*) {
    return 1;
}
__attribute__((visibility("default"))) int AddListOnceReadVar(void*) {
    return 1;
}
__attribute__((visibility("default"))) int AddListWriteVar(void*) {
    return 1;
}
__attribute__((visibility("default"))) void* ComCommunication() {
    return nullptr;
}
__attribute__((visibility("default"))) void* DataCom(void*, int) {
    return nullptr;
}
__attribute__((visibility("default"))) unsigned GetRegisterData(void*, int, void*, int, void*, int) {
    return 0;
}
__attribute__((visibility("default"))) unsigned SetRegisterData(void*, int, void*, int, void*, int, int, int) {
    return 1;
}

}  // extern "C"

// Every variable lies at the beginning of area 1.
__attribute__((visibility("default"))) int get_label_address_info(const QString&, ControlInformationM& info) {
    info.area = 1;
    info.address = 0;
    return 0;
}
