// ProgramGuard tells whether the PLC still runs the program that the symbols describe. The symbol file names guards,
// variables that hold a number which changes with the program; docs/guard.md says what is promised.
//
// Used by the loop thread alone, but for what is constant. The driver's image holds what was read of the guards; whoever
// calls says when that is to be believed.
#ifndef AC500_TOOLS_HOST_PROGRAM_GUARD_H
#define AC500_TOOLS_HOST_PROGRAM_GUARD_H

#include <optional>
#include <string>
#include <vector>

#include "tools/guard/program_watch.h"
#include "tools/host/failure.h"
#include "tools/host/tag.h"
#include "tools/host/write_terms.h"

namespace ac500::host {

class ProgramGuard {
public:
    // The guards of the symbol file.
    explicit ProgramGuard(const TagTable& tags);

    // Constant after construction
    bool isActive() const { return !guards_.empty(); }
    const std::vector<Tag>& tags() const { return guards_; }
    bool isGuard(const Tag& tag) const;
    // What every write is bound to: each guard is read for it and immediately before it.
    const std::vector<WriteCondition>& conditions() const { return conditions_; }

    // Loop thread

    const guard::ProgramWatch& watch() const { return watch_; }
    // All guards were read, the first at `time`; `found` has the values of each. Something is told only when it is news.
    std::optional<Failure> read(const std::vector<HostValues>& found, Time time);
    // The PLC refused to read one. Something is told only when it is news.
    std::optional<Failure> refused(const Failure& reason);
    void forget() { watch_.forget(); }

    // Why values are in doubt and writes held; nothing wrong when they are not.
    const Failure& doubt() const { return doubt_; }
    // How the values of the guards differ from those of the symbols; empty when they do not.
    std::string differences(const std::vector<HostValues>& found) const;
    // The same without the numbers.
    std::string differencesWithoutValues(const std::vector<HostValues>& found) const;
    // Of one guard that was read for a write and found to be another.
    Failure otherProgram(const WriteCondition& condition, const HostValues& found) const;

private:
    std::vector<Tag> guards_;
    std::vector<WriteCondition> conditions_;

    // Loop thread
    guard::ProgramWatch watch_;
    Failure doubt_;
};

}  // namespace ac500::host

#endif
