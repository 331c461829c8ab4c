// AuditFile keeps lines for good: append() returns when its line is on the disk, file and folder both, or says why it is
// not. Several processes may append to one file; each line is written under a lock of the file.
//
// A file that would grow beyond its size is renamed, FILE.1 first, then FILE.2 and so on, always one more than the highest
// there is, and a new one begun. None is ever removed or written over: that is for whoever keeps the machine. Where the name
// is a link, all of them lie where it leads.
//
// A line that a kill or a power cut has torn stays where it is; the next line begins behind it on a line of its own.
//
// Thread-safe.
#ifndef AC500_TOOLS_AUDIT_AUDIT_FILE_H
#define AC500_TOOLS_AUDIT_AUDIT_FILE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/audit/disk.h"

namespace ac500::audit {

class AuditFile {
public:
    static constexpr std::uint64_t kLargestBytes = 10 * 1024 * 1024;

    // `largestBytes`: of one file; a single line may be longer. Opens nothing yet.
    explicit AuditFile(const std::string& path, std::uint64_t largestBytes = kLargestBytes,
                       std::shared_ptr<Disk> disk = std::make_shared<Disk>());
    ~AuditFile();
    AuditFile(const AuditFile&) = delete;
    AuditFile& operator=(const AuditFile&) = delete;

    const std::string& path() const { return path_; }

    // Opens the file, or makes it. Empty when lines can be appended as far as can be known without writing one; else why not.
    std::string open();

    // Empty when the line is on the disk; else why it is not, and then nothing of it is there as far as the disk allowed.
    // Waits for other processes that append. REQUIRES: no line end in it
    std::string append(const std::string& line);

private:
    std::string openCurrent();
    std::string lockCurrent();
    std::string rotate();
    std::string syncFolder() const;
    std::string writeLine(const std::string& line, off_t size);
    void closeCurrent();
    std::string problem(const std::string& what) const;

    const std::string path_;
    const std::uint64_t largestBytes_;
    const std::shared_ptr<Disk> disk_;

    std::mutex mutex_;
    int descriptor_ = -1;  // protected by mutex_
};

// The files of an audit that there are, oldest first: FILE.1, FILE.2, ..., FILE. Nothing when the folder does not tell;
// *error then says why.
std::optional<std::vector<std::string>> auditFiles(const std::string& path, std::string* error);

}  // namespace ac500::audit

#endif
