// What a shared library needs, read out of its file: loading it to find out would run its constructors.
#ifndef AC500_TOOLS_HOST_NEEDED_LIBRARIES_H
#define AC500_TOOLS_HOST_NEEDED_LIBRARIES_H

#include <string>
#include <vector>

namespace ac500::host {

// The names of the libraries that an ELF file of this machine's kind says it needs, in its order. Empty when it needs none,
// cannot be read or is no such file. Any content is safe.
std::vector<std::string> neededLibraries(const std::string& path);

// The major version of the QtCore among such names, 0 without one: 4 for libQtCore.so.4, 5 for libQt5Core.so.5.
int qtVersionAmong(const std::vector<std::string>& libraries);

}  // namespace ac500::host

#endif
