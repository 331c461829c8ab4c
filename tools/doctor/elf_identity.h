// For which machine a library was built, out of the first bytes of its file: loading it to find out is no way, for the
// system's words for it ("wrong ELF class") tell an engineer little. Pure functions but for the file that is read.
#ifndef AC500_TOOLS_DOCTOR_ELF_IDENTITY_H
#define AC500_TOOLS_DOCTOR_ELF_IDENTITY_H

#include <string>

namespace ac500::doctor {

struct ElfIdentity {
    bool isReadable = false;
    bool isElf = false;
    bool isOfThisMachine = false;  // width, byte order and processor are those of this program
    std::string text;              // "64-bit x86-64", "32-bit ARM, hard float"; empty when it is no ELF file
};

// Any content is safe.
ElfIdentity elfIdentity(const std::string& path);

// That of this program.
std::string thisMachine();

}  // namespace ac500::doctor

#endif
