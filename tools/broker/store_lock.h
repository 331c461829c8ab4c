// StoreLock keeps a second process away from a store, and remembers, apart from it, which sequence numbers may have been
// used: so no number is used twice even when the store is damaged, as long as this file can be written. The file FILE.lock has one line of
// fixed length, which is written over in place; it stays when the lock is gone, which a kill does, too.
//
// Not thread-safe.
#ifndef AC500_TOOLS_BROKER_STORE_LOCK_H
#define AC500_TOOLS_BROKER_STORE_LOCK_H

#include <cstdint>
#include <optional>
#include <string>

namespace ac500::broker {

// What the file says about the numbers of messages.
struct Reservation {
    std::int64_t end = 0;        // numbers below may have been used, none from here on
    std::int64_t settled = 0;    // of numbers below it is known what has become of them
    std::int64_t writtenMs = 0;  // Message::atMs of the latest message then
};

class StoreLock {
public:
    StoreLock() = default;
    ~StoreLock();
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;

    enum class Result { Held, Taken, Failed };
    // Taken: by another process. Failed: the file can be neither made nor written; what it says was read nevertheless, if
    // that could be. *problem says why it is not held.
    Result hold(const std::string& path, std::string* problem);
    bool isHeld() const { return isHeld_; }

    // Nothing: it never said anything, or a power cut has torn it.
    const std::optional<Reservation>& reservation() const { return reservation_; }
    // On the disk when this returns true. REQUIRES: isHeld()
    bool write(const Reservation& reservation);

private:
    void read();
    void close();

    int descriptor_ = -1;
    bool isHeld_ = false;
    std::optional<Reservation> reservation_;
};

// What is made or renamed in the folder of `path` survives a power cut from now on. False: it may not.
bool syncFolderOf(const std::string& path);

}  // namespace ac500::broker

#endif
