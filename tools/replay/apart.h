// Does work in a process of its own: a driver that is made to do what it did before it failed may fail again, and each
// trial wants a driver that nobody has called.
#ifndef AC500_TOOLS_REPLAY_APART_H
#define AC500_TOOLS_REPLAY_APART_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace ac500::replay {

// How far the work is: the number of its last step. Written by the one process, read by the other at any time.
class Progress {
public:
    explicit Progress(volatile std::uint64_t* shared) : shared_(shared) {}
    void set(std::uint64_t step) { *shared_ = step; }
    std::uint64_t get() const { return *shared_; }

private:
    volatile std::uint64_t* shared_;
};

struct ApartEnd {
    enum class Kind { Done, Signal, TimeOut, NotStarted };
    Kind kind = Kind::NotStarted;
    std::string result;      // Done: what the work answered
    int signal = 0;          // Signal: what ended it
    std::uint64_t step = 0;  // the last one that it had begun
};

// The name of a signal that ends a program, "SIGSEGV"; "signal 99" for others.
std::string signalName(int number);

// Runs `work` in a copy of this process and waits for its end, at most `limit` when there is one. Meanwhile `watch` is called
// now and then with the last step. REQUIRES: this process has one thread.
ApartEnd runApart(const std::function<std::string(Progress&)>& work, std::optional<std::chrono::milliseconds> limit,
                  const std::function<void(std::uint64_t)>& watch = {});

}  // namespace ac500::replay

#endif
