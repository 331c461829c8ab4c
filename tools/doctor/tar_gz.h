// A .tar.gz of a few small files, as every system unpacks it: POSIX ustar in gzip. The same files make the same bytes, on any
// machine: no times, no owners, and the data is stored as it is, so that nothing depends on the version of a compressor.
#ifndef AC500_TOOLS_DOCTOR_TAR_GZ_H
#define AC500_TOOLS_DOCTOR_TAR_GZ_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ac500::doctor {

struct ArchiveEntry {
    std::string name;  // REQUIRES: 1 to 99 bytes, as "bundle/doctor.txt"
    std::string content;
    std::string about;  // a few words for the list of contents; not in the archive
};

// All entries, readable by their owner alone.
std::string tarBytes(const std::vector<ArchiveEntry>& entries);

std::string gzipBytes(std::string_view content);

}  // namespace ac500::doctor

#endif
