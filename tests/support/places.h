// Where a test finds the project's files and what was built of them. The build writes the folders into one small source of
// its own: no other object depends on where this clone lies, so those of another clone fit here (ccache).
#ifndef AC500_TESTS_SUPPORT_PLACES_H
#define AC500_TESTS_SUPPORT_PLACES_H

#include <string>

namespace ac500::test {

extern const char* const kProjectFolder;

// The driver as it is shipped, and one that needs a QtCore 4.
extern const char* const kDriver;
extern const char* const kDriverForQt4;

// The programs; in a cross build, scripts that start them under the emulator.
extern const char* const kHostProgram;
extern const char* const kSimulatorProgram;
extern const char* const kGatewayProgram;
extern const char* const kMinimalHostProgram;

// `path` from the project's root, such as "docs/threads.md".
inline std::string projectFile(const std::string& path) {
    return std::string(kProjectFolder) + "/" + path;
}

}  // namespace ac500::test

#endif
