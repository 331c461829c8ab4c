#include "tools/host/driver_library.h"

#include <dlfcn.h>

#include <cstddef>
#include <filesystem>

#include "tools/host/needed_libraries.h"

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

// The file that the system's loader takes for a name without a slash. It knows more folders than it tells: those of its
// cache. Empty when the file is in none of the others.
std::string fileInSearchPath(const std::string& name) {
    void* self = dlopen(nullptr, RTLD_NOW);
    Dl_serinfo size;
    std::string found;
    if (self != nullptr && dlinfo(self, RTLD_DI_SERINFOSIZE, &size) == 0) {
        std::vector<std::max_align_t> buffer(size.dls_size / sizeof(std::max_align_t) + 1);
        auto* folders = reinterpret_cast<Dl_serinfo*>(buffer.data());
        if (dlinfo(self, RTLD_DI_SERINFOSIZE, folders) == 0 && dlinfo(self, RTLD_DI_SERINFO, folders) == 0) {
            for (unsigned int i = 0; i < folders->dls_cnt && found.empty(); ++i) {
                const std::string file = (fs::path(folders->dls_serpath[i].dls_name) / name).string();
                found = isFile(file) ? file : "";
            }
        }
    }
    if (self != nullptr) {
        dlclose(self);
    }
    return found;
}

// Two versions of Qt in one process take each other's functions and end it, at best while the driver is being loaded:
// that can only be told before. Empty when the driver is for this program's Qt.
std::string complaintAboutQt(const std::string& path) {
    const bool isPlainName = path.find('/') == std::string::npos;
    const std::string file = isPlainName ? fileInSearchPath(path) : path;
    const int version = file.empty() ? 0 : qtVersionAmong(neededLibraries(file));
    if (version == 0 || version == QT_VERSION_MAJOR) {
        return "";
    }
    return file + " is built for Qt " + std::to_string(version) + ", and this program runs with Qt " + qVersion() +
           ": one process cannot have both; name a driver built for Qt " + std::to_string(QT_VERSION_MAJOR) +
           " with --driver PATH";
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
    const std::string file = pathForLoader(path);
    *error = complaintAboutQt(file);
    if (!error->empty()) {
        return nullptr;
    }
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
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
