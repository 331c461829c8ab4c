// MemoryFile is a file without a name that lies in memory and lasts as long as its descriptor is open.
#ifndef AC500_TOOLS_HOST_MEMORY_FILE_H
#define AC500_TOOLS_HOST_MEMORY_FILE_H

#include <string>

namespace ac500::host {

class MemoryFile {
public:
    MemoryFile() = default;
    // Closes the descriptor.
    ~MemoryFile();
    MemoryFile(MemoryFile&& other) noexcept;
    MemoryFile& operator=(MemoryFile&& other) noexcept;

    // A copy of a file's content. Not open on failure; *error then says what could not be done.
    static MemoryFile copyOf(const std::string& path, std::string* error);

    bool isOpen() const { return descriptor_ >= 0; }
    // By which this process can open it. REQUIRES: isOpen()
    std::string path() const;
    // It stays in memory until the process ends.
    void keepOpen() { descriptor_ = -1; }

private:
    int descriptor_ = -1;
};

}  // namespace ac500::host

#endif
