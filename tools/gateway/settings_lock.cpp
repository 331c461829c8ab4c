#include "tools/gateway/settings_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ac500::gateway {

SettingsLock::~SettingsLock() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool SettingsLock::isOf(int descriptor) const {
    struct stat held {};
    struct stat other {};
    return descriptor_ >= 0 && ::fstat(descriptor_, &held) == 0 && ::fstat(descriptor, &other) == 0 &&
           held.st_dev == other.st_dev && held.st_ino == other.st_ino;
}

bool SettingsLock::take(const std::string& fileName) {
    const int descriptor = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return true;
    }
    // Two descriptors of one process would keep each other out.
    if (isOf(descriptor)) {
        ::close(descriptor);
        return true;
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        ::close(descriptor);
        return false;
    }
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    descriptor_ = descriptor;
    return true;
}

}  // namespace ac500::gateway
