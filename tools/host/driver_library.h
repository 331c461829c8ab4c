// DriverLibrary is the communication driver as a host loads it: from a file, with dlopen, by name. Nothing of the driver
// is linked; its headers give the types.
#ifndef AC500_TOOLS_HOST_DRIVER_LIBRARY_H
#define AC500_TOOLS_HOST_DRIVER_LIBRARY_H

#include <memory>
#include <string>
#include <vector>

#include "tools/driver/driver_functions.h"
#include "tools/host/memory_file.h"

namespace ac500::host {

class DriverLibrary {
public:
    // Loads `path` and finds every entry point. Null on failure; *error then names the file or the missing symbol. A
    // driver built for another version of Qt than this program is refused without loading it.
    static std::unique_ptr<DriverLibrary> load(const std::string& path, std::string* error);

    // Loads a copy of the file for the caller alone, with a driver object of its own, however often the file is loaded
    // already: a session each. The copy lies in memory (no file is made); it costs as much as the file's size, one file
    // descriptor, and what the loader takes, less than a millisecond. Fails as load() does.
    static std::unique_ptr<DriverLibrary> loadCopy(const std::string& path, std::string* error);

    // Loads the first of `candidates` whose file exists, else the last one.
    static std::unique_ptr<DriverLibrary> loadFirst(const std::vector<std::string>& candidates, std::string* error);
    static std::unique_ptr<DriverLibrary> loadFirstCopy(const std::vector<std::string>& candidates, std::string* error);

    // Unloads, unless the same file was loaded twice with load(). REQUIRES: no session uses the functions any more.
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    const DriverFunctions& functions() const { return functions_; }
    const std::string& path() const { return path_; }
    // The driver object, to be looked at while no call is in progress; null when the library has another one than this
    // program was built with.
    const Communication_Protocol* state() const;
    // By which two builds are told apart, in hexadecimal digits; empty when the library has none.
    std::string buildId() const;

private:
    explicit DriverLibrary(std::string path) : path_(std::move(path)) {}
    bool open(const std::string& file, std::string* error);
    bool findFunctions(std::string* error);

    void* handle_ = nullptr;
    std::string path_;
    MemoryFile copy_;  // of loadCopy()
    DriverFunctions functions_;
};

// The file that load() takes for such a path, as far as that can be told without loading it; empty when it is nowhere.
std::string driverFile(const std::string& path);

// Where the driver is looked for without --driver: beside the program, in ../lib of the program, then wherever the
// system looks for libraries.
std::vector<std::string> defaultDriverPaths();

}  // namespace ac500::host

#endif
