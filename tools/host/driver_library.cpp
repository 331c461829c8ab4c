#include "tools/host/driver_library.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>

#include "tools/host/needed_libraries.h"

namespace ac500::host {

namespace {

namespace fs = std::filesystem;

constexpr char kLibraryName[] = "libac500driver.so";
constexpr char kObjectSymbol[] = "PLC_driver";

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

// The first whose file exists, else the last.
const std::string& firstOf(const std::vector<std::string>& candidates) {
    const auto found = std::find_if(candidates.begin(), candidates.end(), isFile);
    return found == candidates.end() ? candidates.back() : *found;
}

// The reason of the last dlopen that failed.
std::string cannotBeLoaded() {
    return "the driver cannot be loaded: " + std::string(dlerror()) + "; name the file with --driver PATH";
}

// The file behind what dlopen takes: the loader tells of a name that is no path when it has loaded it. Empty on failure.
std::string fileOfLoader(const std::string& file, std::string* error) {
    if (file.find('/') != std::string::npos) {
        return file;
    }
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    link_map* map = nullptr;
    std::string found;
    if (handle == nullptr || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) {
        *error = cannotBeLoaded();
    } else {
        found = map->l_name;
    }
    if (handle != nullptr) {
        dlclose(handle);
    }
    return found;
}

template <typename Result, typename... Arguments>
bool find(void* handle, const char* symbol, std::function<Result(Arguments...)>* function, std::string* error) {
    auto* found = reinterpret_cast<Result (*)(Arguments...)>(dlsym(handle, symbol));
    if (found == nullptr) {
        *error = std::string("has no entry point \"") + symbol + "\": it is no AC500 driver, or one of another version";
        return false;
    }
    *function = found;
    return true;
}

}  // namespace

std::unique_ptr<DriverLibrary> DriverLibrary::load(const std::string& path, std::string* error) {
    const std::string file = pathForLoader(path);
    *error = complaintAboutQt(file);
    if (!error->empty()) {
        return nullptr;
    }
    std::unique_ptr<DriverLibrary> library(new DriverLibrary(path));
    return library->open(file, error) ? std::move(library) : nullptr;
}

// The loader knows a file again by its name and by its device and inode: the copy has both of its own, as long as its
// descriptor is open.
std::unique_ptr<DriverLibrary> DriverLibrary::loadCopy(const std::string& path, std::string* error) {
    const std::string file = pathForLoader(path);
    *error = complaintAboutQt(file);
    const std::string original = error->empty() ? fileOfLoader(file, error) : "";
    if (original.empty()) {
        return nullptr;
    }
    std::unique_ptr<DriverLibrary> library(new DriverLibrary(path));
    library->copy_ = MemoryFile::copyOf(original, error);
    return library->copy_.isOpen() && library->open(library->copy_.path(), error) ? std::move(library) : nullptr;
}

// In a program that has linked a driver itself a copy would take that one's object for its own, were it not told to prefer
// what it has. Elsewhere it is not: sanitizers do not go together with that.
bool DriverLibrary::open(const std::string& file, std::string* error) {
    const bool isCopy = copy_.isOpen();
    const bool isAnotherGlobal = isCopy && dlsym(RTLD_DEFAULT, kObjectSymbol) != nullptr;
    handle_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | (isAnotherGlobal ? RTLD_DEEPBIND : 0));
    if (handle_ == nullptr) {
        *error = cannotBeLoaded();
        return false;
    }
    std::string missing;
    if (!findFunctions(&missing)) {
        *error = path_ + ": " + missing;
        return false;
    }
    functions_.object = dlsym(handle_, kObjectSymbol);
    return true;
}

std::unique_ptr<DriverLibrary> DriverLibrary::loadFirst(const std::vector<std::string>& candidates,
                                                        std::string* error) {
    return load(firstOf(candidates), error);
}

