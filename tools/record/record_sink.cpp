#include "tools/record/record_sink.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <thread>
#include <utility>

#include "tools/record/chunk.h"

namespace ac500::record {

namespace {

// A record tells names and values of a plant.
constexpr mode_t kOwnerOnly = 0600;

constexpr char kIsInUse[] = "another program writes its record there";

int openFolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
    return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// A name in a folder is on disk when the folder is.
void syncFolderOf(const std::string& path) {
    const int descriptor = openFolderOf(path);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

// The turn of one program to look at records in a folder, to rename and to open them: between two parts of a ring, and while
// somebody looks whether a file is locked, another program would take one for what it is not. Who does not get it in time, or
// may not read the folder, goes on without.
class FolderTurn {
public:
    explicit FolderTurn(const std::string& path) : folder_(openFolderOf(path)) {
        constexpr int kTries = 100;
        constexpr std::chrono::milliseconds kPause{10};
        for (int tries = 0; folder_ >= 0 && tries < kTries && ::flock(folder_, LOCK_EX | LOCK_NB) != 0; ++tries) {
            std::this_thread::sleep_for(kPause);
        }
    }
    ~FolderTurn() {
        if (folder_ >= 0) {
            ::close(folder_);
        }
    }
    FolderTurn(const FolderTurn&) = delete;
    FolderTurn& operator=(const FolderTurn&) = delete;

private:
    const int folder_;
};

std::string notMade(const std::string& path, const std::string& why) {
    return "the record " + path + " cannot be made: " + why;
}

std::string notMade(const std::string& path, int error) {
    return notMade(path, std::strerror(error));
}

// Takes the lock, which lasts until the file is closed. Not every file system has locks; a device is for many.
bool isLockedElsewhere(int descriptor) {
    struct stat about {};
    return ::fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode) && ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 &&
           errno == EWOULDBLOCK;
}

// The first bytes of a file. Returns what is wrong, in words, also when another program has it locked.
std::string lookInto(const std::string& path, std::string* beginning) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return notMade(path, errno);
    }
    std::array<char, kFileHeadBytes> bytes{};
    const ssize_t count = ::pread(descriptor, bytes.data(), bytes.size(), 0);
    std::string problem = count < 0 ? notMade(path, errno) : std::string();
    if (problem.empty() && isLockedElsewhere(descriptor)) {
        problem = notMade(path, kIsInUse);
    }
    ::close(descriptor);
    beginning->assign(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return problem;
}

// Why the file must not be replaced; empty when it is not there, is empty or a record, or a pipe or a device.
std::string whyToKeep(const std::string& path) {
    struct stat about {};
    if (::stat(path.c_str(), &about) != 0) {
        return errno == ENOENT ? "" : notMade(path, errno);
    }
    if (!S_ISREG(about.st_mode) || about.st_size == 0) {
        return std::string();
    }
    std::string beginning;
    std::string problem = lookInto(path, &beginning);
    if (problem.empty() && !isBeginningOfRecord(beginning)) {
        problem = notMade(path, "a file of that name is there, and it is no record; it stays as it is");
    }
    return problem;
}

// "a/plant.record", "a/plant-2.record", ...
std::string numbered(const std::string& path, int number) {
    if (number < 2) {
        return path;
    }
    const std::size_t slash = path.rfind('/');
    const std::size_t nameAt = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t dot = path.rfind('.');
    const std::size_t at = dot == std::string::npos || dot <= nameAt ? path.size() : dot;
    return path.substr(0, at) + "-" + std::to_string(number) + path.substr(at);
}

// Renames, and replaces nothing. Returns the error, 0 for none. A file system that knows no such renaming has a second name
// for a file.
int renameToFree(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    if (::link(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    ::unlink(from.c_str());
    return 0;
}

}  // namespace

RecordFile::~RecordFile() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::string RecordFile::complaint(const std::string& what) const {
    return "the record " + path_ + " cannot be " + what + ": " + std::strerror(errno);
}

std::string RecordFile::open(const std::string& path) {
    const FolderTurn turn(path);
    return openInTurn(path);
}

std::string RecordFile::openInTurn(const std::string& path) {
    std::string problem = whyToKeep(path);
    if (!problem.empty()) {
        return problem;
    }
    path_ = path;
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kOwnerOnly);
    if (descriptor_ < 0) {
        return complaint("made");
    }
    if (isLockedElsewhere(descriptor_)) {
        problem = notMade(path, kIsInUse);
    } else if (::ftruncate(descriptor_, 0) != 0 && errno != EINVAL) {  // a pipe or a device has no length
        problem = complaint("made");
    }
    if (!problem.empty()) {
        ::close(std::exchange(descriptor_, -1));
        return problem;
    }
    begin();
    syncFolderOf(path);
    return std::string();
}

std::string RecordFile::openBeside(const std::string& path) {
    path_ = path + ".XXXXXX";
    descriptor_ = ::mkostemp(&path_[0], O_CLOEXEC);
    if (descriptor_ < 0) {
        return notMade(path, errno);
    }
    begin();
    return std::string();
}

void RecordFile::begin() {
    bytes_ = 0;
    symbolLists_ = 0;
}

std::string RecordFile::writeBytes(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor_, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return complaint("written");
        }
        done += static_cast<std::size_t>(count);
    }
    bytes_ += bytes.size();
    return std::string();
}

