// Disk is the handful of system calls that an audit file makes, so that tests can let each of them fail. Like the calls:
// -1 and errno on failure. Not thread-safe by itself; the real one is.
#ifndef AC500_TOOLS_AUDIT_DISK_H
#define AC500_TOOLS_AUDIT_DISK_H

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace ac500::audit {

class Disk {
public:
    virtual ~Disk() = default;
    // For appending; created, readable by its owner alone, when `mayCreate` and there is none.
    virtual int open(const std::string& path, bool mayCreate);
    virtual int openFolder(const std::string& path);
    // Adds the names of what is in it. After a failure there may be some and not all.
    virtual int list(const std::string& folder, std::vector<std::string>* names);
    virtual int look(int descriptor, struct stat* state);
    // At what has the name now.
    virtual int lookUp(const std::string& path, struct stat* state);
    virtual ssize_t write(int descriptor, const char* bytes, std::size_t size);
    // What was written is on the disk when this returns 0.
    virtual int sync(int descriptor);
    virtual int truncate(int descriptor, off_t size);
    virtual int rename(const std::string& from, const std::string& to);
    virtual int close(int descriptor);
};

}  // namespace ac500::audit

#endif
