#include "tools/host/driver_library.h"

#include <dlfcn.h>

#include <filesystem>

namespace ac500::host {

namespace {

namespace fs = std::filesystem;

constexpr char kLibraryName[] = "libac500driver.so";

// Overloaded in C++, so it has no bare name: get_label_address_info(QString const&, ControlInformationM&).
constexpr char kResolveTagSymbol[] = "_Z22get_label_address_infoRK7QStringR19ControlInformationM";

bool isFile(const std::string& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

// dlopen looks for a name without a slash in the system's folders only, never in the current one.
std::string pathForLoader(const std::string& path) {
    const bool isPlainName = path.find('/') == std::string::npos;
    return isPlainName && isFile(path) ? "./" + path : path;
}

template <typename Function>
bool find(void* handle, const char* symbol, Function* function, std::string* error) {
    *function = reinterpret_cast<Function>(dlsym(handle, symbol));
    if (*function == nullptr && error->empty()) {
        *error = std::string("has no entry point \"") + symbol + "\": it is no AC500 driver, or one of another version";
    }
    return *function != nullptr;
}

}  // namespace

std::unique_ptr<DriverLibrary> DriverLibrary::load(const std::string& path, std::string* error) {
    void* handle = dlopen(pathForLoader(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        *error = "the driver cannot be loaded: " + std::string(dlerror()) + "; name the file with --driver PATH";
        return nullptr;
    }
    std::unique_ptr<DriverLibrary> library(new DriverLibrary(handle, path));
    std::string missing;
    if (!library->findFunctions(&missing)) {
        *error = path + ": " + missing;
        return nullptr;
    }
    return library;
}

std::unique_ptr<DriverLibrary> DriverLibrary::loadFirst(const std::vector<std::string>& candidates,
                                                        std::string* error) {
    for (const std::string& candidate : candidates) {
        if (isFile(candidate)) {
            return load(candidate, error);
        }
    }
    return load(candidates.back(), error);
}

DriverLibrary::~DriverLibrary() {
    dlclose(handle_);
}

bool DriverLibrary::findFunctions(std::string* error) {
    DriverFunctions& to = functions_;
    return find(handle_, "SetComInfo", &to.setComInfo, error) &&
           find(handle_, "RegistCallBackFuncIntf", &to.registerCallbacks, error) &&
           find(handle_, "FlashLocalRegister", &to.setLocalRegisters, error) &&
           find(handle_, "PassVarName_2", &to.passSymbols, error) &&
           find(handle_, "ReCreatReadVarList", &to.rebuildReadList, error) &&
           find(handle_, "AddListReadVar", &to.addCyclicRead, error) &&
           find(handle_, "AddListOnceReadVar", &to.addOnceRead, error) &&
           find(handle_, "AddListWriteVar", &to.addWrite, error) &&
           find(handle_, "ComCommunication", &to.nextRequest, error) &&
           find(handle_, "DataCom", &to.takeReply, error) && find(handle_, "GetRegisterData", &to.getValue, error) &&
           find(handle_, "SetRegisterData", &to.setValue, error) &&
           find(handle_, kResolveTagSymbol, &to.resolveTag, error);
}

std::vector<std::string> defaultDriverPaths() {
    std::error_code ignored;
    const fs::path folder = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    return {(folder / kLibraryName).string(), (folder / ".." / "lib" / kLibraryName).lexically_normal().string(),
            kLibraryName};
}

}  // namespace ac500::host