std::string RecordFile::write(const Piece& piece, const Preamble& preamble) {
    std::string problem;
    if (bytes_ == 0) {
        problem = writeBytes(*preamble.head);
    }
    const std::size_t wanted = piece.beginsSegment ? piece.symbolLists : 0;
    for (; problem.empty() && symbolLists_ < wanted; ++symbolLists_) {
        problem = writeBytes(*preamble.symbols[symbolLists_]);
    }
    return problem.empty() ? writeBytes(*piece.chunk) : problem;
}

// A pipe or a device cannot be synchronised, and need not be.
std::string RecordFile::sync() {
    if (descriptor_ < 0 || fdatasync(descriptor_) == 0 || errno == EINVAL || errno == EROFS) {
        return std::string();
    }
    return complaint("brought to disk");
}

std::string RecordFile::close() {
    const std::string problem = sync();
    const int descriptor = std::exchange(descriptor_, -1);
    if (descriptor >= 0 && ::close(descriptor) != 0 && problem.empty()) {
        return complaint("closed");
    }
    return problem;
}

std::string DiskRing::open() {
    const FolderTurn turn(path_);
    return openNext();
}

std::string DiskRing::openNext() {
    std::string problem = pushParts();
    return problem.empty() ? file_.openInTurn(path_) : problem;
}

std::string DiskRing::pushParts() {
    for (int part = 0; part < kMostRingFiles; ++part) {
        std::string problem = whyToKeep(partName(part));
        if (!problem.empty()) {
            return problem;
        }
    }
    struct stat about {};
    if (::lstat(path_.c_str(), &about) != 0) {
        return errno == ENOENT ? std::string() : notMade(path_, errno);
    }
    if (!S_ISREG(about.st_mode) && !S_ISLNK(about.st_mode)) {
        return notMade(path_, "it is no file that could be renamed");
    }
    if (about.st_size == 0) {
        return std::string();  // begun, and nothing came
    }
    int last = 1;  // the first name that is free, or the last one
    while (last < kMostRingFiles - 1 && ::lstat(partName(last).c_str(), &about) == 0) {
        ++last;
    }
    for (int part = last; part > 0; --part) {
        if (std::rename(partName(part - 1).c_str(), partName(part).c_str()) != 0) {
            return notMade(partName(part), errno);
        }
    }
    removeOldest();
    return std::string();
}

void DiskRing::removeOldest() {
    std::uint64_t bytes = partBytes_;  // of the part that is about to begin
    for (int part = 1; part < kMostRingFiles; ++part) {
        struct stat about {};
        if (::stat(partName(part).c_str(), &about) == 0) {
            bytes += static_cast<std::uint64_t>(about.st_size);
        }
        if (part > 1 && bytes > mostBytes_) {
            std::remove(partName(part).c_str());
        }
    }
}

std::string DiskRing::write(const Piece& piece, const Preamble& preamble, std::size_t segmentBytes) {
    std::string problem;
    if (piece.beginsSegment && file_.bytes() > 0 && file_.bytes() + segmentBytes > partBytes_) {
        const FolderTurn turn(path_);
        problem = file_.close();
        problem = problem.empty() ? openNext() : problem;
    }
    return problem.empty() ? file_.write(piece, preamble) : problem;
}

std::string DiskRing::close(const std::string& end) {
    const std::string problem = file_.writeBytes(end);
    const std::string atClose = file_.close();
    return problem.empty() ? atClose : problem;
}

std::string saveRecord(const std::string& path, const std::vector<Piece>& pieces, const Preamble& preamble,
                       const std::string& end, std::string* name) {
    RecordFile file;
    std::string problem = file.openBeside(path);
    if (!problem.empty()) {
        return problem;
    }
    const std::string unfinished = file.path();
    for (std::size_t i = 0; problem.empty() && i < pieces.size(); ++i) {
        problem = file.write(pieces[i], preamble);
    }
    if (problem.empty()) {
        problem = file.writeBytes(end);
    }
    const std::string atClose = file.close();
    problem = problem.empty() ? atClose : problem;
    int error = EEXIST;
    for (int number = 1; problem.empty() && error == EEXIST && number <= kMostSaved; ++number) {
        *name = numbered(path, number);
        error = renameToFree(unfinished, *name);
    }
    if (problem.empty() && error != 0) {
        problem = error == EEXIST ? notMade(path, "there are " + std::to_string(kMostSaved) +
                                                      " of that name by now, up to " + *name + "; remove some")
                                  : notMade(*name, error);
    }
    if (!problem.empty()) {
        std::remove(unfinished.c_str());
        return problem;
    }
    syncFolderOf(path);
    return problem;
}

}  // namespace ac500::record
