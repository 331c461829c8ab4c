// What can be looked at without a PLC: is the driver a library for this machine, is the clock set, is there room for records
// and logs, can the terminal show all letters. Each answers with one line.
#ifndef AC500_TOOLS_DOCTOR_LOCAL_CHECKS_H
#define AC500_TOOLS_DOCTOR_LOCAL_CHECKS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/doctor/check_line.h"
#include "tools/doctor/elf_identity.h"
#include "tools/doctor/next_command.h"

namespace ac500::doctor {

// The file of a driver, before it is loaded. `qtVersion`: the major version that it needs, 0 when it does not say.
// `call`: as it was made, for what to run next.
CheckLine checkDriverFile(const std::string& path, const ElfIdentity& identity, int qtVersion, int ownQtVersion,
                          const NextCommand& call = NextCommand());

// `wentBack`: a clock that must never go back did.
CheckLine checkClock(std::chrono::system_clock::time_point now, bool wentBack);

struct DiskSpace {
    std::uint64_t freeBytes = 0;
    bool isWritable = false;
};
// Nothing when the folder does not exist.
std::optional<DiskSpace> diskSpace(const std::string& folder);
CheckLine checkDisk(const std::string& folder, const std::optional<DiskSpace>& space);

struct LocaleState {
    std::string name;     // as the environment wants it: LC_ALL, LC_CTYPE or LANG; empty: none
    bool exists = false;  // is it installed?
    std::string codeset;  // "UTF-8"
};
LocaleState localeState();
CheckLine checkLocale(const LocaleState& locale);

}  // namespace ac500::doctor

#endif
