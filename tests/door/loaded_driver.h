// LoadedDriver is the driver as a host holds it: the shared library, loaded from disk, and its entry points under their
// own names. Unloads the library when it goes.
#ifndef AC500_TESTS_DOOR_LOADED_DRIVER_H
#define AC500_TESTS_DOOR_LOADED_DRIVER_H

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "core/host_interface.h"
#include "core/inner_steps.h"
#include "tests/support/places.h"

namespace ac500::test {

// The library under test: what AC500_DRIVER names, or else the one of this build.
inline std::string driverPath() {
    const char* chosen = std::getenv("AC500_DRIVER");
    return chosen != nullptr ? chosen : kDriver;
}

class LoadedDriver {
public:
    LoadedDriver() : handle(dlopen(driverPath().c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
        find("PLC_driver", object);
        find("LB", LB);
        find("LW", LW);
        find("RWI", RWI);
        find("SetComInfo", SetComInfo);
        find("RegistCallBackFuncIntf", RegistCallBackFuncIntf);
        find("FlashLocalRegister", FlashLocalRegister);
        find("PassVarName_2", PassVarName_2);
        find("AddListReadVar", AddListReadVar);
        find("AddListOnceReadVar", AddListOnceReadVar);
        find("AddListWriteVar", AddListWriteVar);
        find("ReCreatReadVarList", ReCreatReadVarList);
        find("ComCommunication", ComCommunication);
        find("DataCom", DataCom);
        find("GetRegisterData", GetRegisterData);
        find("SetRegisterData", SetRegisterData);
        find("EnableEthernet", EnableEthernet);
        find("EnCommStation", EnCommStation);
        find("PLCAddressChangeIntef", PLCAddressChangeIntef);
        find("QueryFinishFlag", QueryFinishFlag);
        find("_Z16Ethernetcontainsi", Ethernetcontains);
        find("_Z14Remote_ReadVarP6RW_VAR", Remote_ReadVar);
        find("_Z15Remote_WriteVarP6RW_VAR", Remote_WriteVar);
        find("_Z6CalCRCPht", CalCRC);
    }
    ~LoadedDriver() { dlclose(handle); }

    LoadedDriver(const LoadedDriver&) = delete;
    LoadedDriver& operator=(const LoadedDriver&) = delete;

    // What GetRegisterData stores for a tag; `result` is what it returns.
    QByteArray value(const char* tag, qint32 count, quint32* result = nullptr) const {
        QString label = tag;
        QString argument;
        QByteArray out;
        const quint32 resolved = GetRegisterData(&label, 0, &argument, 0, &out, count);
        if (result != nullptr) {
            *result = resolved;
        }
        return out;
    }

    // Writes a value under this identity; returns what SetRegisterData returns.
    quint32 setValue(const char* tag, QByteArray in, qint32 count, qint32 hostId, qint32 hostSubId) const {
        QString label = tag;
        QString argument;
        return SetRegisterData(&label, 0, &argument, 0, &in, count, hostId, hostSubId);
    }

    Communication_Protocol* object = nullptr;
    void** LB = nullptr;
    void** LW = nullptr;
    void** RWI = nullptr;
    decltype(&::SetComInfo) SetComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf = nullptr;
    decltype(&::FlashLocalRegister) FlashLocalRegister = nullptr;
    decltype(&::PassVarName_2) PassVarName_2 = nullptr;
    decltype(&::AddListReadVar) AddListReadVar = nullptr;
    decltype(&::AddListOnceReadVar) AddListOnceReadVar = nullptr;
    decltype(&::AddListWriteVar) AddListWriteVar = nullptr;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList = nullptr;
    decltype(&::ComCommunication) ComCommunication = nullptr;
    decltype(&::DataCom) DataCom = nullptr;
    decltype(&::GetRegisterData) GetRegisterData = nullptr;
    decltype(&::SetRegisterData) SetRegisterData = nullptr;
    decltype(&::EnableEthernet) EnableEthernet = nullptr;
    decltype(&::EnCommStation) EnCommStation = nullptr;
    decltype(&::PLCAddressChangeIntef) PLCAddressChangeIntef = nullptr;
    decltype(&::QueryFinishFlag) QueryFinishFlag = nullptr;
    decltype(&::Ethernetcontains) Ethernetcontains = nullptr;
    decltype(&::Remote_ReadVar) Remote_ReadVar = nullptr;
    decltype(&::Remote_WriteVar) Remote_WriteVar = nullptr;
    decltype(&::CalCRC) CalCRC = nullptr;

private:
    template <typename Pointer>
    void find(const char* symbol, Pointer& target) {
        target = reinterpret_cast<Pointer>(dlsym(handle, symbol));
        if (target == nullptr) {
            throw std::runtime_error(driverPath() + " does not export " + symbol);
        }
    }

    void* handle;
};

}  // namespace ac500::test

#endif
