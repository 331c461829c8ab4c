// ProgramWatch keeps account of which program the PLC runs, as far as readings of the guard tell. A plain value without a
// clock and without a network: whoever reads the guard says when it was read, and whether it was as expected.
#ifndef AC500_TOOLS_GUARD_PROGRAM_WATCH_H
#define AC500_TOOLS_GUARD_PROGRAM_WATCH_H

#include <chrono>
#include <optional>

namespace ac500::guard {

using Time = std::chrono::microseconds;

enum class ProgramState {
    Unguarded,   // there is no guard: nobody can tell
    Unknown,     // the guard has not been read on this connection
    Expected,    // the guard is as the symbols say
    Other,       // it is not
    Unreadable,  // the PLC refuses to read it
};

// "unguarded", "unknown", "expected", "other", "unreadable".
const char* programStateName(ProgramState state);

class ProgramWatch {
public:
    explicit ProgramWatch(bool isGuarded) : state_(isGuarded ? ProgramState::Unknown : ProgramState::Unguarded) {}

    ProgramState state() const { return state_; }
    bool isGuarded() const { return state_ != ProgramState::Unguarded; }
    // Another program, or no way to know: nothing is to be written, and values are in doubt.
    bool isInDoubt() const { return state_ == ProgramState::Other || state_ == ProgramState::Unreadable; }

    // What is to be told of a reading: it differs from what was known last, on this connection or an earlier one.
    enum class News { None, OtherProgram, Unreadable, ExpectedAgain };

    // The three below REQUIRE: isGuarded()
    // The guard was read as a whole, its oldest byte at `time`, which never goes back.
    News read(bool isExpected, Time time);
    // The PLC refused to read it.
    News refused();
    // What runs is not known any more: the connection was lost, or something was refused.
    void forget();

    // Was the guard read as expected before and after these bytes were received, on one connection and with no other answer
    // in between? Always without a guard.
    bool covers(Time oldest, Time newest) const;
    // Was it read at all since? Then covers() of bytes that are not covered will not change any more.
    bool wasReadSince(Time newest) const { return last_ && *last_ >= newest; }

private:
    News newsOf(ProgramState state);

    ProgramState state_;
    std::optional<ProgramState> told_;  // Other or Unreadable, until it is Expected again
    std::optional<Time> since_;         // Expected: the first such reading of an unbroken row
    std::optional<Time> last_;          // the last reading on this connection
};

}  // namespace ac500::guard

#endif
