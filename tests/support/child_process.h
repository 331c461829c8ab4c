// ChildProcess runs a program and collects what it prints, with the calls of the C library alone: Qt's QProcess does not
// start programs under qemu-user, and the same tests run there.
//
// Not thread-safe. The destructor kills and reaps what still runs, so no process outlives its test.
#ifndef AC500_TESTS_SUPPORT_CHILD_PROCESS_H
#define AC500_TESTS_SUPPORT_CHILD_PROCESS_H

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace ac500::test {

class ChildProcess {
public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    // `program` is a path, or a name that is looked up in PATH; one that cannot be run ends with exit code 127.
    // REQUIRES: nothing is running. False when no process could be made.
    bool start(const std::string& program, const std::vector<std::string>& arguments);

    bool isRunning() const { return id_ > 0; }

    // REQUIRES: isRunning()
    pid_t id() const { return id_; }

    // Sends a signal. REQUIRES: isRunning()
    bool sendSignal(int number);

    // Nobody reads the stream any more.
    void closeOutput() { close(output_); }
    void closeErrors() { close(errors_); }

    // Waits until either stream brought something. False: both have ended, or the time is over.
    bool waitForOutput(int milliseconds);

    // The next line of the standard output, without its end; what there is when the time is over or the output ended.
    std::string takeLine(int milliseconds);

    // Collects all output and waits for the end. False: the time is over and the program still runs.
    bool waitForEnd(int milliseconds);

    // Of a program that has ended: its exit code, -1 when a signal ended it.
    int exitCode() const { return exitCode_; }

    // What was collected and not taken yet.
    std::string takeOutput() { return std::exchange(output_.text, {}); }
    std::string takeErrors() { return std::exchange(errors_.text, {}); }

private:
    using Deadline = std::chrono::steady_clock::time_point;

    struct Stream {
        int descriptor = -1;
        std::string text;
    };

    bool collect(Deadline deadline);
    static void readInto(Stream& stream);
    static void close(Stream& stream);
    void reap(int options);

    pid_t id_ = 0;
    int exitCode_ = -1;
    Stream output_;
    Stream errors_;
};

}  // namespace ac500::test

#endif
