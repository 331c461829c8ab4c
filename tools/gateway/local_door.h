// LocalDoor lets programs on this machine use the session of a plant, over a Unix socket: docs/gateway-socket.md. Who may
// connect is what the mode of its file says and the folders above it; as whom the kernel tells. One thread serves all.
//
// A client that sends what is none of the language, takes nothing for 20 s or asks for nothing for a minute is let go;
// one more than there is room for is told so.
#ifndef AC500_TOOLS_GATEWAY_LOCAL_DOOR_H
#define AC500_TOOLS_GATEWAY_LOCAL_DOOR_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/gateway/plant.h"

namespace ac500::gateway {

struct LocalDoorSettings {
    std::string path;                        // of the socket; empty: there is none
    unsigned mode = 0660;                    // of its file: who may connect may read, and write what the settings allow
    std::size_t clients = 32;                // at a time
    std::string build;                       // the version of this program
    host::Milliseconds untilStalled{20000};  // a client that takes nothing
    host::Milliseconds untilIdle{60000};     // a client that asks for nothing
};

class LocalDoor {
public:
    // The plant must outlive it.
    LocalDoor(Plant& plant, LocalDoorSettings settings);
    ~LocalDoor();
    LocalDoor(const LocalDoor&) = delete;
    LocalDoor& operator=(const LocalDoor&) = delete;

    // Makes the socket and begins to serve; a socket that a process left behind is replaced. False on failure, which
    // *failure tells. REQUIRES: the plant was started
    bool open(host::Failure* failure);
    // Lets all go and removes the socket. Idempotent.
    void close();

    // Any thread
    std::size_t clients() const { return clientCount_; }

private:
    class Client;
    class Descriptor;

    bool makeSocket(std::string* error);
    void serve();
    void tellChanges();
    bool hasWork() const;
    void wait(host::Milliseconds timeout);
    void letIn();
    std::string hello() const;

    Plant& plant_;
    const LocalDoorSettings settings_;

    // Constant from open() to close()
    int listening_ = -1;
    int wakeDescriptor_ = -1;
    bool isMade_ = false;  // the file is there, and ours

    std::vector<std::unique_ptr<Client>> clients_;  // of the serving thread
    bool isShort_ = false;  // likewise: of descriptors or memory, when somebody was to be let in last
    std::atomic<std::size_t> clientCount_{0};
    std::atomic<bool> isStopping_{false};
    std::thread serving_;
    std::thread telling_;
};

}  // namespace ac500::gateway

#endif
