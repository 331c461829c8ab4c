#include "tools/broker/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "tools/text/checksum.h"

namespace ac500::broker {

namespace {

// "ac500 numbers END SETTLED WRITTEN CHECKSUM\n", each number with so many digits that the length never changes: well
// within a sector, which disks write whole.
constexpr const char* kLine = "ac500 numbers %020" PRId64 " %020" PRId64 " %020" PRId64 " ";
constexpr std::size_t kChecksumDigits = 8;

std::string numbersText(const Reservation& reservation) {
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), kLine, reservation.end, reservation.settled, reservation.writtenMs);
    return text.data();
}

std::string withChecksum(const std::string& numbers) {
    std::array<char, 16> checksum{};
    std::snprintf(checksum.data(), checksum.size(), "%08" PRIx32 "\n", text::crc32(numbers));
    return numbers + checksum.data();
}

std::optional<Reservation> parsed(const std::string& line) {
    Reservation found;
    if (std::sscanf(line.c_str(), "ac500 numbers %" SCNd64 " %" SCNd64 " %" SCNd64, &found.end, &found.settled,
                    &found.writtenMs) != 3 ||
        line.size() <= kChecksumDigits) {
        return std::nullopt;
    }
    return withChecksum(numbersText(found)) == line ? std::optional<Reservation>(found) : std::nullopt;
}

}  // namespace

StoreLock::~StoreLock() {
    close();
}

StoreLock::Result StoreLock::hold(const std::string& path, std::string* problem) {
    close();
    const bool isNew = ::access(path.c_str(), F_OK) != 0;
    descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor_ < 0) {
        *problem = path + " cannot be written: " + std::strerror(errno);
        descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        read();
        close();
        return Result::Failed;
    }
    int locked = 0;
    while ((locked = ::flock(descriptor_, LOCK_EX | LOCK_NB)) != 0 && errno == EINTR) {
    }
    if (locked != 0) {
        const bool isTaken = errno == EWOULDBLOCK;
        *problem = isTaken ? "another process holds " + path : path + " cannot be locked: " + std::strerror(errno);
        close();
        return isTaken ? Result::Taken : Result::Failed;
    }
    isHeld_ = true;
    read();
    if (isNew) {
        syncFolderOf(path);
    }
    return Result::Held;
}

bool StoreLock::write(const Reservation& reservation) {
    const std::string line = withChecksum(numbersText(reservation));
    if (::pwrite(descriptor_, line.data(), line.size(), 0) != static_cast<ssize_t>(line.size()) ||
        ::fdatasync(descriptor_) != 0) {
        return false;
    }
    reservation_ = reservation;
    return true;
}

void StoreLock::read() {
    std::array<char, 256> bytes{};
    const ssize_t size = descriptor_ < 0 ? -1 : ::pread(descriptor_, bytes.data(), bytes.size(), 0);
    reservation_ = size > 0 ? parsed(std::string(bytes.data(), static_cast<std::size_t>(size))) : std::nullopt;
}

void StoreLock::close() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    descriptor_ = -1;
    isHeld_ = false;
}

bool syncFolderOf(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const int descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = descriptor >= 0 && ::fsync(descriptor) == 0;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return isSynced;
}

}  // namespace ac500::broker
