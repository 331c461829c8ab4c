// The file of what was learned of a PLC's replies to the handshake (tools/guard/handshake_pattern.h).
#ifndef AC500_TOOLS_HOST_HANDSHAKE_FILE_H
#define AC500_TOOLS_HOST_HANDSHAKE_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/guard/handshake_pattern.h"
#include "tools/host/failure.h"
#include "tools/host/transport.h"

namespace ac500::host {

// They return false on failure, and *failure then says why.
bool loadHandshake(const std::string& fileName, std::optional<guard::HandshakePattern>* pattern, Failure* failure);
// A file that is not there is no failure; *pattern is then nothing.
bool loadHandshakeIfThere(const std::string& fileName, std::optional<guard::HandshakePattern>* pattern,
                          Failure* failure);
// What was there before stays until the new content is on the disk as a whole. REQUIRES: the lock of the file, unless nobody
// else can write it.
bool saveHandshake(const std::string& fileName, const guard::HandshakePattern& pattern, Failure* failure);

// Holds off others who learn into a file, in whatever process, as long as it lives: from reading what the file has to
// writing what was added. What is no file, as a device, is not locked. Locked is the folder, so nothing is left behind.
class HandshakeLock {
public:
    // Waits until nobody else has it.
    explicit HandshakeLock(const std::string& fileName);
    ~HandshakeLock();
    HandshakeLock(const HandshakeLock&) = delete;
    HandshakeLock& operator=(const HandshakeLock&) = delete;

    // Why there is no lock; nothing when all is well.
    const Failure& failure() const { return failure_; }

private:
    int folder_ = -1;
    Failure failure_;
};

// What replies of `plc` belong to when it is addressed with this symbol file. REQUIRES: the file is good
guard::HandshakeOrigin handshakeOrigin(const Endpoint& plc, const std::string& symbols);

// What is wrong with adding replies of `here` to what was learned; empty when nothing is.
std::string whyNotToAdd(const guard::HandshakePattern& learned, const guard::HandshakeOrigin& here);
// Why comparing replies of `here` with what was learned says less than one may think.
std::vector<std::string> doubtsOf(const guard::HandshakePattern& learned, const guard::HandshakeOrigin& here);

// That all replies were seen in one run of the PLC, and what to do.
extern const char kOneRunOnly[];

}  // namespace ac500::host

#endif
