// FailingDisk stands between SQLite and the disk: while it lives, each file that SQLite opens fails as the test says. It works
// as root and under the emulator, where permissions and limits do not.
#ifndef AC500_TESTS_BROKER_FAILING_DISK_H
#define AC500_TESTS_BROKER_FAILING_DISK_H

#include <sqlite3.h>

#include <memory>
#include <new>

namespace ac500::test {

class FailingDisk {
public:
    // What calls answer; SQLITE_OK: they work.
    struct Faults {
        int write = SQLITE_OK;
        int sync = SQLITE_OK;
        int read = SQLITE_OK;
        bool isReadOnly = false;  // files that are opened from now on
        bool mustSync = true;     // false: nothing waits for the disk, where no power is cut
    };

    FailingDisk() {
        real() = sqlite3_vfs_find(nullptr);
        faults() = {};
        vfs() = *real();
        vfs().zName = "failing";
        vfs().szOsFile = static_cast<int>(sizeof(File));
        vfs().xOpen = &open;
        sqlite3_vfs_register(&vfs(), 1);
    }
    ~FailingDisk() {
        sqlite3_vfs_unregister(&vfs());
        sqlite3_vfs_register(real(), 1);
    }
    FailingDisk(const FailingDisk&) = delete;
    FailingDisk& operator=(const FailingDisk&) = delete;

    static Faults& faults() {
        static Faults faults;
        return faults;
    }

private:
    struct File {
        sqlite3_file base;
        sqlite3_file* real;
    };

    static sqlite3_vfs*& real() {
        static sqlite3_vfs* found = nullptr;
        return found;
    }
    static sqlite3_vfs& vfs() {
        static sqlite3_vfs made;
        return made;
    }
    static sqlite3_file* realOf(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real; }

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        if (faults().isReadOnly) {
            flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
        }
        File* opened = reinterpret_cast<File*>(file);
        opened->base.pMethods = nullptr;
        opened->real = static_cast<sqlite3_file*>(::operator new(static_cast<std::size_t>(real()->szOsFile)));
        opened->real->pMethods = nullptr;
        const int code = real()->xOpen(real(), name, opened->real, flags, outFlags);
        if (code != SQLITE_OK) {
            ::operator delete(opened->real);
            return code;
        }
        opened->base.pMethods = methods();
        return SQLITE_OK;
    }

    // Without shared memory: a store that is alone needs none.
    static const sqlite3_io_methods* methods() {
        static const sqlite3_io_methods made = [] {
            sqlite3_io_methods methods{};
            methods.iVersion = 1;
            methods.xClose = [](sqlite3_file* file) {
                const int code = realOf(file)->pMethods->xClose(realOf(file));
                ::operator delete(realOf(file));
                return code;
            };
            methods.xRead = [](sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
                const int code = realOf(file)->pMethods->xRead(realOf(file), bytes, size, offset);
                return faults().read != SQLITE_OK ? faults().read : code;
            };
            methods.xWrite = [](sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
                return faults().write != SQLITE_OK ? faults().write
                                                   : realOf(file)->pMethods->xWrite(realOf(file), bytes, size, offset);
            };
            methods.xSync = [](sqlite3_file* file, int flags) {
                if (faults().sync != SQLITE_OK || !faults().mustSync) {
                    return faults().sync;
                }
                return realOf(file)->pMethods->xSync(realOf(file), flags);
            };
            methods.xTruncate = [](sqlite3_file* file, sqlite3_int64 size) {
                return realOf(file)->pMethods->xTruncate(realOf(file), size);
            };
            methods.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) {
                return realOf(file)->pMethods->xFileSize(realOf(file), size);
            };
            methods.xLock = [](sqlite3_file* file, int lock) {
                return realOf(file)->pMethods->xLock(realOf(file), lock);
            };
            methods.xUnlock = [](sqlite3_file* file, int lock) {
                return realOf(file)->pMethods->xUnlock(realOf(file), lock);
            };
            methods.xCheckReservedLock = [](sqlite3_file* file, int* isLocked) {
                return realOf(file)->pMethods->xCheckReservedLock(realOf(file), isLocked);
            };
            methods.xFileControl = [](sqlite3_file* file, int operation, void* argument) {
                return realOf(file)->pMethods->xFileControl(realOf(file), operation, argument);
            };
            methods.xSectorSize = [](sqlite3_file* file) { return realOf(file)->pMethods->xSectorSize(realOf(file)); };
            methods.xDeviceCharacteristics = [](sqlite3_file* file) {
                return realOf(file)->pMethods->xDeviceCharacteristics(realOf(file));
            };
            return methods;
        }();
        return &made;
    }
};

}  // namespace ac500::test

#endif
