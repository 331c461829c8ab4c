// The standard output and the standard error output of a program. What cannot be written to the first is a failure that
// the program reports; what cannot be written to the second is lost, and nothing else happens.
#ifndef AC500_TOOLS_CONSOLE_STANDARD_STREAMS_H
#define AC500_TOOLS_CONSOLE_STANDARD_STREAMS_H

#include <string>
#include <string_view>

namespace ac500::console {

// The exit code of a program whose reader went away: what a shell reports of one that SIGPIPE ended.
constexpr int kExitReaderGone = 141;

// To be called first in main. A reader that went away then shows as a write that fails, not as a signal; and a standard
// stream that came closed stays unusable, so that no file or socket that is opened later gets what was meant for it.
void prepareStandardStreams();

// Output writes text to a descriptor and remembers what went wrong. After the first failure it writes nothing more.
// Used by one thread.
class Output {
public:
    // The descriptor stays the caller's.
    explicit Output(int descriptor) : descriptor_(descriptor) {}

    // Keeps the text until flush(), or until there is much of it.
    void write(std::string_view text);
    // Writes what was kept. A signal that is caught ends the waiting for a reader that takes nothing: a failure, too.
    void flush();
    // Notices a reader that went away while there was nothing to write.
    void lookForReader();

    bool isGood() const { return error_ == 0; }
    bool isReaderGone() const;
    bool wasInterrupted() const;
    // What went wrong, in words. REQUIRES: !isGood()
    std::string failure() const;

private:
    const int descriptor_;
    std::string kept_;
    int error_ = 0;  // an errno
};

// That of the process.
Output& standardOutput();

// Writes the text to the standard error output, in one piece when it has at most PIPE_BUF bytes. What a reader does not
// take within a second is lost, in part perhaps. Any thread.
void tell(std::string_view text);

}  // namespace ac500::console

#endif
