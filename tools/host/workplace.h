// Workplace is what the commands of ac500-host stand on: the symbol file, the driver and a running session, opened step
// by step, each step with its own failure.
#ifndef AC500_TOOLS_HOST_WORKPLACE_H
#define AC500_TOOLS_HOST_WORKPLACE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/command_line.h"
#include "tools/host/host_session.h"

namespace ac500::host {

const Milliseconds kGlance{50};  // how often a waiting command looks for Ctrl-C and the deadline

// Loads the symbol file that the options name. Null on failure; the failure then lists every problem of the file.
std::unique_ptr<TagTable> loadTags(const Options& options, Failure* failure);

class Workplace {
public:
    explicit Workplace(const Options& options) : options_(options) {}

    // In this order. All return false on failure and then set *failure.
    bool openSymbols(Failure* failure);
    bool findTags(const std::vector<std::string>& texts, std::vector<Tag>* tags, Failure* failure) const;
    bool openDriver(Failure* failure);
    // Starts the session and polls the tags.
    bool startSession(const std::vector<Tag>& tags, Failure* failure);

    const Options& options() const { return options_; }
    const TagTable& tags() const { return *tags_; }
    const DriverLibrary& driver() const { return *driver_; }
    HostSession& session() { return *session_; }

    // With --verbose, prints what went wrong since the last call. To be called now and then.
    void tellEvents();

private:
    const Options options_;
    SteadyClock clock_;
    std::unique_ptr<TagTable> tags_;
    std::unique_ptr<DriverLibrary> driver_;
    std::unique_ptr<HostSession> session_;  // last: it uses the others until it ends
    std::size_t eventsTold_ = 0;
};

// Prints "kind: text" to stderr.
void complain(const Failure& failure);

}  // namespace ac500::host

#endif
