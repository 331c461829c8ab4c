#include "tools/audit/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ac500::audit {

namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

}  // namespace

int Disk::open(const std::string& path, bool mayCreate) {
    return ::open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC | (mayCreate ? O_CREAT | O_EXCL : 0), kOwnerOnly);
}

int Disk::openFolder(const std::string& path) {
    return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

int Disk::list(const std::string& folder, std::vector<std::string>* names) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error); entry != std::filesystem::directory_iterator();
         entry.increment(error)) {
        names->push_back(entry->path().filename().string());
    }
    errno = error.value();
    return error ? -1 : 0;
}

int Disk::look(int descriptor, struct stat* state) {
    return ::fstat(descriptor, state);
}

int Disk::lookUp(const std::string& path, struct stat* state) {
    return ::stat(path.c_str(), state);
}

ssize_t Disk::write(int descriptor, const char* bytes, std::size_t size) {
    return ::write(descriptor, bytes, size);
}

int Disk::sync(int descriptor) {
    return ::fsync(descriptor);
}

int Disk::truncate(int descriptor, off_t size) {
    return ::ftruncate(descriptor, size);
}

int Disk::rename(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str());
}

int Disk::close(int descriptor) {
    return ::close(descriptor);
}

}  // namespace ac500::audit
