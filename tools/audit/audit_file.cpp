#include "tools/audit/audit_file.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ac500::audit {

namespace {

namespace fs = std::filesystem;

std::string folderOf(const std::string& path) {
    const fs::path folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

// Where a link leads, if it leads to a file; any other path as it is.
std::string withoutLink(const std::string& path) {
    std::error_code ignored;
    return fs::is_symlink(path, ignored) && fs::exists(path, ignored) ? fs::canonical(path, ignored).string() : path;
}

// Of other processes that rename the file just when it was opened.
constexpr int kMostTries = 100;

constexpr std::size_t kMostDigits = 9;
constexpr unsigned long kLargestNumber = 999999999;

// The numbers behind FILE. in its folder, ascending. Nothing and errno when the folder does not tell.
std::optional<std::vector<unsigned long>> rotatedNumbers(Disk& disk, const std::string& path) {
    const std::string begin = fs::path(path).filename().string() + ".";
    std::vector<std::string> names;
    if (disk.list(folderOf(path), &names) != 0) {
        return std::nullopt;
    }
    std::vector<unsigned long> numbers;
    for (const std::string& name : names) {
        if (name.compare(0, begin.size(), begin) != 0) {
            continue;
        }
        const std::string number = name.substr(begin.size());
        const bool isNumber = !number.empty() && number.size() <= kMostDigits && number[0] != '0' &&
                              number.find_first_not_of("0123456789") == std::string::npos;
        if (isNumber) {
            numbers.push_back(std::stoul(number));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool isOpen(int descriptor) {
    return descriptor >= 0;
}

// Not the end of a line: a kill or a power cut has torn it.
bool endsTorn(int descriptor, off_t size) {
    char last = '\n';
    return size > 0 && ::pread(descriptor, &last, 1, size - 1) == 1 && last != '\n';
}

}  // namespace

AuditFile::AuditFile(const std::string& path, std::uint64_t largestBytes, std::shared_ptr<Disk> disk)
    : path_(withoutLink(path)), largestBytes_(largestBytes), disk_(std::move(disk)) {}

AuditFile::~AuditFile() {
    closeCurrent();
}

std::string AuditFile::open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return isOpen(descriptor_) ? std::string() : openCurrent();
}

std::string AuditFile::append(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string error = lockCurrent();
    struct stat state {};
    // More than once when another process has filled what came in the place of the file that was renamed.
    for (bool isTooLarge = true; error.empty() && isTooLarge;) {
        if (disk_->look(descriptor_, &state) != 0) {
            error = problem("cannot be looked at");
            break;
        }
        isTooLarge = state.st_size > 0 && static_cast<std::uint64_t>(state.st_size) + line.size() + 1 > largestBytes_;
        if (isTooLarge) {
            error = rotate();
        }
    }
    if (error.empty()) {
        error = writeLine(line, state.st_size);
    }
    if (isOpen(descriptor_)) {
        ::flock(descriptor_, LOCK_UN);
    }
    return error;
}

// What another process makes first is taken as it is; whether its name is on the disk is not known then either.
std::string AuditFile::openCurrent() {
    for (const bool mayCreate : {false, true, false}) {
        descriptor_ = disk_->open(path_, mayCreate);
        if (isOpen(descriptor_)) {
            const std::string error = syncFolder();
            if (!error.empty()) {
                closeCurrent();
            }
            return error;
        }
        if (errno != (mayCreate ? EEXIST : ENOENT)) {
            break;
        }
    }
    return problem("cannot be opened");
}

// The file that has the name now: another process may have renamed the one that is open, or is just about to make the next.
std::string AuditFile::lockCurrent() {
    for (int tries = 0; tries < kMostTries; ++tries) {
        if (!isOpen(descriptor_)) {
            const std::string error = openCurrent();
            if (!error.empty()) {
                return error;
            }
        }
        while (::flock(descriptor_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                return problem("cannot be locked");
            }
        }
        struct stat opened {};
        struct stat named {};
        const bool isSeen = disk_->look(descriptor_, &opened) == 0 && disk_->lookUp(path_, &named) == 0;
        if (!isSeen && errno != ENOENT) {
            return problem("cannot be looked at");
        }
        if (isSeen && opened.st_ino == named.st_ino && opened.st_dev == named.st_dev) {
            return {};
        }
        closeCurrent();
    }
    return path_ + " is another file each time that it is opened";
}

// REQUIRES: the lock of the current file. The new one is locked: the one that is open has the name no more.
std::string AuditFile::rotate() {
    const std::optional<std::vector<unsigned long>> numbers = rotatedNumbers(*disk_, path_);
    if (!numbers) {
        return problem("cannot be renamed, as its folder cannot be listed");
    }
    const unsigned long last = numbers->empty() ? 0 : numbers->back();
    const std::string target = path_ + "." + std::to_string(last + 1);
    if (last == kLargestNumber) {
        return target + " would be one digit too long; move the files of this audit away";
    }
    if (disk_->rename(path_, target) != 0) {
        return problem("cannot be renamed to " + target);
    }
    return lockCurrent();
}

std::string AuditFile::syncFolder() const {
    const std::string folder = folderOf(path_);
    const int descriptor = disk_->openFolder(folder);
    const bool isSynced = isOpen(descriptor) && disk_->sync(descriptor) == 0;
    const std::string error = isSynced ? std::string() : problem("cannot be kept in " + folder);
    if (isOpen(descriptor)) {
        disk_->close(descriptor);
    }
    return error;
}

std::string AuditFile::writeLine(const std::string& line, off_t size) {
    const std::string bytes = (endsTorn(descriptor_, size) ? "\n" : "") + line + "\n";
    std::size_t done = 0;
    std::string error;
    while (done < bytes.size() && error.empty()) {
        const ssize_t written = disk_->write(descriptor_, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR) {
            error = problem("cannot be written");
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    if (error.empty() && disk_->sync(descriptor_) != 0) {
        error = problem("cannot be kept on the disk");
    }
    if (!error.empty()) {
        disk_->truncate(descriptor_, size);
    }
    return error;
}

void AuditFile::closeCurrent() {
    if (isOpen(descriptor_)) {
        disk_->close(descriptor_);
        descriptor_ = -1;
    }
}

std::string AuditFile::problem(const std::string& what) const {
    return path_ + " " + what + ": " + std::strerror(errno);
}

std::optional<std::vector<std::string>> auditFiles(const std::string& path, std::string* error) {
    const std::string file = withoutLink(path);
    Disk disk;
    const std::optional<std::vector<unsigned long>> numbers = rotatedNumbers(disk, file);
    if (!numbers) {
        *error = path + ": its folder cannot be listed: " + std::strerror(errno);
        return std::nullopt;
    }
    std::vector<std::string> files;
    for (const unsigned long number : *numbers) {
        files.push_back(file + "." + std::to_string(number));
    }
    std::error_code ignored;
    if (files.empty() || fs::exists(file, ignored)) {
        files.push_back(file);
    }
    return files;
}

}  // namespace ac500::audit
