// SettingsLock holds a settings file for the one process that serves by it: another one would open a second session with the
// PLC, and write to the same files.
//
// The lock is flock()'s, on the settings file itself, which needs no right to write there. It ends with the process, however
// that ends. Not thread-safe.
#ifndef AC500_TOOLS_GATEWAY_SETTINGS_LOCK_H
#define AC500_TOOLS_GATEWAY_SETTINGS_LOCK_H

#include <string>

namespace ac500::gateway {

class SettingsLock {
public:
    SettingsLock() = default;
    ~SettingsLock();
    SettingsLock(const SettingsLock&) = delete;
    SettingsLock& operator=(const SettingsLock&) = delete;

    // False when another process holds it. A file that cannot be locked, because it cannot be opened or its file system has no
    // locks, is nobody's. Taken again, for instance when another file has taken the place of this one, it is that file's.
    bool take(const std::string& fileName);

private:
    bool isOf(int descriptor) const;

    int descriptor_ = -1;
};

}  // namespace ac500::gateway

#endif
