#include "tools/host/memory_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace ac500::host {

namespace {

std::string reasonOf(int number) {
    return std::generic_category().message(number);
}

// Returns 0, or the errno of what failed.
int copyAll(int source, int target) {
    struct stat about {};
    if (fstat(source, &about) != 0) {
        return errno;
    }
    off_t done = 0;
    while (done < about.st_size) {
        const ssize_t copied = sendfile(target, source, &done, static_cast<std::size_t>(about.st_size - done));
        if (copied < 0 && errno != EINTR) {
            return errno;
        }
        if (copied == 0) {
            return EIO;  // it has become shorter
        }
    }
    return 0;
}

}  // namespace

MemoryFile::~MemoryFile() {
    if (isOpen()) {
        close(descriptor_);
    }
}

MemoryFile::MemoryFile(MemoryFile&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

MemoryFile& MemoryFile::operator=(MemoryFile&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

MemoryFile MemoryFile::copyOf(const std::string& path, std::string* error) {
    MemoryFile file;
    const int source = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0) {
        *error = path + " cannot be opened: " + reasonOf(errno);
        return file;
    }
    MemoryFile copy;
    copy.descriptor_ = memfd_create("ac500driver", MFD_CLOEXEC);
    const int failure = copy.isOpen() ? copyAll(source, copy.descriptor_) : errno;
    close(source);
    if (failure != 0) {
        *error = path + " cannot be copied into memory: " + reasonOf(failure);
        return file;
    }
    return copy;
}

std::string MemoryFile::path() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
}

}  // namespace ac500::host
