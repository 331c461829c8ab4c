// DriverLibrary is the communication driver as a host loads it: from a file, with dlopen, by name. Nothing of the driver
// is linked; its headers give the types.
#ifndef AC500_TOOLS_HOST_DRIVER_LIBRARY_H
#define AC500_TOOLS_HOST_DRIVER_LIBRARY_H

#include <memory>
#include <string>
#include <vector>

#include "core/host_interface.h"

namespace ac500::host {

// The entry points that this host calls. core/host_interface.h says what each does, and on which thread.
struct DriverFunctions {
    decltype(&::SetComInfo) setComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) registerCallbacks = nullptr;
    decltype(&::FlashLocalRegister) setLocalRegisters = nullptr;
    decltype(&::PassVarName_2) passSymbols = nullptr;
    decltype(&::ReCreatReadVarList) rebuildReadList = nullptr;
    decltype(&::AddListReadVar) addCyclicRead = nullptr;
    decltype(&::AddListOnceReadVar) addOnceRead = nullptr;
    decltype(&::AddListWriteVar) addWrite = nullptr;
    decltype(&::ComCommunication) nextRequest = nullptr;
    decltype(&::DataCom) takeReply = nullptr;
    decltype(&::GetRegisterData) getValue = nullptr;
    decltype(&::SetRegisterData) setValue = nullptr;
    int (*resolveTag)(QString const&, ControlInformationM&) noexcept = nullptr;
};

class DriverLibrary {
public:
    // Loads `path` and finds every entry point. Null on failure; *error then names the file or the missing symbol. A
    // driver built for another version of Qt than this program is refused without loading it.
    static std::unique_ptr<DriverLibrary> load(const std::string& path, std::string* error);

    // Loads the first of `candidates` whose file exists, else the last one.
    static std::unique_ptr<DriverLibrary> loadFirst(const std::vector<std::string>& candidates, std::string* error);

    // Unloads, unless the same file was loaded twice. REQUIRES: no session uses the functions any more.
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    const DriverFunctions& functions() const { return functions_; }
    const std::string& path() const { return path_; }

private:
    DriverLibrary(void* handle, std::string path) : handle_(handle), path_(std::move(path)) {}
    bool findFunctions(std::string* error);

    void* handle_;
    std::string path_;
    DriverFunctions functions_;
};

// Where the driver is looked for without --driver: beside the program, in ../lib of the program, then wherever the
// system looks for libraries.
std::vector<std::string> defaultDriverPaths();

}  // namespace ac500::host

#endif
