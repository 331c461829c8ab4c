#include "tools/text/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ac500::text {

namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kWhoeverMay = 0666;  // the user's mask takes from it
constexpr mode_t kModeBits = 07777;
constexpr int kMostNames = 100;

// The error, 0 for none, in all that follows.

int writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t part = ::write(file, content.data(), content.size());
        if (part < 0 && errno == EINTR) {
            continue;
        }
        if (part <= 0) {
            return part < 0 ? errno : EIO;
        }
        content.remove_prefix(static_cast<std::size_t>(part));
    }
    // A device or a pipe cannot be synchronised, and need not be.
    return ::fsync(file) == 0 || errno == EINVAL || errno == EROFS ? 0 : errno;
}

int closeAfter(int file, int error) {
    return ::close(file) != 0 && error == 0 ? errno : error;
}

int writeInPlace(const std::string& path, std::string_view content) {
    const int file = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return errno;
    }
    return closeAfter(file, ::fcntl(file, F_SETFL, 0) == 0 ? writeAll(file, content) : errno);
}

// A file with a name that begins like `path` and that nobody has. -1: errno says why.
int makeBeside(const std::string& path, mode_t mode, std::string* name) {
    int file = -1;
    errno = EEXIST;
    for (int number = 0; number < kMostNames && file < 0 && errno == EEXIST; ++number) {
        *name = path + "." + std::to_string(::getpid()) + "-" + std::to_string(number);
        file = ::open(name->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }
    return file;
}

int takeMode(int file, const std::string& path) {
    struct stat before {};
    return ::stat(path.c_str(), &before) != 0 || ::fchmod(file, before.st_mode & kModeBits) == 0 ? 0 : errno;
}

// The new name is on the disk, too.
int syncFolderOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    const int folder = ::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return errno == EACCES ? 0 : errno;  // who may write there may not always read there
    }
    return closeAfter(folder, ::fsync(folder) == 0 || errno == EINVAL || errno == EROFS ? 0 : errno);
}

int replaceFile(const std::string& path, std::string_view content, Readers readers) {
    std::string temporary;
    const int file = makeBeside(path, readers == Readers::OwnerAlone ? kOwnerOnly : kWhoeverMay, &temporary);
    if (file < 0) {
        return errno;
    }
    int error = readers == Readers::AsBefore ? takeMode(file, path) : 0;
    error = closeAfter(file, error == 0 ? writeAll(file, content) : error);
    if (error == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
        return error;
    }
    return syncFolderOf(path);
}

}  // namespace

std::optional<std::string> replacedFile(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::file_type named = fs::symlink_status(path, ignored).type();
    if (named == fs::file_type::regular || named == fs::file_type::not_found) {
        return path;
    }
    const bool leadsToFile = fs::status(path, ignored).type() == fs::file_type::regular;
    return leadsToFile ? std::optional<std::string>(fs::canonical(path, ignored).string()) : std::nullopt;
}

bool writeWholeFile(const std::string& path, std::string_view content, Readers readers, std::string* error) {
    const std::optional<std::string> target = replacedFile(path);
    const int failure = target ? replaceFile(*target, content, readers) : writeInPlace(path, content);
    *error = failure == 0 ? "" : std::generic_category().message(failure);
    return failure == 0;
}

}  // namespace ac500::text
