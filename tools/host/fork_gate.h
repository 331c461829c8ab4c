// ForkGate keeps a fork() out of the driver and of Qt's sockets. The child would get the locks of both as they are at that
// moment, with nobody there to let go of them, and the end of its program would wait for one. So the thread of a session is
// inside a gate during each step of its loop; who forks waits for the ends of these steps, and closes all gates meanwhile.
#ifndef AC500_TOOLS_HOST_FORK_GATE_H
#define AC500_TOOLS_HOST_FORK_GATE_H

#include <mutex>

namespace ac500::host {

class ForkGate {
public:
    ForkGate();
    ~ForkGate();  // REQUIRES: nobody is inside
    ForkGate(const ForkGate&) = delete;
    ForkGate& operator=(const ForkGate&) = delete;

    // One thread at a time, until it unlocks what is returned; waits for a thread that forks or wants to. REQUIRES: the thread
    // is inside no gate.
    using Stay = std::unique_lock<std::mutex>;
    Stay enter();

    // For pthread_atfork: closeAll() waits until nobody is inside any gate, and nobody comes in until the same thread, in the
    // parent and in the child, calls openAll(). REQUIRES: the thread is inside no gate.
    static void closeAll();
    static void openAll();

private:
    std::mutex mutex_;
};

}  // namespace ac500::host

#endif