std::unique_ptr<DriverLibrary> DriverLibrary::loadFirstCopy(const std::vector<std::string>& candidates,
                                                            std::string* error) {
    return loadCopy(firstOf(candidates), error);
}

// A copy that the loader keeps for reasons of its own keeps its descriptor: another copy under the same name would be taken
// for it.
DriverLibrary::~DriverLibrary() {
    if (handle_ == nullptr) {
        return;
    }
    dlclose(handle_);
    if (void* kept = copy_.isOpen() ? dlopen(copy_.path().c_str(), RTLD_NOW | RTLD_NOLOAD) : nullptr) {
        dlclose(kept);
        copy_.keepOpen();
    }
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

std::string driverFile(const std::string& path) {
    const std::string file = pathForLoader(path);
    const bool isPlainName = file.find('/') == std::string::npos;
    if (isPlainName) {
        return fileInSearchPath(file);
    }
    return isFile(file) ? file : "";
}

const Communication_Protocol* DriverLibrary::state() const {
    void* const object = dlsym(handle_, "PLC_driver");
    Dl_info info{};
    void* entry = nullptr;
    if (object == nullptr || dladdr1(object, &info, &entry, RTLD_DL_SYMENT) == 0 || entry == nullptr ||
        static_cast<const ElfW(Sym)*>(entry)->st_size != sizeof(Communication_Protocol)) {
        return nullptr;
    }
    return static_cast<const Communication_Protocol*>(object);
}

namespace {

struct WantedBuild {
    ElfW(Addr) base = 0;
    std::string id;
};

std::string hexDigits(const unsigned char* bytes, std::size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    for (std::size_t i = 0; i < count; ++i) {
        digits.push_back(kDigits[bytes[i] >> 4]);
        digits.push_back(kDigits[bytes[i] & 0xF]);
    }
    return digits;
}

std::size_t noteAligned(std::size_t size) {
    return (size + 3) & ~std::size_t{3};
}

// The id among the notes of a part of the file, as the loader has it in memory.
std::string buildIdAmong(const unsigned char* notes, std::size_t size) {
    std::size_t at = 0;
    while (at + sizeof(ElfW(Nhdr)) <= size) {
        ElfW(Nhdr) head;
        std::memcpy(&head, notes + at, sizeof head);
        const std::size_t nameAt = at + sizeof head;
        const std::size_t contentAt = nameAt + noteAligned(head.n_namesz);
        if (contentAt + head.n_descsz > size) {
            break;
        }
        if (head.n_type == NT_GNU_BUILD_ID && head.n_namesz == 4 && std::memcmp(notes + nameAt, "GNU", 4) == 0) {
            return hexDigits(notes + contentAt, head.n_descsz);
        }
        at = contentAt + noteAligned(head.n_descsz);
    }
    return std::string();
}

int lookAtLibrary(dl_phdr_info* library, std::size_t, void* data) {
    auto* wanted = static_cast<WantedBuild*>(data);
    if (library->dlpi_addr != wanted->base) {
        return 0;
    }
    for (int i = 0; i < library->dlpi_phnum && wanted->id.empty(); ++i) {
        const ElfW(Phdr)& part = library->dlpi_phdr[i];
        if (part.p_type == PT_NOTE) {
            wanted->id =
                buildIdAmong(reinterpret_cast<const unsigned char*>(library->dlpi_addr + part.p_vaddr), part.p_memsz);
        }
    }
    return 1;
}

}  // namespace

std::string DriverLibrary::buildId() const {
    link_map* map = nullptr;
    WantedBuild wanted;
    if (dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0) {
        wanted.base = map->l_addr;
        dl_iterate_phdr(&lookAtLibrary, &wanted);
    }
    return wanted.id;
}

std::vector<std::string> defaultDriverPaths() {
    std::error_code ignored;
    const fs::path folder = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    return {(folder / kLibraryName).string(), (folder / ".." / "lib" / kLibraryName).lexically_normal().string(),
            kLibraryName};
}

}  // namespace ac500::host
