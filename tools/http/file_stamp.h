// FileStamp tells whether a file is still the one that was read.
#ifndef AC500_TOOLS_HTTP_FILE_STAMP_H
#define AC500_TOOLS_HTTP_FILE_STAMP_H

#include <cstdint>
#include <string>

#include <sys/stat.h>

namespace ac500::http {

struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    std::int64_t size = -1;  // -1: there is none
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    bool operator==(const FileStamp& other) const {
        return device == other.device && file == other.file && size == other.size && seconds == other.seconds &&
               nanoseconds == other.nanoseconds;
    }
    bool operator!=(const FileStamp& other) const { return !(*this == other); }
};

inline FileStamp stampOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

}  // namespace ac500::http

#endif
